#pragma once
// A drive's own self-test, for every front end: how far one got and the drive's log, or
// the start of one. One connection and one IDENTIFY per request. Starting a test while
// one runs ends the running one, so that needs `abort`.
#include <optional>
#include <string>
#include <vector>

#include "app/failure.hpp"
#include "app/machine.hpp"
#include "drivekit/core/result.hpp"
#include "drivekit/health/self_test.hpp"

namespace app::SelfTestRun {

struct State {
    /// Nothing when the drive didn't say.
    std::optional<drivekit::SelfTest::Progress> progress;
    /// Newest first.
    std::vector<drivekit::SelfTest::Entry> log;
};

struct Started {
    drivekit::SelfTest::Kind kind = drivekit::SelfTest::Kind::short_;
    /// The drive's own estimate, in minutes.
    std::optional<int> estimateMinutes;
};

drivekit::Result<State, Failure> state(const Machine& machine, const std::string& name);

drivekit::Result<Started, Failure> start(const Machine& machine, const std::string& name,
                                         drivekit::SelfTest::Kind kind, bool abort);

/// Asks the drive to end the test under way. `selfTestNotCancelled` when the drive refused
/// the request (not every bridge passes it on).
drivekit::Result<void, Failure> cancel(const Machine& machine, const std::string& name);

}  // namespace app::SelfTestRun
