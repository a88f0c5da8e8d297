#pragma once
// Dates as every file and document of the program writes them: ISO 8601 in UTC.
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

using SystemTime = std::chrono::system_clock::time_point;

/// "2026-11-23T08:58:09Z": UTC, whole seconds (a fraction is dropped, rounding down).
std::string isoDate(SystemTime time);
/// Reads ISO 8601 date and time: "YYYY-MM-DDTHH:MM:SS", an optional fraction of a second
/// (kept to the nanosecond), then "Z" or a numeric offset "+HH:MM" / "-HH:MM" (also
/// "+HHMM"). Anything else, or a day that doesn't exist, is absent.
std::optional<SystemTime> parseIsoDate(std::string_view text);

}  // namespace platform
