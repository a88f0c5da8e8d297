// The health document of a drive from its summary: the judgement after history, the
// saved runs as the document carries them, the serial as the sharer chose.
#include <gtest/gtest.h>

#include "reports/share.hpp"

namespace reports {
namespace {

using drivekit::HealthDocument;

TEST(HealthDocumentOfSummary, TakesTheJudgementAfterHistoryAndTheSavedRuns) {
    app::DriveSummary summary;
    summary.id = "S5GX";
    summary.bsdName = "nvme0n1";
    summary.tier = drivekit::Tier::watch;
    summary.score = 74;
    summary.title = "Keep an eye on this drive.";
    summary.line = "Errors rose this week. Keep your backups current.";
    summary.findings = {"Errors rose this week."};
    summary.forecast = drivekit::LifeForecast{4.2649, 9.0451, drivekit::LifeForecast::Confidence::medium};
    HealthDocument ofReading;
    ofReading.health.tier = drivekit::Tier::healthy;
    ofReading.health.score = 96;
    ofReading.drive.serial = "\u2022\u2022\u2022\u2022345K";
    ofReading.drive.serialMasked = true;

    ShareContext context;
    context.generated = drivekit::json::SystemTime(std::chrono::seconds(1773480600));
    app::SavedBenchmark bench;
    bench.runs.of(drivekit::BenchTest::seqRead) = {3000, 3100, 3200};
    bench.runs.of(drivekit::BenchTest::rndWrite) = {40};
    bench.ceilingMBps = 7482;
    context.benchmark = bench;
    app::SavedScan scan;
    scan.result.mode = drivekit::surface_scan::Mode::quick;
    scan.result.readsPlanned = 2048;
    scan.result.readsDone = 1024;
    scan.result.bytesRead = 1024ull * 524288;
    scan.result.seconds = 4;
    scan.result.cancelled = true;
    scan.result.unreadable = {4096};
    scan.result.failedReads = 3;  // more failed than the blocks kept
    context.scan = scan;

    const HealthDocument document = healthDocument(summary, ofReading, context);
    EXPECT_EQ(document.health.tier, drivekit::Tier::watch);
    EXPECT_EQ(document.health.score, 74);
    EXPECT_EQ(document.health.line, summary.line);
    ASSERT_TRUE(document.health.forecast);
    EXPECT_EQ(document.health.forecast->lowYears, 4.26);
    EXPECT_EQ(document.health.forecast->highYears, 9.05);
    EXPECT_EQ(document.generatedAt, context.generated);
    EXPECT_EQ(document.drive.serial, ofReading.drive.serial);

    ASSERT_TRUE(document.benchmark);
    EXPECT_EQ(document.benchmark->runs, 3);
    EXPECT_EQ(document.benchmark->sequentialReadMBps, 3100);
    EXPECT_EQ(document.benchmark->sequentialWriteMBps, 0);
    EXPECT_EQ(document.benchmark->linkCeilingMBps, 7482);
    ASSERT_TRUE(document.surfaceScan);
    EXPECT_FALSE(document.surfaceScan->finished);
    EXPECT_TRUE(document.surfaceScan->stopped);
    EXPECT_EQ(document.surfaceScan->plannedBytes, 2048ull * 524288);
    EXPECT_EQ(document.surfaceScan->unreadableReads, 3);
    EXPECT_EQ(document.surfaceScan->averageMBps, 134.2);

    // A benchmark without a result and a scan without a read leave no key at all.
    context.benchmark = app::SavedBenchmark{};
    context.scan->result.readsDone = 0;
    const auto json = HealthDocument::json(healthDocument(summary, ofReading, context));
    EXPECT_EQ(json.find("\"benchmark\""), std::string::npos);
    EXPECT_EQ(json.find("\"surfaceScan\""), std::string::npos);
}

TEST(HealthDocumentOfSummary, ShowsTheSerialWholeOnlyWhenAsked) {
    DriveShare share;
    share.wholeSerial = "S5GXNF0R12345K";
    share.document.drive.serial = "\u2022\u2022\u2022\u2022345K";
    share.document.drive.serialMasked = true;
    const DriveShare whole = share.withSerial(true);
    EXPECT_EQ(whole.document.drive.serial, "S5GXNF0R12345K");
    EXPECT_EQ(whole.document.drive.serialMasked, false);
    EXPECT_EQ(whole.withSerial(false).document.drive.serial, share.document.drive.serial);

    // No serial: neither key.
    share.wholeSerial.reset();
    const auto none = share.withSerial(true).document.drive;
    EXPECT_FALSE(none.serial);
    EXPECT_FALSE(none.serialMasked);
}

}  // namespace
}  // namespace reports
