#include "drivekit/discovery/drive.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace drivekit {
namespace {

Drive usbDrive() {
    Drive drive;
    drive.bsdName = "sdb";
    drive.transport = Transport::usb;
    return drive;
}

TEST(Drive, NamedReplacesModelAndOnlyAGivenMedium) {
    Drive drive = usbDrive();
    drive.model = "USB Storage Device";
    drive.sizeBytes = 2'000'398'934'016;
    drive.isRAIDMember = true;
    drive.volumes = {Volume{"sdb1", "Backup", "/media/backup", "ext4"}};

    const Drive renamed = drive.named("Samsung SSD 870 EVO 2TB");
    Drive expected = drive;
    expected.model = renamed.model;
    EXPECT_EQ(renamed, expected);
    EXPECT_EQ(drive.model, "USB Storage Device");  // the original is a value, untouched

    // A rotation rate from IDENTIFY overrides what the bridge claimed, in either direction.
    drive.isSolidState = true;
    EXPECT_EQ(drive.named("WDC WD20EZRZ", false).isSolidState, false);
    EXPECT_EQ(drive.named("WDC WD20EZRZ").isSolidState, true);
}

// The kernel's size attribute counts 512-byte sectors; a damaged or made-up one must not
// overflow the conversion (the sanitizer build stops on signed overflow).
TEST(SizeFromSectors, ConvertsUpToTheLargestSizeThatFitsAndNoFurther) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / 512;
    EXPECT_EQ(sizeFromSectors("2048\n"), 1'048'576);
    EXPECT_EQ(sizeFromSectors(std::to_string(most)), most * 512);
    EXPECT_EQ(sizeFromSectors(std::to_string(most + 1)), std::nullopt);
    EXPECT_EQ(sizeFromSectors("99999999999999999999"), std::nullopt);
    for (const char* bad : {"", "0", "-1", "12abc", "\n"}) EXPECT_EQ(sizeFromSectors(bad), std::nullopt) << bad;
}

}  // namespace
}  // namespace drivekit
