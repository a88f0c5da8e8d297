#include "app/drive_summary.hpp"

#include <gtest/gtest.h>

#include "drivekit/health/tests/report_fixtures.hpp"

namespace app {

using namespace drivekit;

namespace {

TEST(DriveSummaryKeys, USBIdentityAndItsFallbacks) {
    Drive drive = fixtures::usbDrive();
    EXPECT_EQ(usbKey(drive), "34865152-500107862016");
    EXPECT_EQ(usbSignature(drive), "174C:235C:500107862016");
    // Without USB facts: location 0, no signature, and the stable key falls back to the name.
    drive.usb.reset();
    EXPECT_EQ(usbKey(drive), "0-500107862016");
    EXPECT_EQ(usbSignature(drive), std::nullopt);

    DriveSummary summary;
    summary.kind = DriveKind::usb;
    summary.id = summary.bsdName = "sdb";
    summary.name = "Backup";
    summary.capacityBytes = 500'107'862'016;
    EXPECT_EQ(summary.stableKey(), "name:Backup:500107862016");
    summary.usbSignature = "174C:235C:500107862016";
    EXPECT_EQ(summary.stableKey(), "usb:174C:235C:500107862016");

    // A drive with an identity of its own keeps it; a signature counts only for USB.
    summary.kind = DriveKind::internalSSD;
    EXPECT_EQ(summary.stableKey(), "name:Backup:500107862016");
    summary.id = "S5GXNF0R123456";
    EXPECT_EQ(summary.stableKey(), "S5GXNF0R123456");
}

}  // namespace
}  // namespace app
