#include "cli/summary_text.hpp"

#include <algorithm>
#include <array>
#include <iomanip>
#include <string>

#include "app/shown.hpp"

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

// A terminal of 100 columns takes the list without wrapping: a long model name is cut,
// and the line takes what the other columns leave.
constexpr std::size_t kFitColumns = 100;
constexpr std::size_t kNameMost = 26;
constexpr std::size_t kLineLeast = 24;

// The text cut to `most` characters, the last one an ellipsis when anything was cut.
// Cuts between characters, never inside one.
std::string cut(const std::string& text, std::size_t most) {
    if (width(text) <= most || most == 0) return text;
    std::size_t kept = 0;
    std::size_t end = 0;
    while (end < text.size()) {
        std::size_t next = end + 1;
        while (next < text.size() && (static_cast<unsigned char>(text[next]) & 0xC0U) == 0x80U) ++next;
        if (kept + 1 == most) break;
        ++kept;
        end = next;
    }
    return text.substr(0, end) + "\u2026";
}

Row listRow(const app::DriveRead& read) {
    const app::DriveSummary& summary = read.summary;
    // A disk left asleep has no reading: "asleep" says more than "limited".
    const bool asleep = summary.asleep.value_or(false);
    // Escaped before the columns are measured: the terminal filter would widen a name
    // that carries control characters after the layout was made.
    return {text::printable(summary.name),
            read.drive.device(),
            kindWord(read.drive),
            asleep ? std::string("asleep") : std::string(TierText::raw(summary.tier)),
            summary.score ? std::to_string(*summary.score) : "-",
            text::printable(summary.line)};
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
    // Values hold drive and volume strings: escaped here, where a line break in one would
    // still pass the terminal filter and fake a line of its own.
    out << "  " << label << std::string(used < 34 ? 34 - used : 1, ' ') << text::printable(value) << '\n';
}

}  // namespace

std::string kindWord(const Drive& drive) {
    return TransportText::label(drive.transport);
}

void printDriveList(const std::vector<app::DriveRead>& reads, bool wide, std::ostream& out) {
    std::vector<Row> rows{{"NAME", "DEVICE", "KIND", "TIER", "SCORE", "HEALTH"}};
    for (const auto& read : reads) rows.push_back(listRow(read));
    if (!wide) {
        for (auto& r : rows) r[0] = cut(r[0], kNameMost);
        std::size_t before = 0;  // what the columns ahead of the line take, with their gaps
        for (std::size_t i = 0; i + 1 < kColumns; ++i) {
            std::size_t most = 0;
            for (const auto& r : rows) most = std::max(most, width(r[i]));
            before += most + 2;
        }
        const std::size_t room = before + kLineLeast < kFitColumns ? kFitColumns - before : kLineLeast;
        for (auto& r : rows) r[kColumns - 1] = cut(r[kColumns - 1], room);
    }
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
