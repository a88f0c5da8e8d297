#pragma once
// The application's view of drives as terminal text: the list of every drive, one line
// each, and one drive's summary with its Health data rows.
#include <ostream>
#include <vector>

#include "app/drive_insight.hpp"
#include "app/drive_summary.hpp"
#include "app/read_all.hpp"

namespace cli {

/// One line per drive under a header: name, device, kind, tier, score and the summary's
/// line, in columns as wide as their widest entry. Unless `wide`, rows fit 100 columns:
/// names past 26 characters and the line past what is left are cut with an ellipsis.
void printDriveList(const std::vector<app::DriveRead>& reads, bool wide, std::ostream& out);

/// The title, the line, how it was read, then the general rows and the indicators with
/// their statuses and notes.
void printSummary(const app::DriveSummary& summary, std::ostream& out);

/// The words of the kind column: the transport, since the summary's kind folds internal
/// SATA into "other".
std::string kindWord(const drivekit::Drive& drive);

}  // namespace cli
