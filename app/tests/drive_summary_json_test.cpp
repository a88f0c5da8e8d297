#include <gtest/gtest.h>

#include "app/drive_summary.hpp"
#include "app/summary_builder.hpp"
#include "drivekit/health/tests/report_fixtures.hpp"

namespace app {

using namespace drivekit;

namespace {

DriveSummary readNVMe() {
    const Drive drive = fixtures::nvmeDrive();
    const auto health = fixtures::nvmeHealth();
    SummaryBuilder::Surroundings around;
    around.disksOnTop = {"dm-0"};
    around.locale = fixtures::en;
    around.freeSpace = [](std::string_view) { return FreeSpace{1, 2}; };
    auto summary = SummaryBuilder::summarize(
        drive,
        SummaryBuilder::Reading{ReadMethod::nvmeSMART, fixtures::nvmeReport(health, drive), health,
                                SMARTStatus::verified},
        around);
    summary.history = std::vector<HistoryFinding>{
        {HistoryFinding::Rule::spareDrop, Tier::warning, "Spare fell.", 12, true},
        {HistoryFinding::Rule::errorsRising, std::nullopt, "Errors rose.", std::nullopt, false}};
    summary.ownScore = 99;
    return summary;
}

TEST(DriveSummaryJSON, KeysInFieldOrderAndBackAgain) {
    const DriveSummary summary = readNVMe();
    const auto object = summary.toJSON();
    EXPECT_EQ(object.begin().key(), "id");
    EXPECT_FALSE(object.contains("usbKey"));
    EXPECT_EQ(object["history"][1].contains("tier"), false);

    const auto text = json::dump(object, json::Layout::compact);
    EXPECT_EQ(text.find("null"), std::string::npos);
    EXPECT_EQ(DriveSummary::fromJSON(*json::parse(text)), summary);
}

TEST(DriveSummaryJSON, AnOlderFileWithoutLaterFieldsStillDecodes) {
    auto object = readNVMe().toJSON();
    for (const auto* key : {"readOnly", "flaggedSignals", "history", "ownScore", "transferMode",
                            "hasVolumes", "usbNVMeBridge"}) {
        object.erase(key);
    }
    const auto decoded = DriveSummary::fromJSON(object);
    ASSERT_TRUE(decoded);
    EXPECT_FALSE(decoded->readOnly || decoded->history || decoded->transferMode);
    EXPECT_EQ(decoded->tier, Tier::healthy);
}

TEST(DriveSummaryJSON, DamagedOptionalValuesReadAsAbsent) {
    auto object = readNVMe().toJSON();
    object["score"] = "97";
    object["dataErrors"] = -1;
    object["forecast"]["confidence"] = "certain";
    object["history"][0]["rule"] = "crystalBall";
    object["space"] = json::Object::array();
    object["raid"] = json::Object{{"setName", 3}};
    const auto decoded = DriveSummary::fromJSON(object);
    ASSERT_TRUE(decoded);
    EXPECT_FALSE(decoded->score || decoded->dataErrors || decoded->forecast || decoded->history ||
                 decoded->space || decoded->raid);
    EXPECT_EQ(decoded->lifeUsed, 3);
}

TEST(DriveSummaryJSON, ARecordMissingWhatEveryReleaseWroteIsAbsent) {
    const auto good = readNVMe().toJSON();
    for (const auto* key : {"id", "tier", "insight"}) {
        auto object = good;
        object.erase(key);
        EXPECT_EQ(DriveSummary::fromJSON(object), std::nullopt) << key;
    }
    auto badVolume = good;
    badVolume["volumes"][0]["mountPoint"] = 7;
    EXPECT_EQ(DriveSummary::fromJSON(badVolume), std::nullopt);
    EXPECT_EQ(DriveSummary::fromJSON(json::Object::array()), std::nullopt);
}

}  // namespace
}  // namespace app
