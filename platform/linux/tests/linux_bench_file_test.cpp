#include "platform/linux/linux_bench_file.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace platform {
namespace {

namespace fs = std::filesystem;

// The benchmark's 1 GB file is no whole number of its 8 MiB blocks. Its ragged tail must be
// read in full and no more, and past the page cache like the rest.
TEST(LinuxBenchFile, RaggedTailIsReadExactlyAndPastTheCache) {
    // The build tree is on a disk's file system, unlike a temporary folder that may be tmpfs.
    std::string pattern = (fs::current_path() / "vantrel-bench-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    const std::string path = pattern + "/file.tmp";
    LinuxBenchFiles files;
    int error = 0;
    auto file = files.folder(pattern).inMemory ? nullptr : files.create(path, error);
    if (!file) {
        fs::remove_all(pattern);
        GTEST_SKIP() << "no file system here that is read past its cache (" << error << ")";
    }
    ASSERT_EQ(file->writeAt(0, 8192), 8192);
    ASSERT_EQ(file->writeAt(8192, 100), 100);
    ASSERT_TRUE(file->flush());

    // The write left the tail in the page cache; once dropped, reading it mustn't bring it back.
    const int other = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ::posix_fadvise(other, 0, 0, POSIX_FADV_DONTNEED);
    EXPECT_EQ(file->readAt(8192, 100), 100);
    void* mapped = ::mmap(nullptr, 12288, PROT_READ, MAP_SHARED, other, 0);
    unsigned char resident[3] = {1, 1, 1};
    ::mincore(mapped, 12288, resident);
    EXPECT_EQ(resident[2] & 1, 0) << "the ragged tail was read through the page cache";
    ::munmap(mapped, 12288);
    ::close(other);

    EXPECT_EQ(file->readAt(0, 8292), 8292);
    EXPECT_EQ(file->readAt(0, 4196), 4196);  // no more than asked, though the file holds more
    EXPECT_EQ(file->readAt(8292, 100), 0);
    file.reset();
    fs::remove_all(pattern);
}

}  // namespace
}  // namespace platform
