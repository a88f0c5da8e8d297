#include "app/self_test_runner.hpp"

#include <gtest/gtest.h>

#include <deque>

namespace app {
namespace {

using Outcome = drivekit::SelfTest::Outcome;
using Kind = drivekit::SelfTest::Kind;
using Progress = drivekit::SelfTest::Progress;

// A drive that answers from a script, one answer per look; nothing sleeps.
struct ScriptedDrive {
    std::deque<std::optional<Progress>> answers;
    bool takesStart = true;
    int waits = 0;
    int cancelAfterWaits = -1;
    std::vector<std::string> ended;

    SelfTestRunner::Drive functions() {
        SelfTestRunner::Drive d;
        d.progress = [this](const std::string&) {
            auto next = answers.empty() ? std::nullopt : answers.front();
            if (!answers.empty()) answers.pop_front();
            return next;
        };
        d.start = [this](Kind, const std::string&) { return takesStart; };
        d.wait = [this](double seconds) {
            EXPECT_EQ(seconds, SelfTestRunner::kPollSeconds);
            return ++waits != cancelAfterWaits;
        };
        d.ended = [this](const std::string& key) { ended.push_back(key); };
        return d;
    }
};

Progress running(int percent) { return Progress{Outcome::inProgress, percent, 2, 30}; }
Progress ended(Outcome outcome) { return Progress{outcome, 100, 2, 30}; }

TEST(SelfTestRunnerTest, FollowsAStartedTestThroughSilenceToItsEndAfterAFailedStart) {
    ScriptedDrive drive;
    drive.answers = {ended(Outcome::passed), running(10), std::nullopt, running(60), ended(Outcome::readFailure)};
    drive.takesStart = false;
    SelfTestRunner runner(drive.functions());
    ASSERT_FALSE(runner.attach("k", "sda"));
    EXPECT_EQ(runner.estimates().at("k"), (SelfTestRunner::Estimates{2, 30}));
    // A failed start leaves no run and one problem, which the next start clears.
    EXPECT_FALSE(runner.start("k", "sda", Kind::extended));
    EXPECT_TRUE(runner.runs().empty());
    EXPECT_EQ(runner.problems().at("k"), SelfTestRunner::kStartProblem);
    drive.takesStart = true;
    ASSERT_TRUE(runner.start("k", "sda", Kind::extended));
    EXPECT_TRUE(runner.problems().empty());
    EXPECT_EQ(runner.runs().at("k"), (SelfTestRunner::Run{Kind::extended, 0, 30}));

    std::vector<int> seen;
    const auto end = runner.follow("k", "sda", [&](const SelfTestRunner::Run& run) { seen.push_back(run.percentDone); });
    // A look without an answer keeps the run; the end keeps the last figure seen running.
    EXPECT_EQ(seen, (std::vector<int>{10, 60}));
    ASSERT_TRUE(end);
    EXPECT_EQ(*end, (SelfTestRunner::Finished{Kind::extended, Outcome::readFailure, 60}));
    EXPECT_EQ(runner.finished().at("k"), *end);
    EXPECT_TRUE(runner.runs().empty());
    EXPECT_EQ(drive.ended, std::vector<std::string>{"k"});
    EXPECT_EQ(drive.waits, 4);
}

TEST(SelfTestRunnerTest, ATestStartedElsewhereShowsWithAnUnknownKindAndACancelledWatchLeavesIt) {
    ScriptedDrive drive;
    drive.answers = {running(30), running(40)};
    drive.cancelAfterWaits = 2;
    SelfTestRunner runner(drive.functions());
    ASSERT_TRUE(runner.attach("k", "sdb"));
    EXPECT_EQ(SelfTestRunner::runningText(runner.runs().at("k"), drivekit::Locale{"en_US"}), "Self-test \u00b7 30%");
    EXPECT_FALSE(runner.follow("k", "sdb"));
    EXPECT_EQ(runner.runs().at("k"), (SelfTestRunner::Run{std::nullopt, 40, std::nullopt}));
    EXPECT_TRUE(drive.ended.empty());
}

}  // namespace
}  // namespace app
