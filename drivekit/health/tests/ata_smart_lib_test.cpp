#include "drivekit/health/ata_smart_lib.hpp"

#include <gtest/gtest.h>

#include "drivekit/health/sat_non_data.hpp"
#include "drivekit/health/tests/ata_pages.hpp"
#include "drivekit/usb/tests/support/sim_ata_disk.hpp"

namespace drivekit {
namespace {

using SAT::Variant;
using sim::SimATADisk;
using sim::SimDiskLinks;
namespace Lib = ATASMARTLib;

// The sense of a pass-through that asked for the registers: descriptor format with an
// ATA Status Return descriptor holding LBA mid and high and the status.
Bytes registers(std::uint8_t lbaMid, std::uint8_t lbaHigh, std::uint8_t status = 0x50) {
    return {0x72, 0x01, 0x00, 0x1D, 0x00, 0x00, 0x00, 0x0E, 0x09, 0x0C, 0x00, 0x00, 0x00,
            0x00, 0x00, 0x00, 0x00, lbaMid, 0x00, lbaHigh, 0x00, status};
}

// The lab's SATA SSD, reached as "sda".
struct LabDisk {
    SimATADisk disk = sim::labSATADisk();
    SimDiskLinks links{disk, "sda"};
    Lib::Connect connect() { return links.connect(); }
};

TEST(ATASMARTLib, ReadsEveryPageOfAnAnsweringDrive) {
    LabDisk lab;
    const auto connect = lab.connect();

    EXPECT_TRUE(Lib::isCapable(connect, "sda"));

    const auto identity = Lib::identify(connect, "sda");
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->model, "HWLAB SATA SSD");
    EXPECT_TRUE(identity->smartEnabled);

    const auto attributes = Lib::attributes(connect, "sda");
    ASSERT_TRUE(attributes);
    ASSERT_EQ(attributes->size(), 3u);
    EXPECT_EQ((*attributes)[0], (ATAAttribute{5, 0x0033, 100, 100, 10, 0}));

    const auto data = Lib::data(connect, "sda");
    ASSERT_TRUE(data);
    EXPECT_EQ(*data, *lab.disk.smartData);

    const auto progress = Lib::selfTestProgress(connect, "sda");
    ASSERT_TRUE(progress);
    EXPECT_EQ(*progress, (SelfTest::Progress{SelfTest::Outcome::inProgress, 70, 2, 30}));

    const auto log = Lib::selfTestLog(connect, "sda");
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0], (SelfTest::Entry{2, SelfTest::Outcome::readFailure, 1239, 1000u}));

    EXPECT_EQ(SMARTStatusRules::ata(connect, "sda"), SMARTStatus::verified);

    // Each operation had a connection of its own and gave it back.
    EXPECT_EQ(lab.links.opened, 7);
    EXPECT_EQ(lab.links.live, 0);
    for (const auto& cdb : lab.disk.commands) EXPECT_EQ(cdb[0], 0x85);
}

TEST(ATASMARTLib, SelfTestsStartInTheBackgroundByKind) {
    LabDisk lab;
    EXPECT_TRUE(Lib::startSelfTest(SelfTest::Kind::short_, lab.connect(), "sda"));
    EXPECT_EQ(lab.disk.commands.back(), SAT::smartExecuteOffLineImmediate(Variant::sixteen, 0x01));
    EXPECT_TRUE(Lib::startSelfTest(SelfTest::Kind::extended, lab.connect(), "sda"));
    EXPECT_EQ(lab.disk.commands.back(), SAT::smartExecuteOffLineImmediate(Variant::sixteen, 0x02));

    lab.disk.takesSelfTests = false;
    EXPECT_FALSE(Lib::startSelfTest(SelfTest::Kind::short_, lab.connect(), "sda"));
}

TEST(ATASMARTLib, ABridgeOfTheTwelveByteFormGetsEveryCommandInIt) {
    LabDisk lab;
    lab.disk.carriesSixteen = false;
    const auto connect = lab.connect();
    ASSERT_TRUE(Lib::attributes(connect, "sda"));
    EXPECT_EQ(Lib::selfTestLog(connect, "sda").size(), 2u);
    EXPECT_EQ(SMARTStatusRules::ata(connect, "sda"), SMARTStatus::verified);
    EXPECT_TRUE(Lib::startSelfTest(SelfTest::Kind::short_, connect, "sda"));
    for (const auto& cdb : lab.disk.commands) {
        if (cdb[0] == 0x85) {
            EXPECT_EQ(cdb[14], 0xEC) << "only IDENTIFY tries the sixteen-byte form";
        } else {
            EXPECT_EQ(cdb[0], 0xA1);
        }
    }
}

TEST(ATASMARTLib, NoSMARTPathAnswersNothingEverywhere) {
    // No connection at all (no such disk, or it can't be opened), and a connection whose
    // layer refuses every ATA PASS-THROUGH (a USB disk without SAT): the same answers.
    LabDisk refusing;
    refusing.disk.passesATA = false;
    const std::vector<std::pair<std::string, Lib::Connect>> cases = {
        {"no connection", [](std::string_view) { return std::unique_ptr<SCSIDrive>(); }},
        {"no connect function", Lib::Connect{}},
        {"pass-through refused", refusing.connect()},
    };
    for (const auto& [what, connect] : cases) {
        SCOPED_TRACE(what);
        EXPECT_FALSE(Lib::isCapable(connect, "sda"));
        const auto identity = Lib::identify(connect, "sda");
        ASSERT_FALSE(identity);
        EXPECT_EQ(identity.error().text(), "no SMART Capable node");
        EXPECT_FALSE(Lib::attributes(connect, "sda"));
        EXPECT_FALSE(Lib::data(connect, "sda"));
        EXPECT_FALSE(Lib::selfTestProgress(connect, "sda"));
        EXPECT_TRUE(Lib::selfTestLog(connect, "sda").empty());
        EXPECT_FALSE(Lib::startSelfTest(SelfTest::Kind::short_, connect, "sda"));
        EXPECT_EQ(SMARTStatusRules::ata(connect, "sda"), SMARTStatus::notSupported);
    }
    EXPECT_EQ(refusing.links.live, 0);
}

TEST(ATASMARTLib, IdentifyDataThatCantBeUsedSaysHowMuchCameBack) {
    LabDisk lab;
    lab.disk.identify = Bytes(200, 0x41);
    auto identity = Lib::identify(lab.connect(), "sda");
    ASSERT_FALSE(identity);
    EXPECT_EQ(identity.error(), (Lib::IdentifyFailure{Lib::IdentifyFailure::Kind::unusable, 0, 200}));
    EXPECT_EQ(identity.error().text(), "unusable IDENTIFY data (200 bytes)");

    lab.disk.identify = Bytes(512, 0xFF);
    identity = Lib::identify(lab.connect(), "sda");
    ASSERT_FALSE(identity);
    EXPECT_EQ(identity.error().text(), "unusable IDENTIFY data (512 bytes)");
    // Without an identity there is no node, so nothing else is asked of the drive.
    EXPECT_FALSE(Lib::attributes(lab.connect(), "sda"));
    for (const auto& cdb : lab.disk.commands) EXPECT_EQ(cdb[0] == 0x85 ? cdb[14] : cdb[9], 0xEC);
}

TEST(ATASMARTLib, MissingThresholdsLeaveEveryAttributeUnfailing) {
    LabDisk lab;
    lab.disk.smartData = testpages::SmartDataPage().attribute(0, 5, 0x0033, 1, 1, 900).sealed();
    lab.disk.smartThresholds.reset();
    const auto attributes = Lib::attributes(lab.connect(), "sda");
    ASSERT_TRUE(attributes);
    ASSERT_EQ(attributes->size(), 1u);
    EXPECT_EQ((*attributes)[0].threshold, 0);
    EXPECT_FALSE((*attributes)[0].isFailingNow());

    lab.disk.smartData.reset();
    EXPECT_FALSE(Lib::attributes(lab.connect(), "sda"));
    EXPECT_FALSE(Lib::selfTestProgress(lab.connect(), "sda"));
    // IDENTIFY still answers: the drive has a SMART path, its data just can't be read.
    EXPECT_TRUE(Lib::isCapable(lab.connect(), "sda"));
}

TEST(ATASMARTLib, StatusFollowsTheRegistersTheDriveLeft) {
    using Reply = SimATADisk::Reply;
    LabDisk lab;
    lab.disk.thresholdExceeded = true;
    EXPECT_EQ(SMARTStatusRules::ata(lab.connect(), "sda"), SMARTStatus::failing);

    // Fixed-format sense, as libata sends it, with a threshold exceeded.
    lab.disk.statusReply = Reply{2, {}, Bytes{0xF0, 0x00, 0x01, 0x00, 0x50, 0x00, 0x00, 0x0A, 0x00,
                                              0x00, 0xF4, 0x2C, 0x00, 0x1D, 0x00, 0x00, 0x00, 0x00}};
    EXPECT_EQ(SMARTStatusRules::ata(lab.connect(), "sda"), SMARTStatus::failing);

    const std::vector<std::pair<std::string, Reply>> unknown = {
        {"the command fails", Reply{2, {}, sim::fixedSense(0x0B, 0x00, 0x00)}},
        {"a layer that answers without sense", Reply{}},
        {"the drive set ERR", Reply{2, {}, registers(0x4F, 0xC2, 0x51)}},
        {"registers left as they were", Reply{2, {}, registers(0x00, 0x00)}},
        {"half a failing signature", Reply{2, {}, registers(0xF4, 0xC2)}},
    };
    for (const auto& [what, answer] : unknown) {
        lab.disk.statusReply = answer;
        EXPECT_EQ(SMARTStatusRules::ata(lab.connect(), "sda"), SMARTStatus::notSupported) << what;
    }
}

}  // namespace
}  // namespace drivekit
