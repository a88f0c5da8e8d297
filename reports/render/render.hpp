#pragma once
// The drawn shares: the Health report's pages (US Letter, 612 x 792 points) as PDF with
// real, selectable text and embedded fonts, or as PNG; and the cards as PNG. Drawn with
// Qt's painter on its offscreen platform, so no display is needed, in the one font the
// program ships with (DejaVu Sans), so a page looks the same on every machine.
#include <QColor>

#include <optional>
#include <string>
#include <vector>

#include "reports/report_plan.hpp"
#include "reports/share.hpp"
#include "reports/share_item.hpp"

namespace reports::render {

inline constexpr double kPageWidth = 612;
inline constexpr double kPageHeight = 792;

/// The report's sections measured and packed: each page holds indices into `plan.parts`.
struct Layout {
    ReportPlan plan;
    std::vector<std::vector<int>> pages;
};

/// Measures the sections of a drive's report and packs them onto pages.
Layout layout(const DriveShare& share);

/// The whole report as a PDF titled `title` (the report and the drive's name when empty);
/// nothing when it couldn't be drawn.
std::optional<std::string> reportPDF(const DriveShare& share, const std::string& title = {});
/// The report's pages one under the other as a PNG, at `scale` pixels per point; with
/// `page` only that page (from 0).
std::optional<std::string> reportPNG(const DriveShare& share, double scale, std::optional<int> page = std::nullopt);

/// The one colour of each tier, for the reports, the cards and the tray icon.
QColor tierColour(drivekit::Tier tier);

enum class Card { health, benchmark, scan };
/// A card as a PNG at `scale` pixels per point; nothing when the drive has nothing for
/// that card (no saved benchmark, no saved scan) or it couldn't be drawn.
std::optional<std::string> cardPNG(const DriveShare& share, Card card, double scale);

}  // namespace reports::render

namespace reports::ShareItems {

/// The Health report: PDF, PNG and its health document as JSON.
ShareItem healthReport(const DriveShare& share);
/// The Disk Health card, the benchmark card and the scan card, as PNG.
ShareItem card(const DriveShare& share, render::Card card);

}  // namespace reports::ShareItems
