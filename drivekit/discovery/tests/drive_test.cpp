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

TEST(TransportText, StoredFormsKeysAndTheLinuxSATACase) {
    for (auto t : {Transport::internalNVMe, Transport::externalNVMe, Transport::usb,
                   Transport::sdCard, Transport::sata, Transport::other}) {
        EXPECT_EQ(TransportText::parse(TransportText::raw(t)), t) << TransportText::raw(t);
        EXPECT_EQ(TransportText::label(t), TransportText::raw(t));
    }
    EXPECT_EQ(TransportText::raw(Transport::sata), "SATA");
    // The NVMe labels are looked up by their own text, the others by key.
    EXPECT_EQ(TransportText::key(Transport::externalNVMe), "Thunderbolt/USB4 NVMe");
    EXPECT_EQ(TransportText::key(Transport::sata), "transport.sata");
    // Stored forms are exact: a case-changed text is no transport.
    EXPECT_EQ(TransportText::parse("usb"), std::nullopt);
    EXPECT_EQ(TransportText::parse("sata"), std::nullopt);
}

TEST(RAIDWording, KnownWordsInAnyCaseAndUnknownWordsAsTheyCame) {
    RAIDInfo raid;
    raid.level = "CONCAT";
    EXPECT_EQ(RAIDWording::levelLabel(raid), "Concatenated");
    EXPECT_EQ(RAIDWording::levelText(raid), "concatenated set");
    raid.level = "Concatenated";
    EXPECT_EQ(RAIDWording::levelText(raid), "concatenated set");
    raid.level = "Mirror";
    EXPECT_EQ(RAIDWording::levelLabel(raid), "Mirror");
    EXPECT_EQ(RAIDWording::levelText(raid), "RAID 1 mirror");
    raid.level = "stripe";
    EXPECT_EQ(RAIDWording::levelText(raid), "RAID 0 stripe");
    // md reports levels such as "raid5" that no row knows: both functions pass them on.
    raid.level = "RAID 5";
    EXPECT_EQ(RAIDWording::levelLabel(raid), "RAID 5");
    EXPECT_EQ(RAIDWording::levelText(raid), "RAID 5");
    raid.level = "raid1";
    EXPECT_EQ(RAIDWording::levelText(raid), "raid1");

    raid.status = "DEGRADED";
    raid.memberStatus = "Rebuilding";
    EXPECT_EQ(RAIDWording::statusLabel(raid), "Degraded");
    EXPECT_EQ(RAIDWording::memberStatusLabel(raid), "Rebuilding");
    // The two status tables differ: "rebuilding" is a member word, "degraded" a set word.
    raid.status = "rebuilding";
    raid.memberStatus = "degraded";
    EXPECT_EQ(RAIDWording::statusLabel(raid), "rebuilding");
    EXPECT_EQ(RAIDWording::memberStatusLabel(raid), "degraded");
    raid.status = "clean";  // an md array_state
    raid.memberStatus = "spare";
    EXPECT_EQ(RAIDWording::statusLabel(raid), "clean");
    EXPECT_EQ(RAIDWording::memberStatusLabel(raid), "Spare");
    // The defaults of a set whose facts are missing read as words of their own.
    const RAIDInfo defaults;
    EXPECT_EQ(RAIDWording::statusLabel(defaults), "Unknown");
    EXPECT_EQ(RAIDWording::memberStatusLabel(defaults), "Unknown");
    EXPECT_EQ(RAIDWording::levelLabel(defaults), "RAID");
}

TEST(RAIDInfo, JSONRecordWithExactlyItsKeys) {
    RAIDInfo raid{"Raid2TB", "Mirror", "Online", "Online", 2, std::nullopt};
    const auto object = raid.toJSON();
    EXPECT_EQ(object.dump(), R"({"setName":"Raid2TB","level":"Mirror","status":"Online",)"
                             R"("memberStatus":"Online","memberCount":2})");
    EXPECT_EQ(RAIDInfo::fromJSON(object), raid);

    raid.setBSDName = "md127";
    EXPECT_EQ(RAIDInfo::fromJSON(raid.toJSON()), raid);

    auto damaged = raid.toJSON();
    damaged["memberCount"] = "2";
    EXPECT_EQ(RAIDInfo::fromJSON(damaged), std::nullopt);
    damaged = raid.toJSON();
    damaged.erase("level");
    EXPECT_EQ(RAIDInfo::fromJSON(damaged), std::nullopt);
    damaged = raid.toJSON();
    damaged["setBSDName"] = nullptr;
    EXPECT_EQ(RAIDInfo::fromJSON(damaged), std::nullopt);
    EXPECT_EQ(RAIDInfo::fromJSON(json::Object::array()), std::nullopt);
}

TEST(CaptureBlockers, FixedOrderAndExactClauses) {
    EXPECT_TRUE(captureBlockers(usbDrive()).empty());

    auto drive = usbDrive();
    drive.isRAIDMember = true;
    drive.hostsBootVolume = true;
    EXPECT_EQ(captureBlockers(drive),
              (std::vector<std::string>{"it is a member of a software RAID set",
                                        "it holds the startup volume"}));

    drive.transport = Transport::sata;
    drive.hostsCurrentDirectory = true;
    EXPECT_EQ(captureBlockers(drive),
              (std::vector<std::string>{"not a USB drive", "it is a member of a software RAID set",
                                        "it holds the folder you are working in",
                                        "it holds the startup volume"}));

    // A RAID member whose set can't be found still refuses the take-over.
    drive = usbDrive();
    drive.isRAIDMember = true;
    EXPECT_FALSE(drive.raid.has_value());
    EXPECT_EQ(captureBlockers(drive),
              std::vector<std::string>{"it is a member of a software RAID set"});
}

TEST(Drive, NamedReplacesModelAndOnlyAGivenMedium) {
    Drive drive = usbDrive();
    drive.model = "USB Storage Device";
    drive.sizeBytes = 2'000'398'934'016;
    drive.isRAIDMember = true;
    drive.volumes = {Volume{"sdb1", "Backup", "/media/backup", "ext4"}};

    const Drive renamed = drive.named("Samsung SSD 870 EVO 2TB");
    EXPECT_EQ(renamed.model, "Samsung SSD 870 EVO 2TB");
    EXPECT_EQ(renamed.isSolidState, std::nullopt);  // absent stays absent
    Drive expected = drive;
    expected.model = renamed.model;
    EXPECT_EQ(renamed, expected);
    EXPECT_EQ(drive.model, "USB Storage Device");  // the original is a value, untouched

    // A rotation rate from IDENTIFY overrides what the bridge claimed, in either direction.
    drive.isSolidState = true;
    EXPECT_EQ(drive.named("WDC WD20EZRZ", false).isSolidState, false);
    EXPECT_EQ(drive.named("WDC WD20EZRZ").isSolidState, true);
    EXPECT_EQ(drive.device(), "/dev/sdb");
}

TEST(SMARTStatusText, StoredByCaseNameShownByLabel) {
    for (auto st : {SMARTStatus::verified, SMARTStatus::failing, SMARTStatus::notSupported}) {
        EXPECT_EQ(SMARTStatusText::parse(SMARTStatusText::raw(st)), st);
    }
    EXPECT_EQ(SMARTStatusText::raw(SMARTStatus::notSupported), "notSupported");
    EXPECT_EQ(SMARTStatusText::label(SMARTStatus::notSupported), "Not supported");
    EXPECT_EQ(SMARTStatusText::parse("Not supported"), std::nullopt);
}

// The kernel's size attribute counts 512-byte sectors; a damaged or made-up one must not
// overflow the conversion (the sanitizer build stops on signed overflow).
TEST(SizeFromSectors, ConvertsUpToTheLargestSizeThatFitsAndNoFurther) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / 512;
    EXPECT_EQ(sizeFromSectors("2048\n"), 1'048'576);
    EXPECT_EQ(sizeFromSectors(std::to_string(most)), most * 512);
    EXPECT_EQ(sizeFromSectors(std::to_string(most + 1)), std::nullopt);
    EXPECT_EQ(sizeFromSectors("9223372036854775807"), std::nullopt);
    EXPECT_EQ(sizeFromSectors("99999999999999999999"), std::nullopt);
    for (const char* bad : {"", "0", "-1", "12abc", "\n"}) EXPECT_EQ(sizeFromSectors(bad), std::nullopt) << bad;
}

}  // namespace
}  // namespace drivekit
