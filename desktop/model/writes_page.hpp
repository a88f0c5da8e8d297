#pragma once
// What the Writes page shows of the write history the counting loop keeps: today's
// writers with their bytes and shares, and the bytes written on each day.
#include <optional>
#include <string>
#include <vector>

#include "drivekit/core/local_format.hpp"
#include "drivekit/writes/write_calendar.hpp"
#include "drivekit/writes/write_history.hpp"

namespace desktop {

struct WriterRow {
    std::string name;
    std::string bytes;
    std::string share;
};

struct DayRow {
    std::string day;
    std::string bytes;
    /// For a bar: bytes of the day.
    std::uint64_t total = 0;
};

struct WritesView {
    /// Largest first; empty when nothing was written today.
    std::vector<WriterRow> today;
    std::string todayTotal;
    /// Newest first, each day that has writes.
    std::vector<DayRow> perDay;
};

/// The page from the history as of `now`; days are the calendar's.
WritesView writesPage(const drivekit::WriteHistory& history, drivekit::WriteTime now,
                      const drivekit::WriteCalendar& calendar, const drivekit::Locale& locale);

}  // namespace desktop
