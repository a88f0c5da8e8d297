#include "drivekit/discovery/io_stats.hpp"

#include <gtest/gtest.h>


#include "platform/linux/linux_sysfs.hpp"
#include "platform/tests/support/doubles.hpp"

namespace drivekit {
namespace {

using namespace std::chrono_literals;
using Time = std::chrono::system_clock::time_point;

using FixedClock = platform::doubles::TestClock;

// Attributes as plain texts, for the malformed files no fixture tree should hold.
using platform::doubles::MapSysfs;

const Time noon = Time{} + 1'700'000'000s;

IOStats sample(std::uint64_t read, std::uint64_t written, Time at) {
    IOStats stats;
    stats.bytesRead = read;
    stats.bytesWritten = written;
    stats.sampledAt = at;
    return stats;
}

TEST(IOStatsRead, RealKernelLayouts) {
    const platform::LinuxSysfs sysfs(VANTREL_TEST_DATA "/sysfs");
    const FixedClock clock(noon);

    // SATA on a current kernel: seventeen fields, SCSI error counter in hex.
    auto sda = IOStats::read("sda", sysfs, clock);
    ASSERT_TRUE(sda);
    EXPECT_EQ(sda->bytesRead, 9'876'544ull * 512);
    EXPECT_EQ(sda->bytesWritten, 3'456'788ull * 512);
    EXPECT_EQ(sda->readErrors, 2u);

    // NVMe: no SCSI device, so no error counter; the record is still whole.
    auto nvme = IOStats::read("nvme0n1", sysfs, clock);
    ASSERT_TRUE(nvme);
    EXPECT_EQ(nvme->bytesRead, 2144u * 512);
    EXPECT_EQ(nvme->readErrors, 0u);

    // An older kernel's eleven fields; 0x1f is 31, not 1 or 0.
    auto usb = IOStats::read("sdb", sysfs, clock);
    ASSERT_TRUE(usb);
    EXPECT_EQ(usb->bytesRead, 1'048'576ull * 512);
    EXPECT_EQ(usb->bytesWritten, 262'144ull * 512);
    EXPECT_EQ(usb->readErrors, 31u);

    EXPECT_EQ(IOStats::read("sdz", sysfs, clock), std::nullopt);
    // Names that would leave /sys/class/block.
    EXPECT_EQ(IOStats::read("", sysfs, clock), std::nullopt);
    EXPECT_EQ(IOStats::read("..", sysfs, clock), std::nullopt);
    EXPECT_EQ(IOStats::read("../block/sda", sysfs, clock), std::nullopt);
}

TEST(IOStatsRead, DamagedStatLinesReadAsNothing) {
    const FixedClock clock(noon);
    MapSysfs sysfs;
    const std::string stat = "/sys/class/block/sdc/stat";
    const auto read = [&] { return IOStats::read("sdc", sysfs, clock); };

    sysfs.files[stat] = "1 0 8 1 2 0 16 1 0 1";  // ten fields
    EXPECT_EQ(read(), std::nullopt);
    sysfs.files[stat] = "1 0 8 1 2 0 -16 1 0 1 2";
    EXPECT_EQ(read(), std::nullopt);
    sysfs.files[stat] = "1 0 8x 1 2 0 16 1 0 1 2";
    EXPECT_EQ(read(), std::nullopt);
    // Tabs and a trailing newline are only white space.
    sysfs.files[stat] = "1\t0 8 1 2 0 16 1 0 1 2\n";
    ASSERT_TRUE(read());
    EXPECT_EQ(read()->bytesWritten, 16u * 512);

    // The error counter falls to 0 when it is not a number, and is read in either base.
    const std::string ioerr = "/sys/class/block/sdc/device/ioerr_cnt";
    for (auto [text, count] : {std::pair{"0x10", 16u}, std::pair{"12", 12u}, std::pair{"0x", 0u},
                               std::pair{"many", 0u}, std::pair{"", 0u}}) {
        sysfs.files[ioerr] = text;
        ASSERT_TRUE(read());
        EXPECT_EQ(read()->readErrors, count) << text;
    }

    // Counters near the top of 64 bits saturate instead of wrapping to a small number.
    sysfs.files[stat] = "1 0 18446744073709551615 1 2 0 16 1 0 1 2";
    EXPECT_EQ(read()->bytesRead, UINT64_MAX);
}

TEST(IOStatsRates, RestartsAndTheSmallestInterval) {
    const auto earlier = sample(1'000'000, 5'000'000, noon);

    auto later = sample(3'000'000, 6'000'000, noon + 2s);
    EXPECT_FALSE(later.isRestart(earlier));
    EXPECT_EQ(later.rates(earlier), (IOStats::Rates{1'000'000.0, 500'000.0}));

    // Reads went down while writes rose: the driver restarted, both rates are 0.
    later = sample(10, 9'000'000, noon + 2s);
    EXPECT_TRUE(later.isRestart(earlier));
    EXPECT_EQ(later.rates(earlier), (IOStats::Rates{0.0, 0.0}));

    // Two samples of one instant divide by a millisecond.
    later = sample(1'000'500, 5'000'000, noon);
    EXPECT_DOUBLE_EQ(later.rates(earlier).read, 500'000.0);
    EXPECT_DOUBLE_EQ(later.rates(earlier).write, 0.0);

}

TEST(ReadLimit, FromTheHardwareQueueLimit) {
    const platform::LinuxSysfs sysfs(VANTREL_TEST_DATA "/sysfs");
    EXPECT_EQ(ReadLimit::maxBytes("nvme0n1", sysfs), 512 * 1024);
    // A partition answers for its disk.
    EXPECT_EQ(ReadLimit::maxBytes("sda1", sysfs), 32767 * 1024);
    // 0 is no known limit.
    EXPECT_EQ(ReadLimit::maxBytes("sdb", sysfs), std::nullopt);
    EXPECT_EQ(ReadLimit::maxBytes("../../..", sysfs), std::nullopt);

    MapSysfs damaged;
    const std::string limit = "/sys/class/block/sdc/queue/max_hw_sectors_kb";
    for (const char* text : {"-1", "512 kB", "99999999999999999999"}) {
        damaged.files[limit] = text;
        EXPECT_EQ(ReadLimit::maxBytes("sdc", damaged), std::nullopt) << text;
    }
    damaged.files[limit] = "1";
    EXPECT_EQ(ReadLimit::maxBytes("sdc", damaged), 1024);
}

}  // namespace
}  // namespace drivekit
