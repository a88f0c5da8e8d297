#pragma once
// The drives as metrics for people who watch many machines: a file in the Prometheus text
// format that node_exporter's textfile collector (or any scraper of such files) picks up.
// One family per figure, every sample labelled by device, model and serial; units in the
// names, as the format's conventions ask.
#include <chrono>
#include <filesystem>
#include <map>
#include <span>
#include <string>

#include "app/drive_summary.hpp"
#include "platform/file_store.hpp"

namespace app::Metrics {

using Time = std::chrono::system_clock::time_point;

/// The file's name in the collector's folder.
inline constexpr const char* kFileName = "vantrel.prom";

/// Drive `id` to when its health was last read. A pass updates the drives it rated; a
/// limited drive (not read, or left asleep) keeps its older time.
void noteReads(std::map<std::string, Time>& lastRead, std::span<const DriveSummary> drives, Time now);

/// The whole file: HELP and TYPE lines, then the samples of each family; a figure a drive
/// doesn't report has no sample.
std::string text(std::span<const DriveSummary> drives, const std::map<std::string, Time>& lastRead);

/// Replaces `folder`/vantrel.prom whole, through a temporary file in the same folder, so a
/// scraper never reads half a file. The folder must exist.
platform::Result<void, platform::FileError> write(platform::FileStore& files, const std::filesystem::path& folder,
                                                  std::string_view text);

}  // namespace app::Metrics
