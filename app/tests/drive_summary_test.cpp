#include "app/drive_summary.hpp"

#include <gtest/gtest.h>

#include "drivekit/health/tests/report_fixtures.hpp"

namespace app {

using namespace drivekit;

namespace {

using fixtures::en;
using Signal = Finding::Signal;

const Finding watchFinding{Verdict::watch, "12 commands timed out.", Signal::connection};
const Finding warningA{Verdict::warning, "First warning.", Signal::sectors};
const Finding warningB{Verdict::warning, "Second warning.", Signal::errors};
const Finding unknownFinding{Verdict::unknown, "SMART is turned off on this drive.", std::nullopt};

TEST(SummaryWording, TitleSpeaksOfYourSSDOnlyForTheInternalOne) {
    using SummaryWording::title;
    EXPECT_EQ(title(Tier::healthy, DriveKind::internalSSD, false), "Your SSD is healthy.");
    EXPECT_EQ(title(Tier::healthy, DriveKind::usb, false), "This drive is healthy.");
    EXPECT_EQ(title(Tier::watch, DriveKind::internalSSD, false), "Worth watching.");
    EXPECT_EQ(title(Tier::failed, DriveKind::internalSSD, true), "Your SSD is read-only.");
    EXPECT_EQ(title(Tier::failed, DriveKind::internalSSD, false), "Your SSD has failed.");
    EXPECT_EQ(title(Tier::failed, DriveKind::thunderbolt, true), "This drive is read-only.");
    EXPECT_EQ(title(Tier::failing, DriveKind::other, false), "This drive needs attention.");
    EXPECT_EQ(title(Tier::limited, DriveKind::internalSSD, false),
              "Limited health info for this drive.");
    EXPECT_EQ(title(Tier::limited, DriveKind::sdCard, false), "SD cards don't report health data.");
}

TEST(SummaryWording, LimitedLineSaysWhyAndWhatIsStillTracked) {
    using SummaryWording::limitedLine;
    EXPECT_EQ(limitedLine(DriveKind::usb, false),
              "`vantrel check` reads it over USB: Vantrel borrows the drive for a few seconds. "
              "Vantrel still tracks its read and write errors.");
    EXPECT_EQ(
        limitedLine(DriveKind::usb, true),
        "Its enclosure has an NVMe bridge, and Vantrel reads health over USB from SATA drives "
        "only. Vantrel still tracks its read and write errors.");
    EXPECT_EQ(limitedLine(DriveKind::internalSSD, true),
              "Linux doesn't report this drive's health. Vantrel still tracks its read and write "
              "errors.");
    EXPECT_EQ(limitedLine(DriveKind::sdCard, false),
              "Vantrel tracks its read and write errors, its speed and its free space.");
}

TEST(SummaryWording, ReadSourceTellsThePathInLinuxWords) {
    using SummaryWording::readSource;
    Drive nvme = fixtures::nvmeDrive();
    EXPECT_EQ(readSource(nvme, ReadMethod::nvmeSMART, false, true),
              "NVMe SMART, read live from the internal SSD.");
    nvme.transport = Transport::externalNVMe;
    EXPECT_EQ(readSource(nvme, ReadMethod::nvmeSMART, false, true),
              "NVMe SMART over Thunderbolt, read live without unmounting anything.");

    Drive usb = fixtures::usbDrive();
    EXPECT_EQ(readSource(usb, ReadMethod::ataSMARTHandOver, false, true),
              "ATA SMART over USB, read through the enclosure's bridge. Vantrel unmounts the drive "
              "for a few seconds while it reads, then Linux mounts it again.");
    EXPECT_EQ(readSource(usb, ReadMethod::ataSMARTLive, false, true),
              "ATA SMART through Linux's own USB storage driver, read live without unmounting "
              "anything.");
    EXPECT_EQ(
        readSource(usb, ReadMethod::none, false, true),
        "Connected over USB through its ASMedia ASM235CM bridge. Until you run it, Vantrel "
        "watches Linux's error counters for this drive, along with its speed and free space.");
    EXPECT_EQ(readSource(usb, ReadMethod::none, true, false),
              "This enclosure doesn’t report the drive’s model, so Vantrel names it after its "
              "volume. Connected over USB through its ASMedia ASM235CM bridge. Vantrel watches "
              "Linux's error counters for this drive, along with its speed and free space.");

    usb.usb->productID = 0x2362;  // an NVMe bridge
    EXPECT_EQ(readSource(usb, ReadMethod::none, false, true),
              "Connected over USB through its ASMedia ASM2362 bridge. Instead, Vantrel watches "
              "Linux's error counters for this drive, along with its speed and free space.");
    usb.usb->vendorID = 0x1234;  // a chip known only by number is not named
    EXPECT_EQ(readSource(usb, ReadMethod::none, false, true).substr(0, 20), "Connected over USB. ");

    Drive card;
    card.bsdName = "mmcblk0";
    card.transport = Transport::sdCard;
    EXPECT_EQ(
        readSource(card, ReadMethod::none, true, true),
        "This drive doesn’t report its model, so Vantrel names it after its volume. The card "
        "in the computer's built-in SD reader. SD cards don't share health data with this "
        "computer, so Vantrel watches Linux's error counters for it, along with its speed and "
        "free space.");

    Drive sata;
    sata.bsdName = "sda";
    sata.transport = Transport::sata;
    EXPECT_EQ(readSource(sata, ReadMethod::ataSMARTLive, false, true),
              "ATA SMART through Linux's own SATA driver, read live without unmounting anything.");
    EXPECT_EQ(
        readSource(sata, ReadMethod::none, false, true),
        "Vantrel watches Linux's error counters for this drive, along with its speed and free "
        "space.");
}

TEST(DriveSummaryKeys, USBIdentityAndItsFallbacks) {
    Drive drive = fixtures::usbDrive();
    EXPECT_EQ(usbKey(drive), "34865152-500107862016");
    EXPECT_EQ(usbSignature(drive), "174C:235C:500107862016");
    drive.usb->vendorID = 0xA;
    drive.usb->productID = 0xbc;
    EXPECT_EQ(usbSignature(drive), "000A:00BC:500107862016");

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

TEST(DriveSummaryKeys, USBCheckIsOfferedOnlyToALimitedUSBDrive) {
    DriveSummary summary;
    summary.kind = DriveKind::usb;
    summary.tier = Tier::limited;
    EXPECT_TRUE(summary.offersUSBCheck(true));
    EXPECT_FALSE(summary.offersUSBCheck(false));

    DriveSummary live = summary;
    live.liveUSBHealth = true;
    EXPECT_FALSE(live.offersUSBCheck(true));
    DriveSummary nvmeBridge = summary;
    nvmeBridge.usbNVMeBridge = true;
    EXPECT_FALSE(nvmeBridge.offersUSBCheck(true));
    DriveSummary checked = summary;
    checked.tier = Tier::healthy;
    EXPECT_FALSE(checked.offersUSBCheck(true));
    DriveSummary card = summary;
    card.kind = DriveKind::sdCard;
    EXPECT_FALSE(card.offersUSBCheck(true));
}

TEST(DriveSummaryKeys, NotMountedWhenNoVolumeHasAMountPoint) {
    DriveSummary summary;
    EXPECT_TRUE(summary.notMounted());
    summary.volumes.push_back(VolumeInfo{"Backup", "", std::nullopt, std::nullopt});
    EXPECT_TRUE(summary.notMounted());
    summary.volumes.push_back(VolumeInfo{"Data", "/mnt/data", "ext4", std::nullopt});
    EXPECT_FALSE(summary.notMounted());
}

}  // namespace
}  // namespace app
