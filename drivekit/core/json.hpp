#pragma once
// The JSON conventions of every file and document the program writes, on nlohmann-json:
// keys are the records' field names in the records' order, optional values are left
// out (never null), arrays are always written, dates are ISO 8601 in UTC, damaged JSON
// reads as absent, and files are replaced whole and atomically. Nothing here throws on
// bad input or a failing disk: reads give nothing and writes give false.
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace drivekit::json {

/// Field order follows insertion: records are written in the order their fields are set.
using Object = nlohmann::ordered_json;

using SystemTime = std::chrono::system_clock::time_point;

/// Sets `key` only when the optional holds a value.
template <typename T>
void putOptional(Object& object, std::string_view key, const std::optional<T>& value) {
    if (value) object[std::string(key)] = *value;
}

/// "2026-11-23T08:58:09Z": UTC, whole seconds (a fraction is dropped, rounding down).
std::string isoDate(SystemTime time);
/// Reads ISO 8601 date and time: "YYYY-MM-DDTHH:MM:SS", an optional fraction of a second
/// (kept to the nanosecond), then "Z" or a numeric offset "+HH:MM" / "-HH:MM" (also
/// "+HHMM"). Anything else, or a day that doesn't exist, is absent.
std::optional<SystemTime> parseIsoDate(std::string_view text);

/// Parses text; damaged JSON is absent, never an exception.
std::optional<Object> parse(std::string_view text);
/// Reads and parses a file; a missing, unreadable or damaged file is absent.
std::optional<Object> readFile(const std::filesystem::path& path);

enum class Layout {
    /// No whitespace, keys in insertion order: every file the program keeps.
    compact,
    /// Two-space indent, keys in insertion order: output for people (`--json`).
    pretty,
    /// Two-space indent, keys of every object sorted by their UTF-8 bytes: the health
    /// document, which asks for pretty printing with sorted keys.
    prettySorted,
};

/// Serialises a value. Slashes are never escaped and non-ASCII text is written as UTF-8;
/// invalid UTF-8 inside a string is written as U+FFFD rather than failing. No final
/// newline.
std::string dump(const Object& value, Layout layout = Layout::pretty);

/// Replaces `path` whole: writes a temporary file with a unique name beside it, fsyncs
/// it, renames it over the target and fsyncs the folder. Returns false when writing the
/// temporary file or the rename fails; the target is then untouched and the temporary
/// file removed. The folder's fsync after the rename is best effort: the new file is in
/// place by then, so a folder that refuses it doesn't turn the write into a failure.
/// Readers in other processes see the old file or the new one, never a torn one. The
/// folder must exist; it isn't created here. The new file gets the usual permissions of
/// a new file (0666 less the umask).
bool writeAtomically(const std::filesystem::path& path, std::string_view contents);

}  // namespace drivekit::json
