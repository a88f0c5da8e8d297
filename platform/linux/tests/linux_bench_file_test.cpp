#include "platform/linux/linux_bench_file.hpp"

#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace platform {
namespace {

namespace fs = std::filesystem;

// A file whose size is no whole number of blocks, like the benchmark's 1 GB in 8 MiB
// blocks: the ragged tail must be written and read in full, and no more than it.
TEST(LinuxBenchFile, RaggedTailIsWrittenAndReadExactly) {
    // The build tree is on a disk's file system, unlike a temporary folder that may be tmpfs.
    std::string pattern = (fs::current_path() / "vantrel-bench-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    const fs::path folder = pattern;
    const std::string path = (folder / "file.tmp").string();

    LinuxBenchFiles files;
    if (files.folder(folder).inMemory) {
        fs::remove_all(folder);
        GTEST_SKIP() << "a file system in memory keeps every page resident";
    }
    int error = 0;
    auto file = files.create(path, error);
    if (!file) {
        fs::remove_all(folder);
        if (error == EINVAL) GTEST_SKIP() << "this file system refuses O_DIRECT";
        FAIL() << "create: " << error;
    }
    constexpr std::size_t block = 4096;
    constexpr std::size_t tail = 100;
    const auto n = [](std::size_t bytes) { return static_cast<std::int64_t>(bytes); };
    EXPECT_EQ(file->writeAt(0, 2 * block), n(2 * block));
    EXPECT_EQ(file->writeAt(2 * block, tail), n(tail));
    EXPECT_TRUE(file->flush());
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_size, n(2 * block + tail));

    // The write left the tail in the page cache; once dropped, reading it mustn't bring
    // it back, or the read test would measure memory for that part.
    const int other = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(other, 0);
    ASSERT_EQ(::posix_fadvise(other, 0, 0, POSIX_FADV_DONTNEED), 0);
    EXPECT_EQ(file->readAt(2 * block, tail), n(tail));
    void* mapped = ::mmap(nullptr, 3 * block, PROT_READ, MAP_SHARED, other, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    unsigned char resident[3] = {};
    ASSERT_EQ(::mincore(mapped, 3 * block, resident), 0);
    EXPECT_EQ(resident[2] & 1, 0) << "the ragged tail was read through the page cache";
    ::munmap(mapped, 3 * block);
    ::close(other);
    EXPECT_EQ(file->readAt(0, 2 * block + tail), n(2 * block + tail));
    // Asked for less than the file holds, it gives no more than asked.
    EXPECT_EQ(file->readAt(0, block + tail), n(block + tail));
    EXPECT_EQ(file->readAt(2 * block + tail, tail), n(0));

    file.reset();
    EXPECT_TRUE(files.remove(path));
    fs::remove_all(folder);
}

}  // namespace
}  // namespace platform
