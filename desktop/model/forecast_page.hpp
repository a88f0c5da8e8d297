#pragma once
// What the Forecast page shows: the headline of the drive's rated life, where the estimate
// comes from, how sure it is, the chart of life used, and the what-if slider's answer.
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "app/drive_summary.hpp"
#include "app/store/history.hpp"
#include "app/store/reading.hpp"
#include "drivekit/health/forecast.hpp"

namespace desktop {

struct ForecastView {
    std::optional<drivekit::LifeForecast> forecast;
    /// "5–9 years", or "No forecast".
    std::string headline;
    /// Where the estimate comes from, or why there is none.
    std::string content;
    /// "Medium confidence · 12 readings"; empty without a forecast.
    std::string confidence;
    /// Life used per day, for the chart; shown from two points on.
    std::vector<app::ForecastHistory::Point> points;
};

/// The page of `drive` from its own readings (oldest first) up to `now`.
ForecastView forecastPage(const app::DriveSummary& drive, std::span<const app::Reading> readings,
                          drivekit::json::SystemTime now, const drivekit::Locale& locale);

/// Days between the first and the last reading with bytes written, when the bytes grew over
/// at least the two weeks a pace needs; the span the sharper forecast was measured over.
std::optional<long long> paceDays(std::span<const app::Reading> readings);

struct WhatIf {
    /// 0 to 60 in steps of 5.
    int percent = 0;
    double lowYears = 0;
    double highYears = 0;
    /// The forecast at that pace, through the page's headline.
    std::string headline;
    /// "At your current usage" or "If you write 20% less".
    std::string label;
    /// "+2 years", "+5 months", or "Today’s pace" at 0.
    std::string gain;
    std::string sentence;
};

inline constexpr int kWhatIfMax = 60;
inline constexpr int kWhatIfStep = 5;

/// The forecast if the drive were written `percent` less (clamped to 0..60, to a step).
WhatIf whatIf(const drivekit::LifeForecast& forecast, int percent, const drivekit::Locale& locale);

}  // namespace desktop
