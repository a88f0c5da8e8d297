#include "platform/linux/linux_block_counters.hpp"

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

namespace platform {
namespace {

namespace fs = std::filesystem;

class BlockCountersTest : public ::testing::Test {
  protected:
    fs::path root = fs::path(::testing::TempDir()) / ("block-counters-" + std::to_string(::getpid()));
    void SetUp() override { fs::create_directories(root); }
    void TearDown() override { fs::remove_all(root); }
    void stat(const std::string& disk, const std::string& line) {
        fs::create_directories(root / disk);
        std::ofstream(root / disk / "stat") << line;  // truncated in place: the same file
    }
};

TEST_F(BlockCountersTest, SectorsAreCountedInHalfKilobytesAndReadAgainFromTheKeptFile) {
    stat("sdb", "    1200       30    20480     500      300       10     8192      900        0     700    1400\n");
    LinuxBlockCounters counters(root.string());
    EXPECT_EQ(counters.read("sdb"), (BlockCounters{20480u * 512, 8192u * 512}));

    stat("sdb", "    1300       30    40960     500      300       10     8200      900        0     700    1400\n");
    EXPECT_EQ(counters.read("sdb"), (BlockCounters{40960u * 512, 8200u * 512}));
    EXPECT_FALSE(counters.read("sdz"));
}

TEST_F(BlockCountersTest, NamesThatLeaveTheFolderAndShortLinesGiveNothing) {
    stat("sdc", "1 2 3\n");
    LinuxBlockCounters counters(root.string());
    EXPECT_FALSE(counters.read("sdc"));
    EXPECT_FALSE(counters.read("../sdc"));
    EXPECT_FALSE(counters.read(".."));
    EXPECT_FALSE(blockCountersOf(""));
}

}  // namespace
}  // namespace platform
