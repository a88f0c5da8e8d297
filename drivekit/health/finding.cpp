#include "drivekit/health/finding.hpp"

#include <array>

namespace drivekit::SignalText {
namespace {

using Signal = Finding::Signal;

constexpr std::array<std::pair<Signal, std::string_view>, 8> kSignals{{
    {Signal::life, "life"},
    {Signal::spare, "spare"},
    {Signal::errors, "errors"},
    {Signal::temp, "temp"},
    {Signal::sectors, "sectors"},
    {Signal::selfTest, "selfTest"},
    {Signal::drive, "drive"},
    {Signal::connection, "connection"},
}};

}  // namespace

std::string_view raw(Finding::Signal signal) noexcept {
    for (const auto& [value, text] : kSignals) {
        if (value == signal) return text;
    }
    return {};
}

std::optional<Finding::Signal> parse(std::string_view raw) noexcept {
    for (const auto& [value, text] : kSignals) {
        if (text == raw) return value;
    }
    return std::nullopt;
}

}  // namespace drivekit::SignalText
