// The report's plan and its pages: which sections a drive gets, what the share panel says
// it holds, and how measured sections fall onto pages.
#include <gtest/gtest.h>

#include "reports/page_packer.hpp"
#include "reports/report_plan.hpp"

namespace reports {
namespace {

using Part = ReportPlan::Part;
using drivekit::Tier;

app::Reading reading(int day, int score) {
    app::Reading r;
    r.driveID = "S5GXNF0R123456K";
    r.date = drivekit::json::SystemTime(std::chrono::hours(24 * (20000 + day)));
    r.tier = Tier::healthy;
    r.score = score;
    return r;
}

// A read drive with a serial, a temperature, one indicator and nothing else saved.
DriveShare readDrive() {
    DriveShare share;
    share.summary.id = "S5GXNF0R123456K";
    share.summary.bsdName = "sda";
    share.summary.tier = Tier::warning;
    share.summary.temperatureC = 41;
    share.document.indicators.push_back({"Reallocated sectors", "56", drivekit::IndicatorStatus::warning, std::nullopt});
    share.document.drive.volumes = {"Archive"};
    return share;
}

TEST(ReportPlan, AReadDriveGetsASectionForEachThingItHasInPrintOrder) {
    DriveShare share = readDrive();
    EXPECT_EQ(ReportPlan::make(share).parts,
              (std::vector<Part>{Part::summary, Part::information, Part::indicators, Part::problems, Part::temperature,
                                 Part::history, Part::readSource, Part::methodology}));

    // With readings, self-tests, a benchmark with results and a scan that read.
    share.context.readings = {reading(0, 90), reading(1, 88), reading(2, 80)};
    share.summary.selfTests.push_back(drivekit::SelfTest::Entry{});
    app::SavedBenchmark bench;
    bench.runs.of(drivekit::BenchTest::seqRead) = {520, 530};
    share.context.benchmark = bench;
    app::SavedScan scan;
    scan.result.readsDone = 12;
    share.context.scan = scan;
    // Counters are for a drive whose health couldn't be read: not this one.
    share.counters = drivekit::IOStats{};
    const ReportPlan plan = ReportPlan::make(share);
    EXPECT_EQ(plan.parts, (std::vector<Part>{Part::summary, Part::information, Part::indicators, Part::problems,
                                             Part::temperature, Part::history, Part::selfTests, Part::benchmark,
                                             Part::surfaceScan, Part::readSource, Part::methodology}));
    EXPECT_EQ(plan.readings, 3);
}

TEST(ReportPlan, SavedRunsThatShowNothingGetNoSection) {
    DriveShare share = readDrive();
    share.context.benchmark = app::SavedBenchmark{};  // no test has a result
    app::SavedScan scan;
    scan.result.readsDone = 0;  // stopped before its first read
    share.context.scan = scan;
    const auto parts = ReportPlan::make(share).parts;
    EXPECT_EQ(std::count(parts.begin(), parts.end(), Part::benchmark), 0);
    EXPECT_EQ(std::count(parts.begin(), parts.end(), Part::surfaceScan), 0);
}

TEST(ReportPlan, AnUnreadDriveWithoutSerialShowsWhatLinuxSeesAndNoHistory) {
    DriveShare share;
    share.summary.id = share.summary.bsdName = "sde";
    share.summary.tier = Tier::limited;
    share.context.readings = {reading(0, 90)};  // another disk may have had the name
    share.document.drive.volumes = {"Backup", "Photos"};
    EXPECT_EQ(ReportPlan::make(share).parts, (std::vector<Part>{Part::summary, Part::information, Part::readSource,
                                                                Part::methodology}));
    share.counters = drivekit::IOStats{};
    const ReportPlan plan = ReportPlan::make(share);
    EXPECT_EQ(plan.parts, (std::vector<Part>{Part::summary, Part::information, Part::counters, Part::readSource,
                                             Part::methodology}));
    EXPECT_FALSE(plan.hasSerial);
    EXPECT_EQ(plan.readings, 0);
    EXPECT_EQ(plan.whatsInIt(true),
              "What Vantrel could see of its health; drive information; Linux\u2019s error counters; how Vantrel read "
              "it; and how to read the report. It names the drive\u2019s volumes, \u201CBackup\u201D, "
              "\u201CPhotos\u201D. No app names, no files.");
}

using PagePacker::Item;
using Pages = std::vector<std::vector<int>>;

TEST(PagePacker, FillsPagesAndMovesWholeGroupsOn) {
    EXPECT_TRUE(PagePacker::pack({}, 100).empty());
    // The gap above the first item of a page doesn't count: 60 + 40 fits exactly.
    EXPECT_EQ(PagePacker::pack({{60, 0}, {30, 10}, {40, 10}}, 100), (Pages{{0, 1}, {2}}));
    EXPECT_EQ(PagePacker::pack({{60, 0}, {30, 10}}, 100), (Pages{{0, 1}}));
    // A heading that keeps with its table goes to the next page with it.
    EXPECT_EQ(PagePacker::pack({{50, 0}, {20, 10, true}, {40, 5}}, 100), (Pages{{0}, {1, 2}}));
}

TEST(PagePacker, NeverSplitsAGroupEvenWhenItOverrunsAPage) {
    EXPECT_EQ(PagePacker::pack({{250, 0}}, 100), (Pages{{0}}));
    EXPECT_EQ(PagePacker::pack({{30, 0}, {80, 10, true}, {80, 10}, {10, 10}}, 100), (Pages{{0}, {1, 2}, {3}}));
    // keepsWithNext on the last item still closes its group.
    EXPECT_EQ(PagePacker::pack({{30, 0}, {30, 10, true}}, 100), (Pages{{0, 1}}));
}

TEST(PagePacker, BreaksPagesWhereAnItemAsks) {
    // A break closes the group even when the item keeps with the next.
    EXPECT_EQ(PagePacker::pack({{10, 0, true, true}, {10, 10}}, 100), (Pages{{0}, {1}}));
    // A break after the very last item leaves no empty page.
    EXPECT_EQ(PagePacker::pack({{10, 0}, {10, 10, false, true}}, 100), (Pages{{0, 1}}));
}

}  // namespace
}  // namespace reports
