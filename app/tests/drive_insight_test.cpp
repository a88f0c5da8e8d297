#include "app/drive_insight.hpp"

#include <gtest/gtest.h>

#include "drivekit/health/tests/report_fixtures.hpp"

namespace app {

using namespace drivekit;

namespace {

using fixtures::attribute;
using fixtures::en;
using Status = IndicatorStatus;

const DriveInsight::Facts facts{false, en};

const DriveInsight::Indicator* row(const DriveInsight& insight, std::string_view key) {
    for (const auto& indicator : insight.indicators) {
        if (indicator.key == key) return &indicator;
    }
    return nullptr;
}

std::optional<std::string> general(const DriveInsight& insight, std::string_view key) {
    for (const auto& field : insight.general) {
        if (field.key == key) return field.value;
    }
    return std::nullopt;
}

std::vector<std::string> keys(const DriveInsight& insight) {
    std::vector<std::string> out;
    for (const auto& indicator : insight.indicators) out.push_back(indicator.key.value_or("-"));
    return out;
}

TEST(DriveInsight, NVMeIndicatorsRateMoreFinelyThanTheRules) {
    auto health = fixtures::nvmeHealth();
    health.percentageUsed = 70;
    health.spareThreshold = 99;  // a threshold no usable drive means
    auto insight = DriveInsight::nvme(health, fixtures::nvmeDrive(), facts);
    const auto* life = row(insight, "Life left");
    EXPECT_EQ(life->value, "30%");
    EXPECT_EQ(life->health, 30);
    EXPECT_EQ(life->status, Status::watch);
    EXPECT_EQ(row(insight, "Available spare")->status, Status::ok);

    health.percentageUsed = 120;  // past its rated life: nothing left, not negative
    EXPECT_EQ(row(DriveInsight::nvme(health, fixtures::nvmeDrive(), facts), "Life left")->value,
              "0%");

    health.criticalWarning = 0x02 | 0x10;
    health.temperatureC.reset();
    health.mediaErrors = 1'234;
    insight = DriveInsight::nvme(health, fixtures::nvmeDrive(), facts);
    EXPECT_EQ(row(insight, "Critical warnings")->status, Status::warning);
    EXPECT_EQ(row(insight, "Temperature")->value, "Not reported");
    EXPECT_EQ(row(insight, "Temperature")->status, Status::watch);
    EXPECT_EQ(row(insight, "Media and data integrity errors")->status, Status::warning);
}

TEST(DriveInsight, ATARowsExistOnlyForFiguresTheReadingHas) {
    const Drive drive = fixtures::usbDrive();
    const auto report =
        fixtures::ataReport(drive, {attribute(9, 99, 12'000), attribute(199, 200, 0),
                                    attribute(188, 100, 0), attribute(194, 30, 41)});
    const auto insight = DriveInsight::ata(report, drive, facts);
    // Command timeouts at 0 are not told.
    EXPECT_EQ(keys(insight), (std::vector<std::string>{"Interface CRC errors", "Temperature"}));
    EXPECT_EQ(row(insight, "Interface CRC errors")->status, Status::ok);
    EXPECT_EQ(row(insight, "Temperature")->value, "41 °C");
    EXPECT_EQ(general(insight, "Power-on time"), "12000 hours (500 days)");
}

TEST(DriveInsight, AFailingAttributeRatesItsRowWhateverTheFigure) {
    const Drive drive = fixtures::usbDrive();
    // Life at 50 is fine by the rule, but attribute 231 is at its own threshold.
    auto report = fixtures::ataReport(drive, {attribute(231, 50, 0, 50, 0x0033)});
    EXPECT_EQ(row(DriveInsight::ata(report, drive, facts), "Life left")->status, Status::failing);
    report = fixtures::ataReport(drive, {attribute(231, 50, 0, 50, 0x0032)});
    const auto insight = DriveInsight::ata(report, drive, facts);
    EXPECT_EQ(row(insight, "Life left")->status, Status::warning);
    EXPECT_EQ(row(insight, "Life left")->health, 50);
    // Shown ids don't come back as rows of their own.
    EXPECT_EQ(insight.indicators.size(), 1u);
}

TEST(DriveInsight, AnAttributeWithoutARowGetsOneAtTheEnd) {
    const Drive drive = fixtures::usbDrive();
    const auto report = fixtures::ataReport(
        drive, {attribute(194, 30, 35), attribute(3, 20, 0x0001'0000'0BB8, 21, 0x0027),
                attribute(7, 60, 0, 30)});
    const auto insight = DriveInsight::ata(report, drive, facts);
    ASSERT_EQ(insight.indicators.size(), 2u);
    const auto& extra = insight.indicators.back();
    EXPECT_EQ(extra.label, ATAAttribute::nameFor(3));
    EXPECT_EQ(extra.value, "3,000");
    EXPECT_EQ(extra.status, Status::failing);
    EXPECT_EQ(extra.key, std::nullopt);
}

TEST(DriveInsight, LastSelfTestAndDataWritten) {
    const Drive drive = fixtures::usbDrive();
    using SelfTest::Outcome;
    const std::vector<SelfTest::Entry> running{{2, Outcome::inProgress, 900, std::nullopt},
                                               {1, Outcome::readFailure, 800, 1234567u}};
    auto report = fixtures::ataReport(drive, {attribute(241, 100, 2'000'000'000)}, {}, running);
    auto insight = DriveInsight::ata(report, drive, facts);
    const auto* test = row(insight, "Last self-test");
    ASSERT_NE(test, nullptr);
    EXPECT_EQ(test->value, "Short · Failed: read");
    EXPECT_EQ(test->status, Status::failing);
    const auto* written = row(insight, "Data written");
    ASSERT_NE(written, nullptr);
    EXPECT_EQ(written->status, Status::info);


    Drive sizeless = drive;
    sizeless.sizeBytes = 0;
    EXPECT_EQ(row(DriveInsight::ata(report, sizeless, facts), "Data written")->note,
              "Lifetime host writes");
}

TEST(DriveInsight, JSONRoundTripAndDamage) {
    const auto insight = DriveInsight::nvme(fixtures::nvmeHealth(), fixtures::nvmeDrive(), facts);
    const auto object = insight.toJSON();
    EXPECT_EQ(object.begin().key(), "general");
    EXPECT_EQ(DriveInsight::fromJSON(object), insight);

    auto damaged = object;
    damaged["indicators"][0]["status"] = "excellent";
    EXPECT_EQ(DriveInsight::fromJSON(damaged), std::nullopt);
    auto noMinutes = object;
    noMinutes["warningTempMinutes"] = "many";
    EXPECT_EQ(DriveInsight::fromJSON(noMinutes)->warningTempMinutes, std::nullopt);
}

}  // namespace
}  // namespace app
