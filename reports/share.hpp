#pragma once
// What a share of one drive draws on, and the shapes of what leaves the machine: the
// formats, the user's choices and the finished file.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/bench/saved_benchmarks.hpp"
#include "app/drive_summary.hpp"
#include "app/scan/saved_scans.hpp"
#include "app/store/reading.hpp"
#include "drivekit/core/json.hpp"
#include "drivekit/discovery/io_stats.hpp"
#include "drivekit/health/health_document.hpp"

namespace reports {

enum class ShareFormat { png, pdf, json };

namespace ShareFormatText {
/// "png", "pdf", "json": also the file extension.
std::string_view raw(ShareFormat format) noexcept;
std::optional<ShareFormat> parse(std::string_view raw) noexcept;
}  // namespace ShareFormatText

struct ShareOptions {
    ShareFormat format = ShareFormat::pdf;
    /// Show the serial whole instead of masked.
    bool fullSerial = false;
    /// A report as PNG: only this page, from 1; all of them one under the other without.
    std::optional<int> page = std::nullopt;
};

struct ShareFile {
    std::string data;
    /// With its extension.
    std::string name;
    ShareFormat format = ShareFormat::pdf;
};

/// What a share of one drive can draw on besides the drive itself.
struct ShareContext {
    /// The drive's kept readings, oldest first.
    std::vector<app::Reading> readings;
    /// When the drive's health was last read.
    std::optional<drivekit::json::SystemTime> lastRefresh;
    std::optional<app::SavedBenchmark> benchmark;
    std::optional<app::SavedScan> scan;
    bool fullSerial = false;
    /// When the share is made: every date the share prints that isn't the drive's comes
    /// from here, so a fixed clock gives the same bytes.
    drivekit::json::SystemTime generated;
    std::string version;
};

/// One drive with everything its shares show.
struct DriveShare {
    /// The summary after its history (forecast, history rules).
    app::DriveSummary summary;
    /// The health document of the summary, with the saved scan and benchmark.
    drivekit::HealthDocument document;
    ShareContext context;
    /// Linux's block-device counters of the drive, when they could be read.
    std::optional<drivekit::IOStats> counters;
    /// The serial as the drive told it; the document shows it masked unless asked.
    std::optional<std::string> wholeSerial;
    drivekit::Locale locale;

    /// The same share with the serial whole or masked.
    DriveShare withSerial(bool full) const;
};

/// The health document of a drive from its summary: the drive's facts, indicators, self-
/// tests and read method from the document of its reading (`ofReading`, serial kept or
/// masked as the context says), its tier, score, findings and forecast from the summary
/// (after history), the saved benchmark and scan from the context.
drivekit::HealthDocument healthDocument(const app::DriveSummary& summary, drivekit::HealthDocument ofReading,
                                        const ShareContext& context);

/// The saved benchmark as the document carries it; nothing when no test has a result.
std::optional<drivekit::HealthDocument::Benchmark> benchmarkOf(const app::SavedBenchmark& saved);
/// The saved scan as the document carries it; nothing when it made no read.
std::optional<drivekit::HealthDocument::Scan> scanOf(const app::SavedScan& saved);

}  // namespace reports
