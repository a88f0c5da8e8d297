#pragma once
// The result of one rule: a verdict, the sentence the user reads, and what part of the
// drive it is about.
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "drivekit/health/verdict.hpp"

namespace drivekit {

struct Finding {
    /// What part of the drive a finding is about. The raw texts are the words stored in
    /// `flaggedSignals` of a drive summary and used by the alerts.
    enum class Signal { life, spare, errors, temp, sectors, selfTest, drive, connection };

    Verdict verdict = Verdict::healthy;
    /// Already localised, with its numbers in.
    std::string message;
    /// Absent for a finding that says the reading itself failed.
    std::optional<Signal> signal;

    bool operator==(const Finding&) const = default;
};

namespace SignalText {
/// "life", "spare", "errors", "temp", "sectors", "selfTest", "drive", "connection".
std::string_view raw(Finding::Signal signal) noexcept;
/// An unknown word is no value.
std::optional<Finding::Signal> parse(std::string_view raw) noexcept;
}  // namespace SignalText

}  // namespace drivekit
