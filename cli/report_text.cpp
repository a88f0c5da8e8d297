#include "cli/report_text.hpp"

#include <iomanip>

#include "drivekit/core/local_format.hpp"
#include "drivekit/health/tier.hpp"
#include "drivekit/health/verdict.hpp"
#include "drivekit/health/wording.hpp"

namespace cli {

using namespace drivekit;

namespace {

void heading(std::ostream& out, std::string_view title) { out << '\n' << title << '\n'; }

void row(std::ostream& out, std::string_view label, std::string_view value) {
    out << "  " << std::left << std::setw(34) << label << value << '\n';
}

std::string driveLine(const HealthReport& report, const Locale& locale) {
    std::string line = report.drive.device() + "  " + report.model + "  (" +
                       TransportText::label(report.drive.transport);
    if (report.drive.sizeBytes > 0) line += ", " + ByteSize::decimal(report.drive.sizeBytes, locale);
    return line + ")";
}

void printSummary(const HealthReport& report, const Locale& locale, std::ostream& out) {
    const Tier tier = tierFor(report.verdict());
    const DriveKind kind = driveKindFor(report.drive.transport);
    out << driveLine(report, locale) << '\n';
    std::string tierText = VerdictText::name(report.verdict());
    if (tier == Tier::limited) tierText = "Limited";
    out << "Health: " << tierText;
    if (report.score) out << ", score " << *report.score << " of 100";
    out << '\n' << DocumentWording::title(tier, kind, report.isReadOnly) << '\n';
    const std::optional<int> lifeUsed =
        report.lifeRemainingPercent ? std::optional<int>(100 - *report.lifeRemainingPercent) : std::nullopt;
    out << DocumentWording::line(tier, lifeUsed, report.forecast, report.findings, locale) << '\n';
    if (report.serial) row(out, "Serial number", *report.serial);
    if (report.firmware) row(out, "Firmware", *report.firmware);
    out << "  Read from: " << report.source << '\n';
}

void printFindings(const HealthReport& report, std::ostream& out) {
    heading(out, "Findings");
    if (report.findings.empty()) {
        out << "  None.\n";
        return;
    }
    for (const auto& finding : report.findings) {
        out << "  [" << VerdictText::name(finding.verdict) << "] " << finding.message << '\n';
    }
}

void printForecast(const HealthReport& report, const Locale& locale, std::ostream& out) {
    heading(out, "Life forecast");
    if (!report.forecast) {
        out << "  Not enough data yet\n";
        return;
    }
    out << "  " << LifeForecast::leftSentence(*report.forecast, locale) << '\n';
}

void printDetails(const HealthReport& report, std::ostream& out) {
    if (report.details.empty()) return;
    heading(out, "Health log");
    for (const auto& detail : report.details) row(out, detail.label, detail.value);
}

}  // namespace

void printReport(const HealthReport& report, const Locale& locale, std::ostream& out) {
    printSummary(report, locale, out);
    printFindings(report, out);
    printForecast(report, locale, out);
    printDetails(report, out);
}

}  // namespace cli
