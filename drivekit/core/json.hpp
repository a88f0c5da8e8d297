#pragma once
// The JSON conventions of every file and document the program writes, on nlohmann-json:
// keys are the records' field names in the records' order, optional values are left
// out (never null), arrays are always written, dates are ISO 8601, damaged JSON reads as
// absent, and files are replaced whole and atomically.
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace drivekit::json {

/// Field order follows insertion: records are written in the order their fields are set.
using Object = nlohmann::ordered_json;

using SystemTime = std::chrono::system_clock::time_point;

/// Sets `key` only when the optional holds a value.
template <typename T>
void putOptional(Object& object, std::string_view key, const std::optional<T>& value) {
    if (value) object[std::string(key)] = *value;
}

/// "2026-11-23T08:58:09Z": UTC, whole seconds.
std::string isoDate(SystemTime time);
/// Reads ISO 8601 with a Z or a numeric offset, with or without fraction seconds.
std::optional<SystemTime> parseIsoDate(std::string_view text);

/// Parses text; damaged JSON is absent, never an exception.
std::optional<Object> parse(std::string_view text);
/// Reads and parses a file; a missing or damaged file is absent.
std::optional<Object> readFile(const std::filesystem::path& path);

/// Pretty printing with sorted keys where a document asks for it.
enum class Layout { compact, pretty };

/// Serialises a value; slashes are never escaped (nlohmann never does).
std::string dump(const Object& value, Layout layout = Layout::pretty);

/// Replaces `path` whole: writes a temporary file beside it, fsyncs it, renames it over
/// the target and fsyncs the folder. Returns false when any step fails; the target is
/// then untouched and the temporary file removed.
bool writeAtomically(const std::filesystem::path& path, std::string_view contents);

}  // namespace drivekit::json
