#include <gtest/gtest.h>

#include <algorithm>

#include "desktop/model/drive_pages.hpp"
#include "desktop/model/forecast_page.hpp"
#include "desktop/model/history_page.hpp"
#include "desktop/model/system_page.hpp"
#include "desktop/model/writes_page.hpp"
#include "desktop/tests/support/demo_drives.hpp"

namespace desktop {
namespace {

using namespace std::chrono_literals;
using testing::byName;

const drivekit::Locale en{"en_US"};
// A fixed noon UTC, so that no reading falls on a day boundary.
const auto noon = drivekit::json::SystemTime(std::chrono::sys_days(std::chrono::year{2026} / 11 / 20)) + 12h;

class DemoPages : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { demo = new testing::DemoDrives(testing::demoDrives()); }
    static void TearDownTestSuite() { delete demo; }
    static const std::vector<app::DriveSummary>& drives() { return demo->drives; }
    static inline testing::DemoDrives* demo = nullptr;
};

TEST_F(DemoPages, SidebarAndOverviewShowEachDemoDriveAsTheStoreRatesIt) {
    const auto rows = sidebarDrives(drives());
    ASSERT_EQ(rows.size(), drives().size());
    const auto row = [&](const std::string& id) {
        return *std::find_if(rows.begin(), rows.end(), [&](const auto& r) { return r.id == id; });
    };
    EXPECT_EQ(row(byName(drives(), "nvme0n1").id).tag, "Internal");
    EXPECT_EQ(row(byName(drives(), "sdd").id).tag, "External");
    EXPECT_TRUE(row(byName(drives(), "sdd").id).usb);
    EXPECT_FALSE(row(byName(drives(), "sda").id).usb);

    const auto failing = overview(byName(drives(), "sda"), en);
    EXPECT_EQ(failing.tier, drivekit::Tier::failing);
    EXPECT_EQ(failing.tierLabel, "Failing");
    EXPECT_EQ(failing.score, "20 / 100");
    EXPECT_NE(failing.line.find("self-test"), std::string::npos);

    const auto limited = overview(byName(drives(), "sde"), en);
    EXPECT_EQ(limited.score, "No score");

    // Every drive: facts that are there have values, and the internal SSD's key figures show.
    for (const auto& drive : drives()) {
        const auto view = overview(drive, en);
        EXPECT_FALSE(view.name.empty()) << drive.bsdName;
        for (const auto& fact : view.facts) EXPECT_FALSE(fact.value.empty()) << drive.bsdName << " " << fact.label;
    }
    const auto internal = overview(byName(drives(), "nvme0n1"), en);
    const auto has = [&](const std::string& label) {
        return std::any_of(internal.facts.begin(), internal.facts.end(), [&](const Fact& f) { return f.label == label; });
    };
    EXPECT_TRUE(has("Life left") && has("Temperature") && has("Data written") && has("Rated life"));
    EXPECT_EQ(overview(byName(drives(), "mmcblk0"), en).showsSpeeds, false);
}

TEST_F(DemoPages, HealthDataTabsHoldWhatEachKindOfDriveReports) {
    const auto nvme = healthData(byName(drives(), "nvme0n1"), {}, en);
    EXPECT_FALSE(nvme.summary.empty());
    EXPECT_FALSE(nvme.indicators.empty());
    EXPECT_FALSE(nvme.log.empty());
    EXPECT_TRUE(nvme.tests.empty());

    const auto sata = healthData(byName(drives(), "sda"), {}, en);
    ASSERT_FALSE(sata.tests.empty());
    EXPECT_TRUE(std::any_of(sata.tests.begin(), sata.tests.end(),
                            [](const SelfTestRow& row) { return row.result.find("Failed") != std::string::npos; }));
    EXPECT_TRUE(std::any_of(sata.indicators.begin(), sata.indicators.end(), [](const IndicatorRow& row) {
        return row.level == drivekit::IndicatorStatus::failing || row.level == drivekit::IndicatorStatus::warning;
    }));
    EXPECT_TRUE(sata.diagnostics.empty());

    // A kept scan is found by the drive's kernel name when it has no serial of its own, a
    // benchmark by the drive's id; another drive's records stay out.
    const auto& disk = byName(drives(), "sda");
    app::SavedScans scans;
    app::SavedScan scan;
    scan.driveName = disk.name;
    scan.result.readsPlanned = scan.result.readsDone = 2048;
    scans.byDrive["device:sda"] = scan;
    scans.byDrive["device:sdb"] = scan;
    app::SavedBenchmarks benchmarks;
    app::SavedBenchmark bench;
    bench.runs.of(drivekit::BenchTest::seqRead) = {180, 190, 200};
    bench.runs.of(drivekit::BenchTest::seqWrite) = {150, 160, 170};
    benchmarks.byDrive[disk.id] = bench;
    const auto kept = keptRuns(disk, scans, benchmarks);
    ASSERT_TRUE(kept.scan && kept.benchmark);
    EXPECT_FALSE(keptRuns(byName(drives(), "nvme0n1"), scans, benchmarks).benchmark);
    const auto withRuns = healthData(disk, kept, en);
    ASSERT_EQ(withRuns.diagnostics.size(), 4u);  // the scan, the verdict, two speeds
    EXPECT_EQ(withRuns.diagnostics[0].label, "Last surface scan");
    EXPECT_EQ(withRuns.diagnostics[2].label, "Sequential read");
    EXPECT_NE(withRuns.diagnostics[2].value.find("190"), std::string::npos);
}

TEST_F(DemoPages, ForecastSaysWhereItComesFromAndSharpensWithHistory) {
    const auto& drive = byName(drives(), "nvme0n1");
    ASSERT_TRUE(drive.forecast.has_value());

    const auto alone = forecastPage(drive, {}, noon, en);
    EXPECT_EQ(alone.content, "Estimated from lifetime averages. It sharpens after two weeks of history.");
    EXPECT_EQ(alone.confidence, "Low confidence · 0 readings");

    const auto history = app::Readings::of(testing::dailyHistory(drives(), noon, 30), drive.id);
    const auto page = forecastPage(drive, history, noon, en);
    EXPECT_EQ(page.content, "Estimated from your last 29 days of writes.");
    EXPECT_EQ(page.confidence, "Low confidence · 30 readings");
    EXPECT_EQ(page.points.size(), 30u);

    // Ten days give no pace yet; bytes that didn't grow never do.
    EXPECT_FALSE(paceDays(app::Readings::of(testing::dailyHistory(drives(), noon, 10), drive.id)));
    auto flat = history;
    for (auto& reading : flat) reading.writtenBytes = 1000;
    EXPECT_FALSE(paceDays(flat));

    const auto none = forecastPage(byName(drives(), "sde"), {}, noon, en);
    EXPECT_EQ(none.headline, "No forecast");
    EXPECT_EQ(none.content, "This drive doesn’t report its wear, so there’s nothing to estimate from.");
    EXPECT_TRUE(none.confidence.empty());
}

TEST(WhatIf, WritingLessStretchesTheForecastInStepsOfFive) {
    drivekit::LifeForecast forecast;
    forecast.lowYears = 4;
    forecast.highYears = 6;

    const auto today = whatIf(forecast, 0, en);
    EXPECT_EQ(today.headline, drivekit::LifeForecast::headline(forecast, en));

    // Midpoint 5 years; a fifth less writing gains 5 × 0.25 = 1.25 years: told in months.
    const auto fifth = whatIf(forecast, 20, en);
    EXPECT_DOUBLE_EQ(fifth.lowYears, 5.0);
    EXPECT_DOUBLE_EQ(fifth.highYears, 7.5);
    EXPECT_EQ(fifth.gain, "+15 months");
    EXPECT_EQ(fifth.sentence, "If you write 20% less, you’d gain about 15 months.");

    // 40% less: 5 × (1/0.6 − 1) = 3.33 years.
    EXPECT_EQ(whatIf(forecast, 40, en).gain, "+3 years");

    // Off-step and out-of-range values land on a step within 0–60.
    EXPECT_EQ(whatIf(forecast, 7, en).percent, 5);
    EXPECT_EQ(whatIf(forecast, 95, en).percent, 60);
    EXPECT_EQ(whatIf(forecast, -5, en).percent, 0);
}

TEST_F(DemoPages, HistoryChartsWaitForDaysAndWrittenPerDayIsTheDailyGrowth) {
    const auto& drive = byName(drives(), "nvme0n1");
    const auto of = [&](int days) { return app::Readings::of(testing::dailyHistory(drives(), noon, days), drive.id); };

    // Two readings on one day draw no trend.
    auto sameDay = of(1);
    sameDay.push_back(sameDay.front());
    sameDay.back().date += 2h;
    const auto one = historyPage(sameDay, 0, en);
    EXPECT_TRUE(one.trends.empty());
    EXPECT_FALSE(one.writtenPerDay);
    EXPECT_EQ(one.waiting, "The charts appear once there are readings from two different days.");
    EXPECT_EQ(one.rows.size(), 2u);

    const auto two = historyPage(of(2), 0, en);
    EXPECT_EQ(two.trends.size(), 3u);  // score, temperature, life left
    EXPECT_FALSE(two.writtenPerDay);
    EXPECT_NE(two.waiting.find("three different days"), std::string::npos);

    const auto three = historyPage(of(3), 0, en);
    ASSERT_TRUE(three.writtenPerDay);
    ASSERT_EQ(three.writtenPerDay->points.size(), 2u);
    EXPECT_DOUBLE_EQ(three.writtenPerDay->points[0].value, 20.0);
    EXPECT_TRUE(three.waiting.empty());

    // A total that fell (another drive took the name) gives no day, never a negative one.
    auto fell = of(4);
    fell[2].writtenBytes = 1;
    const auto page = historyPage(fell, 0, en);
    ASSERT_TRUE(page.writtenPerDay);
    for (const auto& point : page.writtenPerDay->points) EXPECT_GE(point.value, 0.0);
    EXPECT_EQ(page.writtenPerDay->points.size(), 2u);

    // Newest first; local days move readings across midnight.
    EXPECT_EQ(page.rows.front().date, "2026-11-20 12:00");
    EXPECT_EQ(historyPage(of(1), 13 * 3600, en).rows.front().date, "2026-11-21 01:00");
}

TEST(SwapPage, DailySwapIsTheGrowthWithinOneBootAndTheFooterTellsTheOwnCost) {
    app::SystemStats stats;
    stats.swapOutBytesSinceBoot = 3'000'000'000;
    stats.selfWrittenBytes = 12'000'000;
    stats.selfCPUPercent = 0.25;
    const auto reading = [](int day, std::uint64_t swapped, int boot) {
        app::Reading r;
        r.driveID = "nvme";
        r.date = noon - std::chrono::hours(24 * day);
        r.swapOutBytes = swapped;
        r.bootDate = drivekit::json::SystemTime(std::chrono::hours(boot));
        return r;
    };
    // Day 3 → 2 grows 1 GB; the machine restarted before day 1, whose counter starts at 0.
    const std::vector<app::Reading> readings{reading(3, 1'000'000'000, 1), reading(2, 2'000'000'000, 1),
                                             reading(1, 500'000'000, 2), reading(0, 700'000'000, 2)};
    const auto view = swapPage(stats, readings, 0, en);
    EXPECT_EQ(view.facts.front().value, "No swap");
    ASSERT_TRUE(view.swappedPerDay);
    std::vector<double> gb;
    for (const auto& point : view.swappedPerDay->points) gb.push_back(point.value);
    EXPECT_EQ(gb, (std::vector<double>{1.0, 0.5, 0.2}));
    EXPECT_FALSE(swapPage(stats, std::span(readings).first(2), 0, en).swappedPerDay);

    EXPECT_EQ(footer(stats, en), "Vantrel wrote 12 MB · 0.3% CPU");
}

TEST(WritesPage, TodaysWritersLargestFirstAndEveryDayWithWrites) {
    const auto utc = drivekit::WriteCalendar::zone("UTC");
    const auto today = *utc.startOfDay(noon);
    drivekit::WriteHistory history;
    history.days.push_back({today - 48h, {{"tool:/usr/bin/rsync", 7'000'000'000}}});
    // Yesterday's slot isn't today's, though it is in the slots still.
    history.slots.push_back({today - 2h, {{"app:firefox", 5'000'000'000}}});
    history.slots.push_back({today + 1h, {{"system", 1'000'000'000}, {"app:firefox", 2'000'000'000}}});
    history.slots.push_back({today + 2h, {{"app:firefox", 1'000'000'000}}});
    const auto view = writesPage(history, noon, utc, en);
    ASSERT_EQ(view.today.size(), 2u);
    EXPECT_EQ(view.today[0].name, "firefox");
    EXPECT_EQ(view.today[0].bytes, "3 GB");
    EXPECT_EQ(view.today[0].share, "75%");
    EXPECT_EQ(view.today[1].name, "System");
    EXPECT_EQ(view.todayTotal, "4 GB");
    ASSERT_EQ(view.perDay.size(), 3u);
    EXPECT_EQ(view.perDay[0].day, "2026-11-20");
    EXPECT_EQ(view.perDay[0].total, 4'000'000'000u);
    EXPECT_EQ(view.perDay[1].day, "2026-11-19");
    EXPECT_EQ(view.perDay[2].day, "2026-11-18");
}

}  // namespace
}  // namespace desktop
