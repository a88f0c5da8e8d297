#include "drivekit/health/ata_smart_lib.hpp"

#include <gtest/gtest.h>

#include "drivekit/health/tests/ata_pages.hpp"
#include "drivekit/health/sat_non_data.hpp"
#include "drivekit/health/tests/fake_sat_disk.hpp"

namespace drivekit {
namespace {

using SAT::Variant;
using testpages::FakeSATDisk;
namespace Lib = ATASMARTLib;

TEST(ATASMARTLib, ReadsEveryPageOfAnAnsweringDrive) {
    FakeSATDisk disk;
    const auto connect = disk.connect();

    EXPECT_TRUE(Lib::isCapable(connect, "sda"));

    const auto identity = Lib::identify(connect, "sda");
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->model, "HWLAB SATA SSD");
    EXPECT_EQ(identity->serial, "SER123");
    EXPECT_TRUE(identity->smartEnabled);

    const auto attributes = Lib::attributes(connect, "sda");
    ASSERT_TRUE(attributes);
    ASSERT_EQ(attributes->size(), 3u);
    EXPECT_EQ((*attributes)[0], (ATAAttribute{5, 0x0033, 100, 100, 10, 0}));
    EXPECT_EQ((*attributes)[1].raw, 1240u);
    EXPECT_EQ((*attributes)[2].id, 194);

    const auto data = Lib::data(connect, "sda");
    ASSERT_TRUE(data);
    EXPECT_EQ(*data, *disk.smartData);

    const auto progress = Lib::selfTestProgress(connect, "sda");
    ASSERT_TRUE(progress);
    EXPECT_EQ(*progress, (SelfTest::Progress{SelfTest::Outcome::inProgress, 70, 2, 30}));

    const auto log = Lib::selfTestLog(connect, "sda");
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0], (SelfTest::Entry{2, SelfTest::Outcome::readFailure, 1239, 1000u}));
    EXPECT_EQ(log[1], (SelfTest::Entry{1, SelfTest::Outcome::passed, 1200, std::nullopt}));

    EXPECT_EQ(SMARTStatusRules::ata(connect, "sda"), SMARTStatus::verified);

    // Each operation had a connection of its own and gave it back.
    EXPECT_EQ(disk.opened, 7);
    EXPECT_EQ(disk.live, 0);
    for (const auto& cdb : disk.sent) EXPECT_EQ(cdb[0], 0x85);
}

TEST(ATASMARTLib, SelfTestsStartInTheBackgroundByKind) {
    FakeSATDisk disk;
    EXPECT_TRUE(Lib::startSelfTest(SelfTest::Kind::short_, disk.connect(), "sda"));
    EXPECT_EQ(disk.sent.back(), SAT::smartExecuteOffLineImmediate(Variant::sixteen, 0x01));
    EXPECT_TRUE(Lib::startSelfTest(SelfTest::Kind::extended, disk.connect(), "sda"));
    EXPECT_EQ(disk.sent.back(), SAT::smartExecuteOffLineImmediate(Variant::sixteen, 0x02));

    disk.takesSelfTests = false;
    EXPECT_FALSE(Lib::startSelfTest(SelfTest::Kind::short_, disk.connect(), "sda"));
}

TEST(ATASMARTLib, ABridgeOfTheTwelveByteFormGetsEveryCommandInIt) {
    FakeSATDisk disk;
    disk.forms = {Variant::twelve};
    const auto connect = disk.connect();
    ASSERT_TRUE(Lib::attributes(connect, "sda"));
    EXPECT_EQ(Lib::selfTestLog(connect, "sda").size(), 2u);
    EXPECT_EQ(SMARTStatusRules::ata(connect, "sda"), SMARTStatus::verified);
    EXPECT_TRUE(Lib::startSelfTest(SelfTest::Kind::short_, connect, "sda"));
    for (const auto& cdb : disk.sent) {
        if (cdb[0] == 0x85) {
            EXPECT_EQ(cdb[14], 0xEC) << "only IDENTIFY tries the sixteen-byte form";
        } else {
            EXPECT_EQ(cdb[0], 0xA1);
        }
    }
}

TEST(ATASMARTLib, ASixteenByteAnswerOfZerosFallsBackToTwelve) {
    FakeSATDisk disk;
    // A bridge that takes the long form but hands back an empty buffer for it.
    class ZerosForSixteen final : public SCSIDrive {
    public:
        explicit ZerosForSixteen(FakeSATDisk& disk) : inner_(disk.connect()("sda")) {}
        Answer command(ByteView cdb, std::int64_t dataIn, double timeout) override {
            if (cdb[0] == 0x85) return Bytes(512, 0);
            return inner_->command(cdb, dataIn, timeout);
        }
        DiagnosticsLog& log() override { return inner_->log(); }

    private:
        std::unique_ptr<SCSIDrive> inner_;
    };
    const Lib::Connect connect = [&](std::string_view) { return std::make_unique<ZerosForSixteen>(disk); };
    const auto attributes = Lib::attributes(connect, "sda");
    ASSERT_TRUE(attributes);
    EXPECT_EQ(attributes->size(), 3u);
    EXPECT_EQ(disk.sent.back()[0], 0xA1);
}

TEST(ATASMARTLib, NoSMARTPathAnswersNothingEverywhere) {
    // No connection at all (no such disk, or it can't be opened), and a connection whose
    // layer refuses every ATA PASS-THROUGH (a USB disk without SAT): the same answers.
    FakeSATDisk refusing;
    refusing.forms.clear();
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
    EXPECT_EQ(refusing.live, 0);
}

TEST(ATASMARTLib, IdentifyDataThatCantBeUsedSaysHowMuchCameBack) {
    FakeSATDisk disk;
    disk.identify = Bytes(200, 0x41);
    auto identity = Lib::identify(disk.connect(), "sda");
    ASSERT_FALSE(identity);
    EXPECT_EQ(identity.error(), (Lib::IdentifyFailure{Lib::IdentifyFailure::Kind::unusable, 0, 200}));
    EXPECT_EQ(identity.error().text(), "unusable IDENTIFY data (200 bytes)");

    disk.identify = Bytes(512, 0xFF);
    identity = Lib::identify(disk.connect(), "sda");
    ASSERT_FALSE(identity);
    EXPECT_EQ(identity.error().text(), "unusable IDENTIFY data (512 bytes)");
    // Without an identity there is no node, so nothing else is asked of the drive.
    EXPECT_FALSE(Lib::attributes(disk.connect(), "sda"));
    for (const auto& cdb : disk.sent) EXPECT_EQ(cdb[0] == 0x85 ? cdb[14] : cdb[9], 0xEC);
}

TEST(ATASMARTLib, MissingThresholdsLeaveEveryAttributeUnfailing) {
    FakeSATDisk disk;
    disk.smartData = testpages::SmartDataPage().attribute(0, 5, 0x0033, 1, 1, 900).sealed();
    disk.thresholds.reset();
    const auto attributes = Lib::attributes(disk.connect(), "sda");
    ASSERT_TRUE(attributes);
    ASSERT_EQ(attributes->size(), 1u);
    EXPECT_EQ((*attributes)[0].threshold, 0);
    EXPECT_FALSE((*attributes)[0].isFailingNow());

    disk.smartData.reset();
    EXPECT_FALSE(Lib::attributes(disk.connect(), "sda"));
    EXPECT_FALSE(Lib::selfTestProgress(disk.connect(), "sda"));
    // IDENTIFY still answers: the drive has a SMART path, its data just can't be read.
    EXPECT_TRUE(Lib::isCapable(disk.connect(), "sda"));
}

TEST(ATASMARTLib, StatusFollowsTheRegistersTheDriveLeft) {
    FakeSATDisk disk;
    disk.statusAnswer = FakeSATDisk::statusSense(0xF4, 0x2C);
    EXPECT_EQ(SMARTStatusRules::ata(disk.connect(), "sda"), SMARTStatus::failing);

    // Fixed-format sense, as libata sends it, with a threshold exceeded.
    disk.statusAnswer = Bytes{0xF0, 0x00, 0x01, 0x00, 0x50, 0x00, 0x00, 0x0A, 0x00,
                              0x00, 0xF4, 0x2C, 0x00, 0x1D, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(SMARTStatusRules::ata(disk.connect(), "sda"), SMARTStatus::failing);

    const std::vector<std::pair<std::string, std::optional<Bytes>>> unknown = {
        {"the command fails", std::nullopt},
        {"a layer that answers without sense", Bytes{}},
        {"the drive set ERR", FakeSATDisk::statusSense(0x4F, 0xC2, 0x51)},
        {"registers left as they were", FakeSATDisk::statusSense(0x00, 0x00)},
        {"half a failing signature", FakeSATDisk::statusSense(0xF4, 0xC2)},
    };
    for (const auto& [what, answer] : unknown) {
        disk.statusAnswer = answer;
        EXPECT_EQ(SMARTStatusRules::ata(disk.connect(), "sda"), SMARTStatus::notSupported) << what;
    }
}

}  // namespace
}  // namespace drivekit
