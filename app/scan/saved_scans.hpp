#pragma once
// The application's side of a surface scan: the record of the last scan of each drive,
// the file it lives in (scans.json in the data folder), the line that sums a scan up in
// the diagnostics, and the progress a front end shows.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/scan/scan_usage.hpp"
#include "drivekit/core/json.hpp"
#include "drivekit/scan/surface_scan.hpp"
#include "platform/file_store.hpp"

namespace app {

struct SavedScan {
    std::string driveKey;
    std::optional<std::string> serial;
    std::optional<std::string> signature;
    std::string driveName;
    std::string model;
    drivekit::json::SystemTime date;
    drivekit::surface_scan::Result result;
};

/// The latest scan of each drive, by drive key.
struct SavedScans {
    std::map<std::string, SavedScan> byDrive;
};

namespace ScanStore {

/// "$XDG_DATA_HOME/vantrel", else "$HOME/.local/share/vantrel"; empty when neither is set.
std::filesystem::path dataFolder(const std::function<std::optional<std::string>(const char*)>& environment);
std::filesystem::path file(const std::filesystem::path& dataFolder);  // .../scans.json

drivekit::json::Object toJson(const SavedScans& scans);
/// Records that don't read are left out; a damaged file reads as no scans.
SavedScans fromJson(const drivekit::json::Object& value);
SavedScans read(const platform::FileStore& files, const std::filesystem::path& file);

/// Keeps `scan` as its drive's latest (in memory whatever happens), then writes the file
/// whole, creating the folder. The sentence for the log when writing failed.
std::optional<std::string> save(platform::FileStore& files, SavedScans& scans, SavedScan scan,
                                const std::filesystem::path& file);

}  // namespace ScanStore

namespace ScanWording {

/// "scan Samsung T7 (full): 41 of 41 reads with READ (10), 512 KB, 3 unreadable, 0 slow,
/// slowest 12 ms, 1 s (Linux reads 512 KB at once)".
std::string summaryLine(const std::string& driveName, const drivekit::surface_scan::Result& result,
                        std::optional<std::int64_t> maxBytes);

/// " 42.0%    512.3 MB/s  0 unreadable  0 slow  1:23 left ": a scan under way, in columns
/// that keep their width as the figures change.
std::string progressLine(const drivekit::surface_scan::Result& result);

/// One line of a finished scan's table: "Mode", "quick".
struct ResultRow {
    std::string label;
    std::string value;
    /// The unreadable blocks are listed under this row.
    bool blocksFollow = false;
};

/// A finished scan of /dev/`kernelName`, with what it cost the program when sampled.
std::vector<ResultRow> resultRows(const std::string& kernelName, const drivekit::surface_scan::Result& result,
                                  const ScanUsage& usage);

}  // namespace ScanWording

/// What a progress display shows of a scan under way.
struct ScanProgress {
    enum class Tone { clean, slow, unreadable };
    int percent = 0;
    Tone tone = Tone::clean;
    bool done = false;

    static ScanProgress of(const drivekit::surface_scan::Result& result);
    bool operator==(const ScanProgress&) const = default;
};

}  // namespace app
