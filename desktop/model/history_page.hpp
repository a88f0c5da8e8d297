#pragma once
// What the History page shows: the trends of a drive's readings as chart series, and the
// readings themselves as rows. A chart waits for readings from two different days (the
// data written per day for three), since one day draws no trend.
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "app/store/reading.hpp"
#include "drivekit/core/local_format.hpp"

namespace desktop {

struct ChartPoint {
    /// Milliseconds since the epoch, as Qt's date axes take them.
    double time = 0;
    double value = 0;
    bool operator==(const ChartPoint&) const = default;
};

struct Trend {
    std::string title;
    std::vector<ChartPoint> points;
};

struct ReadingRow {
    std::string date;
    std::string status;
    std::string score;
    std::string lifeLeft;
    std::string temperature;
    std::string written;
};

struct HistoryView {
    /// Score, temperature and life left, each only when some reading has it; empty until
    /// readings come from two different days.
    std::vector<Trend> trends;
    /// Bytes written on each day after the first, in GB; from three days on.
    std::optional<Trend> writtenPerDay;
    /// Why a chart is missing, or empty.
    std::string waiting;
    /// Newest first.
    std::vector<ReadingRow> rows;
};

/// The page from one drive's readings, oldest first. Days are the local calendar's
/// (`utcOffsetSeconds` east of UTC).
HistoryView historyPage(std::span<const app::Reading> readings, long utcOffsetSeconds, const drivekit::Locale& locale);

}  // namespace desktop
