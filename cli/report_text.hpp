#pragma once
// The human form of a rated report on a terminal, under 100 columns: the drive, its tier
// and score, the line, findings, forecast and health log; for an ATA drive then its
// figures with the SMART status, the attribute table (rows past their threshold marked
// "failing now") and the self-test log.
#include <ostream>
#include <string>
#include <vector>

#include "app/shown.hpp"

namespace cli {

/// `line` is the one line of the reading, as the summary and the document have it.
void printReport(const drivekit::HealthReport& report, const std::string& line, drivekit::SMARTStatus smartStatus,
                 const drivekit::Locale& locale, std::ostream& out);

/// The self-test log as rows: test, outcome, power-on hours, first bad sector.
void printSelfTestLog(const std::vector<drivekit::SelfTest::Entry>& entries, const drivekit::Locale& locale,
                      std::ostream& out);

}  // namespace cli
