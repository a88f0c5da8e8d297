#pragma once
// What a drive's stored readings add to a single reading: a forecast from the pace the
// drive was really written at, and rules that catch a drive getting worse fast although
// each value is still acceptable (errors rising, spare falling, a short forecast). Pure
// functions over readings and a date: the store runs them after each pass.
#include <optional>
#include <span>
#include <vector>

#include "app/drive_summary.hpp"
#include "app/store/reading.hpp"
#include "drivekit/core/local_format.hpp"
#include "drivekit/health/forecast.hpp"
#include "drivekit/health/history_finding.hpp"

namespace app {

namespace ForecastHistory {

/// The sharper forecast: the pace from the first and last readings with bytes written
/// (at least 14 days apart, bytes grown), the wear per byte from the readings' own life
/// figures when they moved by two points or more. Nothing when the history can't give a
/// pace, or `used` is above 99; the first forecast then stays.
std::optional<drivekit::LifeForecast> refined(int used, std::uint64_t writtenBytes, std::int64_t capacityBytes,
                                              std::span<const Reading> readings);

/// A point of the wear chart: a decimal calendar year and the percentage of life used.
struct Point {
    double year = 0;
    double used = 0;
    bool operator==(const Point&) const = default;
};

/// The most life used on each day (UTC) up to `end`, in date order; nothing unless
/// `include`.
std::vector<Point> points(std::span<const Reading> readings, bool include, drivekit::json::SystemTime end);

/// The readings of one drive from the last time its lifetime bytes written went down: a
/// drive without a serial of its own is known by its kernel name, and a counter that never
/// falls did fall only because another drive took the name.
std::vector<Reading> sameDrive(std::vector<Reading> readings);

}  // namespace ForecastHistory

namespace HistoryRules {

struct Rise {
    std::uint64_t from = 0;
    std::uint64_t to = 0;
    bool operator==(const Rise&) const = default;
};

using Field = std::optional<std::uint64_t> Reading::*;

/// Whether `field` rose over the `days` before `end`, from the newest reading at or before
/// the window's start (when it is no more than another `days` older), else from the oldest
/// inside the window, to the newest. `readings` sorted by date.
std::optional<Rise> rise(std::span<const Reading> readings, Field field, drivekit::json::SystemTime end, int days);

/// The findings over the last 60 days of readings, in the order the rules run:
/// errors rising, error log rising, short forecast, spare drop, errors week over week.
/// `forecast` is the summary's; `sharper` says it came from stored readings.
std::vector<drivekit::HistoryFinding> findings(std::span<const Reading> readings, drivekit::json::SystemTime now,
                                               const std::optional<drivekit::LifeForecast>& forecast, bool sharper,
                                               const drivekit::Locale& locale);

/// Applies findings to a summary: their messages join its findings, errors rising caps the
/// score at 50, a rising error log takes 5 off, and the worst tiered finding above the
/// drive's tier sets its tier, title and line. Nothing changes for no findings.
void apply(DriveSummary& summary, std::span<const drivekit::HistoryFinding> findings, const drivekit::Locale& locale);

}  // namespace HistoryRules

/// Each summary of a pass with its history: the sharper forecast when the readings give
/// one (its sentence in the line replaced), then the history rules. `readings` is every
/// drive's stored history; each summary counts as a reading made `now`.
void enrich(std::vector<DriveSummary>& drives, std::span<const Reading> readings, drivekit::json::SystemTime now,
            const drivekit::Locale& locale);

}  // namespace app
