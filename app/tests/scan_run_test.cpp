// A scan from a device name to scans.json, over a fixture sysfs tree and a small drive
// that reads everywhere but one block; and the saved record's life.
#include "app/scan/scan_run.hpp"

#include <gtest/gtest.h>

#include <fstream>

#include "platform/demo/memory_file_store.hpp"
#include "platform/demo/sim_ata_disk.hpp"
#include "platform/linux/linux_sysfs.hpp"
#include "platform/tests/support/doubles.hpp"

namespace app {
namespace {

using namespace drivekit::surface_scan;

class ScanRunTest : public ::testing::Test {
protected:
    std::filesystem::path root = std::filesystem::path(::testing::TempDir()) / "scan_run_test";
    void SetUp() override {
        std::filesystem::remove_all(root);
        for (const char* folder : {"sys/class/block/nvme0n1/device", "sys/class/block/nvme0n1p1", "data"}) {
            std::filesystem::create_directories(root / folder);
        }
        std::ofstream(root / "sys/class/block/nvme0n1/device/model") << "Sim NVMe 1TB   \n";
        std::ofstream(root / "sys/class/block/nvme0n1/device/serial") << "S123\n";
        std::ofstream(root / "sys/class/block/nvme0n1p1/partition") << "1\n";
    }
    void TearDown() override { std::filesystem::remove_all(root); }
};

TEST_F(ScanRunTest, ScansANamedDiskThroughItsRouteAndSavesTheLatest) {
    const platform::LinuxSysfs sysfs(root);
    platform::doubles::TestClock clock{std::chrono::system_clock::time_point{} + std::chrono::hours(500'000)};
    clock.tick = std::chrono::milliseconds(1);
    // 4096 blocks of 512 bytes; block 3000 doesn't read.
    platform::SimATADisk disk;
    disk.blocks = 4096;
    disk.unreadableBlocks = {3000};
    std::string opened;
    const app::OpenSCSI open = [&](std::string_view name) -> drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int> {
        opened = name;
        return std::unique_ptr<drivekit::SCSIDrive>(std::make_unique<platform::SimSCSIDrive>(opened, disk));
    };
    platform::MemoryFileStore files;
    const ScanRun::Platform platform{sysfs, clock, nullptr, open, root / "data", files};

    const auto outcome = ScanRun::run(platform, "/dev/nvme0n1", Mode::full, {}, {});
    EXPECT_EQ(opened, "nvme0n1");
    ASSERT_TRUE(outcome.result);
    EXPECT_EQ(outcome.result->unreadable, std::vector<std::uint64_t>{2944});  // the failing 64 KB piece
    EXPECT_EQ(outcome.summaryLine.rfind("scan Sim NVMe 1TB (full): 4 of 4 reads with READ (10), 512 KB, 1 unreadable", 0), 0u);
    EXPECT_FALSE(outcome.saveFailure);

    int asked = 0;
    ScanRun::run(platform, "nvme0n1", Mode::quick, [&] { return ++asked > 1; }, {});
    const SavedScans saved = ScanStore::read(files, root / "data/scans.json");
    ASSERT_EQ(saved.byDrive.size(), 1u);  // the second scan replaced the first
    const SavedScan& scan = saved.byDrive.at("serial:S123");
    EXPECT_EQ(scan.model, "Sim NVMe 1TB");
    EXPECT_EQ(scan.result.cancelled, true);
    EXPECT_EQ(scan.result.mode, Mode::quick);
    files.failure = platform::FileError{ENOSPC, "write"};  // the scan stands, the save says why
    EXPECT_NE(ScanRun::run(platform, "nvme0n1", Mode::quick, {}, {}).saveFailure->find("No space left"), std::string::npos);
    files.failure.reset();

    EXPECT_EQ(ScanRun::run(platform, "nvme0n1p1", Mode::full, {}, {}).failure, ScanRun::Outcome::Failure::notADisk);
    EXPECT_EQ(ScanRun::run(platform, "../etc", Mode::full, {}, {}).failure, ScanRun::Outcome::Failure::notADisk);
}

TEST(ScanStore, DataFolderFollowsXDG) {
    const auto env = [](std::map<std::string, std::string> values) {
        return [values](const char* key) -> std::optional<std::string> {
            const auto it = values.find(key);
            return it == values.end() ? std::nullopt : std::optional(it->second);
        };
    };
    EXPECT_EQ(ScanStore::dataFolder(env({{"XDG_DATA_HOME", "/x"}, {"HOME", "/h"}})), "/x/vantrel");
    EXPECT_EQ(ScanStore::dataFolder(env({{"XDG_DATA_HOME", "relative"}, {"HOME", "/h"}})), "/h/.local/share/vantrel");
    EXPECT_EQ(ScanStore::dataFolder(env({})), "");
}

}  // namespace
}  // namespace app
