#pragma once
// Who wrote how much to the system drive over a period, for a list: from the stored
// history when the counting loop has kept one, else from one short live interval.
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/writes/app_writes.hpp"

namespace app {

struct WritesReport {
    enum class Source { history, live };

    struct Row {
        drivekit::WriteOwner owner;
        std::uint64_t bytes = 0;
        /// Of everything written in the period: when the drive's own counter was known,
        /// that is the drive's total, since what no process accounts for is the system's.
        double share = 0;
    };

    Source source = Source::live;
    drivekit::WriteTime since;
    drivekit::WriteTime until;
    /// Largest first; owners with equal bytes by their key.
    std::vector<Row> rows;
    std::uint64_t total = 0;
    /// What the drive itself counted over a live interval, from its health data.
    std::optional<std::uint64_t> driveWritten;

    /// Rows from bytes by owner, sorted, with their shares.
    static WritesReport of(Source source, drivekit::WriteTime since, drivekit::WriteTime until,
                           const std::map<drivekit::WriteOwner, std::uint64_t>& byOwner);

    /// From the history files: nothing when neither exists (the loop never ran here).
    static std::optional<WritesReport> fromHistory(const AppWritesFiles& files, drivekit::WriteTime now,
                                                   std::chrono::seconds period,
                                                   const drivekit::WriteCalendar& calendar,
                                                   const std::function<void(const std::string&)>& log);

    /// What a live interval needs: the snapshots, the time, a wait that reports progress
    /// and may be cut short (false), and the drive's own counter.
    struct Live {
        WritesSource& source;
        const platform::Clock& clock;
        std::function<bool(std::chrono::milliseconds)> wait;
        std::function<std::optional<std::uint64_t>()> driveWritten;
    };
    /// Two snapshots `length` apart through the ledger; nothing when a snapshot failed.
    static std::optional<WritesReport> live(const Live& live, std::chrono::milliseconds length);
};

}  // namespace app
