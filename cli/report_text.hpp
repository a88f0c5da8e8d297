#pragma once
// The human form of a health report on a terminal, under 100 columns.
#include <ostream>

#include "drivekit/core/local_format.hpp"
#include "drivekit/health/report.hpp"

namespace cli {

void printReport(const drivekit::HealthReport& report, const drivekit::Locale& locale, std::ostream& out);

}  // namespace cli
