#include "platform/linux/linux_file_store.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/demo/memory_file_store.hpp"

namespace platform {
namespace {

namespace fs = std::filesystem;

class LinuxFileStoreTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "vantrel-files-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
    }
    void TearDown() override {
        std::error_code ignored;
        fs::permissions(folder_, fs::perms::owner_all, ignored);
        fs::remove_all(folder_, ignored);
    }
    std::string contents(const fs::path& path) const { return store_.read(path).value(); }
    std::vector<std::string> names() const {
        std::vector<std::string> out;
        for (const auto& entry : fs::directory_iterator(folder_)) out.push_back(entry.path().filename());
        std::sort(out.begin(), out.end());
        return out;
    }
    fs::path folder_;
    LinuxFileStore store_;
};

TEST_F(LinuxFileStoreTest, ReplacesTheWholeFileAndLeavesNoTemporary) {
    const fs::path target = folder_ / "sub" / "scans.json";
    ASSERT_TRUE(store_.createFolders(target.parent_path()));
    ASSERT_TRUE(store_.createFolders(target.parent_path()));  // already there
    ASSERT_TRUE(store_.replace(target, std::string(100'000, 'x')));
    ASSERT_TRUE(store_.replace(target, R"({"a":1})"));
    EXPECT_EQ(contents(target), R"({"a":1})");
    EXPECT_EQ(names(), std::vector<std::string>{"sub"});
    EXPECT_EQ(fs::directory_iterator(folder_ / "sub")->path().filename(), "scans.json");
    EXPECT_EQ(store_.read(folder_ / "absent.json").error().code, ENOENT);
    EXPECT_FALSE(store_.read(folder_));  // a folder
}

TEST_F(LinuxFileStoreTest, ConcurrentWritersLeaveOneWholeFile) {
    const fs::path target = folder_ / "shared-state.json";
    std::vector<std::thread> writers;
    for (int t = 0; t < 8; ++t) {
        writers.emplace_back([this, &target, t] {
            const std::string body = "[" + std::string(static_cast<std::size_t>(10'000 + t), '0').replace(0, 1, "1") + "]";
            LinuxFileStore own;
            for (int i = 0; i < 20; ++i) (void)own.replace(target, body);
        });
    }
    for (auto& writer : writers) writer.join();
    const std::string last = contents(target);
    EXPECT_GE(last.size(), 10'002u);
    EXPECT_LE(last.size(), 10'009u);
    EXPECT_EQ(last.back(), ']');
    EXPECT_EQ(names(), std::vector<std::string>{"shared-state.json"});
}

TEST_F(LinuxFileStoreTest, FailedWritesSayWhyAndKeepTheOldFile) {
    const fs::path target = folder_ / "known-drives.json";
    ASSERT_TRUE(store_.replace(target, R"({"old":true})"));

    EXPECT_EQ(store_.replace(folder_ / "missing" / "known-drives.json", "{}").error(), (FileError{ENOENT, "open"}));
    // The target is a folder: the rename fails after the temporary was written.
    fs::create_directories(folder_ / "taken.json" / "inside");
    EXPECT_EQ(store_.replace(folder_ / "taken.json", "{}").error().call, "rename");
    // The disk refuses part-way through the data (the file size limit stands in for a full disk).
    {
        rlimit saved{};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
        const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit small = saved;
        small.rlim_cur = 4096;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        const auto wrote = store_.replace(target, std::string(100'000, ' ') + "{}");
        setrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, previousHandler);
        ASSERT_FALSE(wrote);
        EXPECT_EQ(wrote.error(), (FileError{EFBIG, "write"}));
    }
    EXPECT_EQ(contents(target), R"({"old":true})");
    EXPECT_EQ(names(), (std::vector<std::string>{"known-drives.json", "taken.json"}));
}

TEST_F(LinuxFileStoreTest, AReadOnlyFolderRefusesAndKeepsTheOldFile) {
    const fs::path target = folder_ / "known-drives.json";
    ASSERT_TRUE(store_.replace(target, R"({"old":true})"));
    fs::permissions(folder_, fs::perms::owner_read | fs::perms::owner_exec);
    if (access(folder_.c_str(), W_OK) == 0) GTEST_SKIP() << "running with privileges that ignore modes";
    EXPECT_EQ(store_.replace(target, "{}").error().code, EACCES);
    EXPECT_EQ(contents(target), R"({"old":true})");
}

TEST(MemoryFileStore, BehavesLikeTheDiskAndFailsOnRequest) {
    MemoryFileStore store;
    EXPECT_EQ(store.replace("/data/scans.json", "{}").error().code, ENOENT);
    ASSERT_TRUE(store.createFolders("/data"));
    ASSERT_TRUE(store.replace("/data/scans.json", "{}"));
    EXPECT_EQ(store.read("/data/scans.json").value(), "{}");
    store.failure = FileError{ENOSPC, "write"};
    EXPECT_EQ(store.replace("/data/scans.json", "[]").error().code, ENOSPC);
    store.failure.reset();
    EXPECT_EQ(store.read("/data/scans.json").value(), "{}");
}

}  // namespace
}  // namespace platform
