#include "drivekit/health/ata_family.hpp"

#include <initializer_list>
#include <string>

#include <gtest/gtest.h>

namespace drivekit {
namespace {

using Kind = ATAFamily::Kind;

ATAAttributeTable withIds(std::initializer_list<std::uint8_t> ids) {
    ATAAttributeTable table;
    for (const std::uint8_t id : ids) table[id] = ATAAttribute{id, 0, 100, 100, 0, 0};
    return table;
}

Kind kindOf(std::string_view model, std::optional<bool> isSSD = true) {
    return familyFor(model, std::nullopt, {}, isSSD).kind;
}

TEST(ATAFamily, ARotatingDriveIsAHardDriveWhateverItsName) {
    EXPECT_EQ(kindOf("ST2000DM008-2FR102", false), Kind::hardDrive);
    EXPECT_EQ(kindOf("CT500MX500SSD1", false), Kind::hardDrive);
    const ATAFamily hdd = familyFor("CT500MX500SSD1", std::nullopt, withIds({168, 167}), false);
    EXPECT_EQ(hdd, ATAFamily::of(Kind::hardDrive));
    // Unknown rotation doesn't make one.
    EXPECT_EQ(kindOf("ST2000DM008-2FR102", std::nullopt), Kind::generic);
}

TEST(ATAFamily, PhisonFirmwareNamesAModelNoPatternKnows) {
    auto byFirmware = [](std::string_view firmware) {
        return familyFor("SATA SSD", firmware, {}, true).kind;
    };
    EXPECT_EQ(byFirmware("sbfk1234"), Kind::phison);
    EXPECT_EQ(byFirmware("XSAFM01"), Kind::generic);  // only at the start
    // A named model wins over the firmware.
    EXPECT_EQ(familyFor("CT500MX500SSD1", std::string_view("SAFM01.6"), {}, true).kind,
              Kind::crucial);
}

TEST(ATAFamily, NamesComeBeforeSignaturesAndSignaturesBeforeMakers) {
    EXPECT_EQ(familyFor("CT500MX500SSD1", std::nullopt, withIds({230, 233, 234}), true).kind,
              Kind::crucial);
    EXPECT_EQ(familyFor("KINGSTON SA400S37240G", std::nullopt, withIds({167, 168}), true).kind,
              Kind::siliconMotion);
    EXPECT_EQ(familyFor("KINGSTON SA400S37240G", std::nullopt, withIds({1, 9, 12}), true).kind,
              Kind::kingston);
    EXPECT_EQ(familyFor("INTEL SSDSC2BB240G4", std::nullopt, withIds({230, 233, 234}), true).kind,
              Kind::marvellSanDisk);
}

}  // namespace
}  // namespace drivekit
