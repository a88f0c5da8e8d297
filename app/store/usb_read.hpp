#pragma once
// The hand-over of a USB drive as the store shows it: the steps of a running check and
// the problem a failed one leaves on the drive's card. On Linux nothing is handed over by
// the system: the privileged service (or root) takes the drive from its kernel driver
// once polkit agrees, so "waiting for assignment" is the wait for that answer.
#include <functional>
#include <optional>
#include <string>

#include "app/failure.hpp"
#include "app/machine.hpp"
#include "app/summary_builder.hpp"
#include "drivekit/core/result.hpp"

namespace app::USBRead {

enum class Step { unmounting, waitingForAssignment, reading, returning };

/// What a failed check shows: where it stopped, a title, advice, and an error code in
/// hexadecimal when there is one.
struct CheckProblem {
    Step step = Step::unmounting;
    std::string title;
    std::string advice;
    std::optional<std::string> code;

    bool operator==(const CheckProblem&) const = default;
};

/// A check under way shows its step; a failed one its problem.
struct State {
    std::optional<Step> step;
    std::optional<CheckProblem> problem;

    bool operator==(const State&) const = default;
};

/// The step the check has reached once it printed this progress line; nothing for a
/// line that doesn't move it.
std::optional<Step> stepAfter(const std::string& line);

/// The problem of a check that failed at `step`, for the drive named `name`. A check
/// that started by itself on arrival and wasn't allowed to take the drive says that
/// Linux kept the drive this time.
CheckProblem problemOf(const Failure& failure, Step step, const std::string& name, bool automatic);

/// The careful check of a drive by kernel name on this machine, rated as any reading.
using Run = std::function<drivekit::Result<SummaryBuilder::Reading, Failure>(
    const std::string& bsdName, const std::function<bool()>& stop, const std::function<void(const std::string&)>& progress)>;
Run runOn(Machine& machine);

}  // namespace app::USBRead
