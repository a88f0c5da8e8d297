#include "cli/summary_text.hpp"

#include <algorithm>
#include <array>
#include <iomanip>
#include <string>

#include "drivekit/health/tier.hpp"

namespace cli {

using namespace drivekit;

namespace {

// Columns are counted in characters, not bytes: names and values may hold "°" or "×".
std::size_t width(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
    }));
}

constexpr std::size_t kColumns = 6;
using Row = std::array<std::string, kColumns>;

Row listRow(const app::DriveRead& read) {
    const app::DriveSummary& summary = read.summary;
    return {summary.name,
            read.drive.device(),
            kindWord(read.drive),
            std::string(TierText::raw(summary.tier)),
            summary.score ? std::to_string(*summary.score) : "-",
            summary.line};
}

void printRow(const Row& row, const std::array<std::size_t, kColumns>& widths, std::ostream& out) {
    std::string line;
    for (std::size_t i = 0; i < kColumns; ++i) {
        line += row[i];
        if (i + 1 < kColumns) line += std::string(widths[i] - width(row[i]) + 2, ' ');
    }
    out << line << '\n';
}

void row(std::ostream& out, std::string_view label, std::string_view value) {
    const std::size_t used = width(label);
    out << "  " << label << std::string(used < 34 ? 34 - used : 1, ' ') << value << '\n';
}

}  // namespace

std::string kindWord(const Drive& drive) {
    return TransportText::label(drive.transport);
}

void printDriveList(const std::vector<app::DriveRead>& reads, std::ostream& out) {
    std::vector<Row> rows{{"NAME", "DEVICE", "KIND", "TIER", "SCORE", "HEALTH"}};
    for (const auto& read : reads) rows.push_back(listRow(read));
    std::array<std::size_t, kColumns> widths{};
    for (const auto& r : rows) {
        for (std::size_t i = 0; i < kColumns; ++i) {
            widths[i] = std::max(widths[i], width(r[i]));
        }
    }
    for (const auto& r : rows) printRow(r, widths, out);
}

void printSummary(const app::DriveSummary& summary, std::ostream& out) {
    out << "\nSummary\n";
    out << "  " << summary.title << '\n';
    out << "  " << summary.line << '\n';
    out << "  Read: " << summary.readSource << '\n';
    out << "\nDrive\n";
    for (const auto& field : summary.insight.general) row(out, field.label, field.value);
    if (summary.insight.indicators.empty()) return;
    out << "\nIndicators\n";
    for (const auto& indicator : summary.insight.indicators) {
        const std::string status = IndicatorStatusText::label(indicator.status);
        row(out, indicator.label, indicator.value + "  [" + status + "]");
        if (!indicator.note.empty()) out << "  " << std::string(34, ' ') << indicator.note << '\n';
    }
}

}  // namespace cli
