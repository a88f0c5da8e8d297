#include <gtest/gtest.h>

#include "desktop/model/run_views.hpp"

namespace desktop {
namespace {

const drivekit::Locale en{"en_US"};

TEST(RunViews, AScanWithNothingPlannedIsAtNothingAndOneUnreadableBlockColoursIt) {
    drivekit::surface_scan::Result result;
    const auto before = scanShown(result);
    EXPECT_EQ(before.progress.percent, 0);
    EXPECT_EQ(before.progress.tone, app::ScanProgress::Tone::clean);
    EXPECT_EQ(before.line.find("  "), std::string::npos) << before.line;
    EXPECT_NE(before.line.back(), ' ');

    result.readsPlanned = 200;
    result.readsDone = 199;
    result.slowReads = 3;
    result.unreadable = {123456};
    const auto after = scanShown(result);
    EXPECT_EQ(after.progress.percent, 99);
    EXPECT_EQ(after.progress.tone, app::ScanProgress::Tone::unreadable);

    // The finished table lists the block under its count.
    app::ScanRun::Outcome outcome;
    outcome.kernelName = "sdb";
    outcome.result = result;
    const auto rows = scanResult(outcome);
    const auto unreadable = std::find_if(rows.begin(), rows.end(), [](const Fact& f) { return f.label == "Unreadable"; });
    ASSERT_NE(unreadable, rows.end());
    EXPECT_EQ(unreadable->value, "1\nblock 123456");
    EXPECT_EQ(rows.front().value, "/dev/sdb");
}

TEST(RunViews, AScanThatCouldNotStartSaysWhyAndAFinishedOneDoesNot) {
    app::ScanRun::Outcome outcome;
    outcome.kernelName = "sdz";
    outcome.failure = app::ScanRun::Outcome::Failure::notADisk;
    const auto said = scanFailure(outcome);
    ASSERT_TRUE(said);
    EXPECT_NE(said->find("/dev/sdz"), std::string::npos) << *said;
    outcome.failure = app::ScanRun::Outcome::Failure::none;
    outcome.result = drivekit::surface_scan::Result{};
    EXPECT_FALSE(scanFailure(outcome));
}

TEST(RunViews, ABenchmarkShowsItsRefusalItsStopOrItsFourAverages) {
    app::BenchRun refused;
    refused.outcome.failure = app::bench::Failure::tooLittleSpace;
    refused.outcome.detail = "1.2 GB";
    const auto shownRefusal = benchShown(refused, en);
    ASSERT_TRUE(shownRefusal.failure);
    EXPECT_NE(shownRefusal.failure->find("1.2 GB"), std::string::npos) << *shownRefusal.failure;

    app::BenchRun stopped;
    stopped.outcome.stopped = true;
    EXPECT_TRUE(benchShown(stopped, en).stopped);

    app::BenchRun done;
    done.outcome.runs.of(drivekit::BenchTest::seqRead) = {500, 520, 540};
    done.outcome.runs.of(drivekit::BenchTest::rndWrite) = {100, 100, 100};
    done.verdict = drivekit::BenchResults::verdict(done.outcome.runs, 600, std::string("SATA 6 Gb/s"), en);
    const auto shown = benchShown(done, en);
    EXPECT_FALSE(shown.failure || shown.stopped);
    EXPECT_EQ(shown.headline, done.verdict->headline);
    ASSERT_EQ(shown.averages.size(), 4u);
    EXPECT_EQ(shown.averages.front().value, "520 MB/s");

    app::bench::Live live{1, drivekit::BenchTest::seqWrite, 1234.5, 0.45, false};
    EXPECT_EQ(benchProgress(live, en), "Run 2 of 3 · Sequential write · 45% · 1,235 MB/s");
}

}  // namespace
}  // namespace desktop
