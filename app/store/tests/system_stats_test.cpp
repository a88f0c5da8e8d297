#include "app/store/system_stats.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "app/scan/scan_usage.hpp"
#include "platform/demo/demo_sysfs.hpp"

namespace app {
namespace {

// /proc as texts by relative name.
struct Files final : platform::ProcFiles {
    std::map<std::string, std::string, std::less<>> text;
    std::vector<std::int32_t> pids() const override { return {}; }
    std::optional<std::size_t> read(std::string_view relative, std::span<char> buffer) const override {
        const auto it = text.find(relative);
        if (it == text.end()) return std::nullopt;
        const std::size_t size = std::min(it->second.size(), buffer.size());
        std::copy_n(it->second.begin(), size, buffer.begin());
        return size;
    }
    std::optional<std::string> readLink(std::string_view) const override { return std::nullopt; }
    long ticksPerSecond() const override { return 100; }
    std::uint64_t pageSize() const override { return 4096; }
    std::optional<std::uint64_t> bootMicros() const override { return std::nullopt; }
};

TEST(SystemStats, ReadsEachSourceAloneAndLeavesTheRestAtZero) {
    Files files;
    platform::DemoSysfs sysfs;
    EXPECT_EQ(SystemStatsReader::read(files, sysfs, "nvme0n1"), SystemStats{});

    files.text["meminfo"] = "MemTotal: 8000 kB\nSwapTotal:     2048 kB\nSwapFree:      1024 kB\n";
    files.text["vmstat"] = "pswpin 7\npswpout 10\n";
    files.text["pressure/memory"] = "some avg10=12.50 avg60=3.00 avg300=1.00 total=5\nfull avg10=0.00\n";
    files.text["stat"] = "cpu  1 2 3\nbtime 1763884800\n";
    sysfs.addFile("/sys/class/block/nvme0n1/stat", "  100 0 800 5 200 0 4000 9 0 10 14\n");
    files.text["self/io"] = "rchar: 5\nwrite_bytes: 8192\n";
    files.text["self/stat"] = "42 (vantrel (a b)) S 1 42 42 0 -1 0 0 0 0 0 150 50 0 0 20 0 1 0 1000 0 0\n";
    files.text["uptime"] = "50.00 90.00\n";
    const auto stats = SystemStatsReader::read(files, sysfs, "nvme0n1");
    EXPECT_EQ(stats.swapTotalBytes, 2048u * 1024);
    EXPECT_EQ(stats.swapUsedBytes, 1024u * 1024);
    EXPECT_EQ(stats.swapOutBytesSinceBoot, 10u * 4096);
    EXPECT_EQ(stats.pressure, SystemStats::Pressure::elevated);
    EXPECT_EQ(stats.writtenSinceBootBytes, 4000u * 512);
    EXPECT_EQ(stats.selfWrittenBytes, 8192u);
    EXPECT_DOUBLE_EQ(stats.selfCPUSeconds, 2.0);
    EXPECT_DOUBLE_EQ(stats.selfAliveSeconds, 40.0);
    EXPECT_DOUBLE_EQ(stats.selfCPUPercent, 5.0);
    ASSERT_TRUE(stats.bootDate);
    EXPECT_EQ(drivekit::json::isoDate(*stats.bootDate), "2025-11-23T08:00:00Z");
}

// A scan's own cost: the share of a core over each interval between two looks at
// /proc/self, the memory at the second look; looks in the same uptime tick add nothing.
TEST(SystemStats, AScanSamplesItsOwnCoreShareAndMemoryBetweenLooks) {
    Files files;
    EXPECT_FALSE(ownUse(files));
    files.text["self/stat"] = "42 (vantrel) R 1 42 42 0 -1 0 0 0 0 0 150 50 0 0 20 0 1 0 1000 0 0\n";
    files.text["uptime"] = "50.00 90.00\n";
    files.text["self/statm"] = "9000 3000 500 10 0 2000 0\n";
    const auto before = ownUse(files);
    ASSERT_TRUE(before);
    EXPECT_EQ(before->residentBytes, 3000u * 4096);
    files.text["self/stat"] = "42 (vantrel) R 1 42 42 0 -1 0 0 0 0 0 170 60 0 0 20 0 1 0 1000 0 0\n";
    files.text["uptime"] = "51.00 90.50\n";
    files.text["self/statm"] = "9000 3500 500 10 0 2000 0\n";
    const auto after = ownUse(files);
    ScanUsage usage;
    ScanUsageSampling::add(usage, *before, *after);
    ScanUsageSampling::add(usage, *after, *after);
    EXPECT_EQ(usage.cpu.size(), 1u);
    EXPECT_NEAR(usage.cpu[0], 30.0, 1e-9);
    EXPECT_EQ(usage.memory, (std::vector<std::uint64_t>{3500u * 4096}));
}

TEST(SystemStats, TheCPUShareIsMeasuredOverAtLeastASecond) {
    SystemStats first;
    first.selfCPUSeconds = 10;
    first.selfAliveSeconds = 100;
    first.selfCPUPercent = 10;
    SystemStats soon = first;
    soon.selfCPUSeconds = 10.4;
    soon.selfAliveSeconds = 100.5;
    const auto kept = SystemStatsReader::updated(first, soon);
    EXPECT_DOUBLE_EQ(kept.selfAliveSeconds, 100);
    EXPECT_DOUBLE_EQ(kept.selfCPUPercent, 10);
    SystemStats later = first;
    later.selfCPUSeconds = 10.5;
    later.selfAliveSeconds = 101;
    EXPECT_DOUBLE_EQ(SystemStatsReader::updated(kept, later).selfCPUPercent, 50);
}

}  // namespace
}  // namespace app
