#include "app/writes/writes_report.hpp"

#include <algorithm>
#include <system_error>

namespace app {

WritesReport WritesReport::of(Source source, drivekit::WriteTime since, drivekit::WriteTime until,
                              const std::map<drivekit::WriteOwner, std::uint64_t>& byOwner) {
    WritesReport report;
    report.source = source;
    report.since = since;
    report.until = until;
    for (const auto& [owner, bytes] : byOwner) {
        if (bytes == 0) continue;
        report.rows.push_back({owner, bytes, 0});
        report.total += bytes;
    }
    std::stable_sort(report.rows.begin(), report.rows.end(),
                     [](const Row& a, const Row& b) { return a.bytes > b.bytes; });
    for (auto& row : report.rows) {
        row.share = static_cast<double>(row.bytes) / static_cast<double>(report.total);
    }
    return report;
}

std::optional<WritesReport> WritesReport::fromHistory(const AppWritesFiles& files, drivekit::WriteTime now,
                                                      std::chrono::seconds period,
                                                      const drivekit::WriteCalendar& calendar,
                                                      const std::function<void(const std::string&)>& log) {
    std::error_code error;
    if (!std::filesystem::exists(files.slots, error) && !std::filesystem::exists(files.days, error)) {
        return std::nullopt;
    }
    const auto loaded = WritesFiles::load(files, log);
    const auto since = now - period;
    // Up to two days the slots alone answer, to the ten minutes; beyond, whole days too.
    const auto byOwner = period <= std::chrono::hours(48) ? loaded.history.totals(since)
                                                          : loaded.history.totalsWithDays(since, calendar);
    return of(Source::history, since, now, byOwner);
}

std::optional<WritesReport> WritesReport::live(const Live& live, std::chrono::milliseconds length) {
    drivekit::WriteLedger ledger;
    const auto drive = [&]() { return live.driveWritten ? live.driveWritten() : std::nullopt; };
    const auto sample = [&]() -> std::optional<drivekit::WriteSample> {
        // The drive's counter first and last, so that it spans the whole interval.
        // The time before the snapshot: a process that starts while it runs and isn't
        // listed then counts whole at the next sample.
        const auto driveBefore = drive();
        const auto at = live.clock.now();
        auto processes = live.source.snapshot();
        if (!processes) return std::nullopt;
        return drivekit::WriteSample{at, std::move(*processes), driveBefore};
    };
    auto first = sample();
    if (!first) return std::nullopt;
    ledger.take(*first);
    live.wait(length);
    const auto end = live.clock.now();
    auto processes = live.source.snapshot();
    if (!processes) return std::nullopt;
    const auto driveAfter = drive();
    const auto interval = ledger.take({end, std::move(*processes), driveAfter});
    if (!interval) return std::nullopt;
    auto report = of(Source::live, interval->start, interval->end, interval->byOwner);
    if (first->driveWritten && driveAfter && *driveAfter >= *first->driveWritten) {
        report.driveWritten = *driveAfter - *first->driveWritten;
    }
    return report;
}

}  // namespace app
