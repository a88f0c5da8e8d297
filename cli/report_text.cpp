#include "cli/report_text.hpp"

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <limits>

namespace cli {

using namespace drivekit;

namespace {

void heading(std::ostream& out, std::string_view title) { out << '\n' << title << '\n'; }

void row(std::ostream& out, std::string_view label, std::string_view value) {
    out << "  " << std::left << std::setw(34) << label << text::printable(value) << '\n';
}

std::string driveLine(const HealthReport& report, const Locale& locale) {
    std::string line = report.drive.device() + "  " + report.model + "  (" +
                       TransportText::label(report.drive.transport);
    if (report.drive.sizeBytes > 0) line += ", " + ByteSize::decimal(report.drive.sizeBytes, locale);
    return line + ")";
}

void printHead(const HealthReport& report, const std::string& line, const Locale& locale, std::ostream& out) {
    const Tier tier = tierFor(report.verdict());
    const DriveKind kind = driveKindFor(report.drive.transport);
    out << driveLine(report, locale) << '\n';
    std::string tierText = VerdictText::name(report.verdict());
    if (tier == Tier::limited) tierText = "Limited";
    out << "Health: " << tierText;
    if (report.score) out << ", score " << *report.score << " of 100";
    out << '\n' << DocumentWording::title(tier, kind, report.isReadOnly) << '\n';
    out << line << '\n';
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

// Where a failing row's mark starts: after the widest raw value, 48 bits in decimal.
constexpr std::size_t rawColumnEnd = 2 + 3 + 2 + 27 + 1 + 6 + 2 + 5 + 2 + 5 + 2 + 9 + 2 + 15 + 2;

void printAttributes(const std::vector<ATAAttribute>& attributes, std::ostream& out) {
    out << "\nSMART attributes\n";
    if (attributes.empty()) {
        out << "  The drive returned no SMART attributes.\n";
        return;
    }
    out << text::format("  %3s  %-27s %-6s  %5s  %5s  %9s  %s\n", "ID", "Name", "Flags", "Value", "Worst",
                        "Threshold", "Raw");
    for (const auto& a : attributes) {
        std::string line = text::format("  %3u  %-27s 0x%04X  %5u  %5u  %9u  %llu", a.id, a.name().c_str(), a.flags,
                                        a.value, a.worst, a.threshold, static_cast<unsigned long long>(a.raw));
        if (a.isFailingNow())
            line += std::string(rawColumnEnd > line.size() ? rawColumnEnd - line.size() : 1, ' ') + "failing now";
        out << line << '\n';
    }
}

void printFigures(const HealthReport& report, SMARTStatus smartStatus, const Locale& locale, std::ostream& out) {
    out << "\nFigures\n";
    row(out, "S.M.A.R.T. status", SMARTStatusText::label(smartStatus));
    if (report.powerOnHours) row(out, "Power-on hours", LocalFormat::count(*report.powerOnHours, locale));
    if (report.temperatureC) row(out, "Temperature", LocalFormat::celsius(*report.temperatureC, locale));
    if (report.lifeRemainingPercent) row(out, "Life left", LocalFormat::percent(*report.lifeRemainingPercent, locale));
    if (report.dataWrittenBytes) {
        constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
        row(out, "Data written", ByteSize::decimal(static_cast<std::int64_t>(std::min(*report.dataWrittenBytes, most)), locale));
    }
}

}  // namespace

void printReport(const HealthReport& report, const std::string& line, SMARTStatus smartStatus, const Locale& locale,
                 std::ostream& out) {
    printHead(report, line, locale, out);
    printFindings(report, out);
    printForecast(report, locale, out);
    printDetails(report, out);
    if (!report.ata) return;
    printFigures(report, smartStatus, locale, out);
    printAttributes(report.attributes, out);
    out << "\nSelf-test log\n";
    printSelfTestLog(report.selfTests, locale, out);
}

void printSelfTestLog(const std::vector<SelfTest::Entry>& entries, const Locale& locale, std::ostream& out) {
    if (entries.empty()) {
        out << "  None logged.\n";
        return;
    }
    for (const auto& entry : entries) {
        std::string line =
            text::format("  %-17s %-35s", entry.testName().c_str(), SelfTest::label(entry.outcome).c_str());
        line += LocalFormat::count(entry.powerOnHours, locale) + " hours";
        if (entry.failingLBA) line += ", first bad sector " + LocalFormat::count(*entry.failingLBA, locale);
        out << line << '\n';
    }
}

}  // namespace cli
