#include "desktop/model/writes_page.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>

#include "desktop/model/page_wording.hpp"
#include "drivekit/core/text.hpp"
#include "drivekit/writes/write_owner.hpp"

namespace desktop {

namespace {

std::string nameOf(const drivekit::WriteOwner& owner) {
    if (const auto name = drivekit::WriteOwners::fileName(owner)) return *name;
    return std::string(owner.kind == drivekit::WriteOwner::Kind::webPages ? Wording::webPages : Wording::systemWriter);
}

std::string bytes(std::uint64_t value, const drivekit::Locale& locale) {
    return drivekit::ByteSize::decimal(static_cast<std::int64_t>(value), locale);
}

}  // namespace

WritesView writesPage(const drivekit::WriteHistory& history, drivekit::WriteTime now,
                      const drivekit::WriteCalendar& calendar, const drivekit::Locale& locale) {
    WritesView view;
    const auto today = calendar.startOfDay(now).value_or(now - std::chrono::hours(24));
    const auto totals = history.totals(today);
    std::uint64_t sum = 0;
    for (const auto& [owner, count] : totals) sum += count;
    std::vector<std::pair<drivekit::WriteOwner, std::uint64_t>> sorted(totals.begin(), totals.end());
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
    for (const auto& [owner, count] : sorted) {
        if (count == 0) continue;
        const auto percent = static_cast<std::int64_t>(std::llround(100.0 * static_cast<double>(count) / static_cast<double>(sum)));
        view.today.push_back({nameOf(owner), bytes(count, locale), drivekit::LocalFormat::percent(percent, locale)});
    }
    view.todayTotal = bytes(sum, locale);

    // Slots and days alike land on their local day.
    std::map<drivekit::WriteTime, std::uint64_t> byDay;
    for (const auto* list : {&history.days, &history.slots}) {
        for (const auto& bucket : *list) {
            const auto day = calendar.startOfDay(bucket.start).value_or(bucket.start);
            for (const auto& [key, count] : bucket.bytes) byDay[day] += count;
        }
    }
    for (auto it = byDay.rbegin(); it != byDay.rend(); ++it) {
        if (it->second == 0) continue;
        // Noon of the local day names it, whatever the zone's offset.
        const auto date = drivekit::json::isoDate(it->first + std::chrono::hours(12)).substr(0, 10);
        view.perDay.push_back({date, bytes(it->second, locale), it->second});
    }
    return view;
}

}  // namespace desktop
