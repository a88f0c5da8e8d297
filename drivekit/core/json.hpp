#pragma once
// The JSON conventions of every file and document the program writes, on nlohmann-json:
// keys are the records' field names in the records' order, optional values are left
// out (never null), arrays are always written, dates are ISO 8601 in UTC, damaged JSON
// reads as absent (files are replaced whole and atomically through platform::FileStore).
// Nothing here throws on bad input or a failing disk: reads give nothing.
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "platform/iso_date.hpp"

namespace drivekit::json {

/// Field order follows insertion: records are written in the order their fields are set.
using Object = nlohmann::ordered_json;

using SystemTime = std::chrono::system_clock::time_point;

/// Sets `key` only when the optional holds a value.
template <typename T>
void putOptional(Object& object, std::string_view key, const std::optional<T>& value) {
    if (value) object[std::string(key)] = *value;
}

/// ISO 8601 dates (platform/iso_date.hpp).
using platform::isoDate;
using platform::parseIsoDate;

/// Parses text; damaged JSON is absent, never an exception.
std::optional<Object> parse(std::string_view text);

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
/// The same for a value no longer needed, whose children are moved rather than copied.
std::string dump(Object&& value, Layout layout = Layout::pretty);


}  // namespace drivekit::json
