#include "app/store/history.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include "app/store/state_files.hpp"

namespace app {
namespace {

using drivekit::HistoryFinding;
using drivekit::Tier;
using drivekit::json::SystemTime;

const SystemTime kNow = SystemTime{} + std::chrono::hours(24 * 365 * 56);
SystemTime daysAgo(double days) {
    return kNow - std::chrono::seconds(static_cast<std::int64_t>(days * 86400));
}
const drivekit::Locale kLocale{"en_US"};

constexpr std::uint64_t kGB = 1'000'000'000;

Reading row(double ago, std::optional<int> spare = 100, std::optional<std::uint64_t> errors = 0) {
    Reading r;
    r.driveID = "S3X9NX0M";
    r.date = daysAgo(ago);
    r.tier = Tier::healthy;
    r.spare = spare;
    r.dataErrors = errors;
    return r;
}

DriveSummary nvme(int lifeUsed, std::uint64_t written) {
    DriveSummary d;
    d.id = "S3X9NX0M";
    d.bsdName = "nvme0n1";
    d.name = "Example SSD";
    d.kind = drivekit::DriveKind::internalSSD;
    d.tier = Tier::healthy;
    d.score = 96;
    d.lifeUsed = lifeUsed;
    d.lifeLeft = 100 - lifeUsed;
    d.spare = 100;
    d.dataErrors = 0;
    d.dataWrittenBytes = written;
    d.capacityBytes = 1'000 * static_cast<std::int64_t>(kGB);
    d.forecast = drivekit::LifeForecast::bootstrap(lifeUsed, written, 20'000, d.capacityBytes);
    d.title = SummaryWording::title(d.tier, d.kind, false);
    d.line = drivekit::DocumentWording::line(d.tier, d.lifeUsed, d.lifeLeft, d.forecast, {}, kLocale);
    return d;
}

// Ninety days of a drive written 50 GB a day that wore one point every ten days.
std::vector<Reading> steadyWear() {
    std::vector<Reading> rows;
    for (int day = 90; day >= 1; --day) {
        Reading r = row(day);
        r.writtenBytes = static_cast<std::uint64_t>(100'000 - day * 50) * kGB;
        r.lifeLeft = 90 + day / 10;
        rows.push_back(r);
    }
    return rows;
}

TEST(History, SteadyWearGivesAConfidentForecastFromThePaceThatCanRaiseTheTier) {
    // The lifetime average says 20 years; the recorded pace, a point every ten days, says
    // about two and a half.
    std::vector drives{nvme(10, 100'000 * kGB)};
    ASSERT_GT(drives[0].forecast->lowYears, 10);
    enrich(drives, steadyWear(), kNow, kLocale);
    const auto& d = drives[0];
    ASSERT_TRUE(d.forecast);
    EXPECT_EQ(d.forecast->confidence, drivekit::LifeForecast::Confidence::high);
    // 8 points from the first step to the last over 4,000 GB: 500 GB a point at 50 GB a
    // day, 90 points left; the band within a tenth and a spread of 1 + 0.5/8.
    const double years = 90.0 * 500 / 50 / 365;
    EXPECT_NEAR(d.forecast->lowYears, 0.9 * years / 1.0625, 1e-9);
    EXPECT_NEAR(d.forecast->highYears, 1.1 * years * 1.0625, 1e-9);
    EXPECT_EQ(d.tier, Tier::watch);
    EXPECT_EQ(d.ownScore, 96);
    EXPECT_EQ(d.flaggedSignals, std::vector<std::string>{"life"});

    // Twelve days of history keep the first forecast; fourteen give a medium one.
    for (const auto& [days, refined] : {std::pair{12, false}, std::pair{14, true}}) {
        std::vector<Reading> rows{row(days), row(0.5)};
        rows[0].writtenBytes = 99'000 * kGB;
        rows[1].writtenBytes = 99'700 * kGB;
        std::vector again{nvme(10, 100'000 * kGB)};
        const auto first = again[0].forecast;
        enrich(again, rows, kNow, kLocale);
        EXPECT_EQ(again[0].forecast != first, refined) << days;
        if (refined) {
            EXPECT_EQ(again[0].forecast->confidence, drivekit::LifeForecast::Confidence::medium);
        }
    }
}

TEST(History, ASuddenSpareDropRaisesTheTierToWarning) {
    std::vector<Reading> rows{row(20, 100), row(3, 95), row(1, 91)};
    std::vector drives{nvme(10, 100'000 * kGB)};
    drives[0].spare = 91;  // 9 points: not yet
    enrich(drives, rows, kNow, kLocale);
    EXPECT_EQ(drives[0].tier, Tier::healthy);

    drives = {nvme(10, 100'000 * kGB)};
    drives[0].spare = 88;
    enrich(drives, rows, kNow, kLocale);
    const auto& d = drives[0];
    EXPECT_EQ(d.tier, Tier::warning);
    ASSERT_TRUE(d.history);
    ASSERT_EQ(d.history->size(), 1u);
    EXPECT_EQ((*d.history)[0].points, 12);
    EXPECT_FALSE((*d.history)[0].held);
    EXPECT_EQ(d.flaggedSignals, std::vector<std::string>{"spare"});
    EXPECT_EQ(d.score, d.ownScore);  // the tier moves, not the score

    // A fall spread over 31 days, or a peak more than 60 days back, says nothing.
    for (const auto& old : {std::vector{row(31, 100), row(0.5, 90)}, std::vector{row(61, 100), row(0.5, 80)}}) {
        EXPECT_TRUE(HistoryRules::findings(old, kNow, std::nullopt, false, kLocale).empty());
    }
}

TEST(History, RisingMediaErrorsWeekOverWeekMakeTheDriveFailingAndCapTheScore) {
    const std::vector<Reading> rows{row(20, 100, 0), row(13, 100, 0), row(8, 100, 2)};
    std::vector drives{nvme(10, 100'000 * kGB)};
    drives[0].dataErrors = 9;
    enrich(drives, rows, kNow, kLocale);
    const auto& d = drives[0];
    EXPECT_EQ(d.tier, Tier::failing);
    EXPECT_EQ(d.ownScore, 96);
    EXPECT_EQ(d.score, 50);
    ASSERT_TRUE(d.history);
    ASSERT_EQ(d.history->size(), 2u);
    EXPECT_EQ((*d.history)[0].rule, HistoryFinding::Rule::errorsRising);
    EXPECT_EQ((*d.history)[1].rule, HistoryFinding::Rule::errorsWeekOverWeek);

    // A week later, the errors steady: the failing tier holds from the last rising reading.
    std::vector<Reading> later = rows;
    later.push_back(row(0, 100, 9));
    for (auto& r : later) r.date -= std::chrono::hours(24 * 6);
    later.push_back(row(0, 100, 9));
    const auto held = HistoryRules::findings(later, kNow, std::nullopt, false, kLocale);
    ASSERT_FALSE(held.empty());
    EXPECT_EQ(held.back().rule, HistoryFinding::Rule::errorsWeekOverWeek);
    EXPECT_TRUE(held.back().held);
}

TEST(History, RiseMeasuresFromTheRightBaseline) {
    const auto errors = &Reading::dataErrors;
    // Nothing older: the oldest inside the window. One reading alone never rises.
    EXPECT_EQ(HistoryRules::rise(std::vector{row(1, 100, 0), row(0, 100, 1)}, errors, kNow, 7), (HistoryRules::Rise{0, 1}));
    EXPECT_FALSE(HistoryRules::rise(std::vector{row(0, 100, 1)}, errors, kNow, 7));
    // A baseline exactly at the window's start counts as before it; one older than a second
    // window is not used.
    EXPECT_EQ(HistoryRules::rise(std::vector{row(16, 100, 0), row(7, 100, 3), row(2, 100, 4), row(0, 100, 5)}, errors,
                                 kNow, 7),
              (HistoryRules::Rise{3, 5}));
    EXPECT_EQ(HistoryRules::rise(std::vector{row(15, 100, 0), row(2, 100, 4), row(0, 100, 5)}, errors, kNow, 7),
              (HistoryRules::Rise{4, 5}));
}

TEST(History, ADriveReplacedUnderTheSameNameStartsItsHistoryAfresh) {
    // A disk with no serial is known by its kernel name; the old one's forecast was short.
    std::vector<Reading> rows;
    for (int day = 6; day >= 1; --day) {
        Reading r = row(day);
        r.driveID = "sda";
        r.writtenBytes = 400'000 * kGB;
        r.forecastYears = 1.5;
        rows.push_back(r);
    }
    DriveSummary fresh = nvme(0, 2 * kGB);
    fresh.id = fresh.bsdName = "sda";
    fresh.kind = drivekit::DriveKind::other;
    fresh.forecast = drivekit::LifeForecast{20.0, 26.0, drivekit::LifeForecast::Confidence::low, true};
    std::vector drives{fresh};
    enrich(drives, rows, kNow, kLocale);
    EXPECT_EQ(drives[0].tier, Tier::healthy);
    EXPECT_FALSE(drives[0].history.has_value());

    // The same history on the same disk (its counter went on growing) holds the watch tier.
    drives = {fresh};
    drives[0].dataWrittenBytes = 400'010 * kGB;
    enrich(drives, rows, kNow, kLocale);
    EXPECT_EQ(drives[0].tier, Tier::watch);
}

TEST(History, TheReadingsFileReproducesTheForecastAfterARestart) {
    const auto file = std::filesystem::path(::testing::TempDir()) / ("history-" + std::to_string(::getpid())) /
                      "readings.json";
    std::vector<Reading> stored;
    for (int day = 90; day >= 1; --day) {
        std::vector drives{nvme(10 - day / 10, static_cast<std::uint64_t>(100'000 - day * 50) * kGB)};
        enrich(drives, stored, daysAgo(day), kLocale);
        stored = Readings::updated(stored, drives, 400, std::nullopt, daysAgo(day));
    }
    ASSERT_TRUE(StateFiles::writeReadings(file, stored));

    std::vector before{nvme(10, 100'000 * kGB)};
    enrich(before, stored, kNow, kLocale);
    std::vector after{nvme(10, 100'000 * kGB)};
    enrich(after, StateFiles::readReadings(file), kNow, kLocale);
    EXPECT_EQ(after, before);
    ASSERT_TRUE(after[0].forecast);
    EXPECT_EQ(after[0].forecast->confidence, drivekit::LifeForecast::Confidence::high);
    std::filesystem::remove_all(file.parent_path());
}

TEST(History, ChartPointsKeepTheMostWearOfEachDay) {
    std::vector<Reading> rows{row(2), row(2), row(1)};
    rows[0].lifeLeft = 91;
    rows[1].lifeLeft = 90;
    rows[1].date += std::chrono::seconds(1);
    rows[2].lifeLeft = 89;
    const auto points = ForecastHistory::points(rows, true, kNow);
    ASSERT_EQ(points.size(), 2u);
    EXPECT_DOUBLE_EQ(points[0].used, 10);
    EXPECT_NEAR(points[1].year - points[0].year, 1.0 / 365, 1e-9);
    EXPECT_TRUE(ForecastHistory::points(rows, false, kNow).empty());
}

}  // namespace
}  // namespace app
