#pragma once
// Follows a drive's own self-test from its start to its end. The drive does the work, for
// minutes or hours; the runner starts it, asks how far it got every ten seconds (a drive
// reports progress in steps of 10 %, so asking more often shows nothing new), and keeps
// what happened per drive: the run under way, the last end, a failure to start. The
// drive's commands come in as plain functions, so a test or the demo can drive it. The
// maps live in memory only: after a restart the drive's own state is the truth.
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "drivekit/core/local_format.hpp"
#include "drivekit/health/self_test.hpp"

namespace app {

class SelfTestRunner {
  public:
    using Kind = drivekit::SelfTest::Kind;
    using Outcome = drivekit::SelfTest::Outcome;
    using Progress = drivekit::SelfTest::Progress;

    struct Drive {
        /// How far the drive's test got; nothing when the drive didn't answer (a drive busy
        /// with its test may not).
        std::function<std::optional<Progress>(const std::string& bsdName)> progress;
        /// Starts a test; false when the drive didn't take it.
        std::function<bool(Kind kind, const std::string& bsdName)> start;
        /// Suspends for `seconds`; false when the watch was cancelled meanwhile.
        std::function<bool(double seconds)> wait;
        /// A test ended: the store can read the drive again.
        std::function<void(const std::string& key)> ended;
        /// False in the demo.
        bool isReal = true;
    };

    struct Run {
        /// Absent for a test that was already running when the program found it.
        std::optional<Kind> kind;
        int percentDone = 0;
        std::optional<int> estimateMinutes;
        bool operator==(const Run&) const = default;
    };

    struct Finished {
        std::optional<Kind> kind;
        Outcome outcome = Outcome::unknown;
        int percentDone = 0;
        bool operator==(const Finished&) const = default;
    };

    struct Estimates {
        std::optional<int> short_;
        std::optional<int> extended;
        bool operator==(const Estimates&) const = default;
    };

    static constexpr double kPollSeconds = 10.0;
    static constexpr const char* kStartProblem = "The drive didn't start its self-test. Try again in a moment.";

    explicit SelfTestRunner(Drive drive) : drive_(std::move(drive)) {}

    /// Looks at the drive: stores its estimates, and a run of unknown kind when a test is
    /// under way that this runner didn't start. True when there is a run to follow.
    bool attach(const std::string& key, const std::string& bsdName);

    /// Starts a test. False, with the problem stored, when the drive didn't take it.
    bool start(const std::string& key, const std::string& bsdName, Kind kind);

    /// Follows the run of `key` until the test ends or the wait is cancelled; `progress`
    /// hears each new percentage. The end when there was one; a cancelled watch leaves
    /// the run in place and the test running.
    std::optional<Finished> follow(const std::string& key, const std::string& bsdName,
                                   const std::function<void(const Run&)>& progress = {});

    const std::map<std::string, Run>& runs() const { return runs_; }
    const std::map<std::string, Finished>& finished() const { return finished_; }
    const std::map<std::string, std::string>& problems() const { return problems_; }
    const std::map<std::string, Estimates>& estimates() const { return estimates_; }

    /// "Short test · 40%", "Extended test · 40%", "Self-test · 40%" for an unknown kind.
    static std::string runningText(const Run& run, const drivekit::Locale& locale);

  private:
    Drive drive_;
    std::map<std::string, Run> runs_;
    std::map<std::string, Finished> finished_;
    std::map<std::string, std::string> problems_;
    std::map<std::string, Estimates> estimates_;
};

}  // namespace app
