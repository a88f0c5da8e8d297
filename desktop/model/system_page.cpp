#include "desktop/model/system_page.hpp"

#include <chrono>
#include <map>

#include "desktop/model/page_wording.hpp"

namespace desktop {

namespace {

using namespace std::chrono;

std::string pressureLabel(app::SystemStats::Pressure pressure) {
    switch (pressure) {
        case app::SystemStats::Pressure::normal: return std::string(Wording::pressureNormal);
        case app::SystemStats::Pressure::elevated: return std::string(Wording::pressureElevated);
        case app::SystemStats::Pressure::high: return std::string(Wording::pressureHigh);
    }
    return {};
}

std::string bytes(std::uint64_t value, const drivekit::Locale& locale) {
    return drivekit::ByteSize::decimal(static_cast<std::int64_t>(value), locale);
}

}  // namespace

SwapView swapPage(const app::SystemStats& stats, std::span<const app::Reading> readings, long utcOffsetSeconds,
                  const drivekit::Locale& locale) {
    SwapView view;
    view.facts.push_back({std::string(Wording::swapUsed),
                          stats.swapTotalBytes == 0 ? std::string(Wording::noSwap)
                                                    : Wording::fill(Wording::usedOf, {bytes(stats.swapUsedBytes, locale),
                                                                                      bytes(stats.swapTotalBytes, locale)})});
    view.facts.push_back({std::string(Wording::swappedOut), bytes(stats.swapOutBytesSinceBoot, locale)});
    view.facts.push_back({std::string(Wording::pressure), pressureLabel(stats.pressure)});
    if (stats.writtenSinceBootBytes > 0) {
        view.facts.push_back({std::string(Wording::writtenSinceBoot), bytes(stats.writtenSinceBootBytes, locale)});
    }
    // The counter starts again at each boot: a day's swap is its growth within one boot.
    struct Last {
        drivekit::json::SystemTime date;
        std::uint64_t swapped = 0;
        std::optional<drivekit::json::SystemTime> boot;
    };
    std::map<long long, Last> days;
    for (const auto& reading : readings) {
        if (!reading.swapOutBytes) continue;
        const auto day = floor<std::chrono::days>(reading.date + seconds(utcOffsetSeconds)).time_since_epoch().count();
        days[day] = {reading.date, *reading.swapOutBytes, reading.bootDate};
    }
    if (days.size() >= 3) {
        Trend trend{std::string(Wording::swappedTrend), {}};
        for (auto it = std::next(days.begin()); it != days.end(); ++it) {
            const auto& before = std::prev(it)->second;
            const auto& now = it->second;
            const bool sameBoot = before.boot == now.boot && now.swapped >= before.swapped;
            const double gb = static_cast<double>(sameBoot ? now.swapped - before.swapped : now.swapped) / 1e9;
            trend.points.push_back(
                {static_cast<double>(duration_cast<milliseconds>(now.date.time_since_epoch()).count()), gb});
        }
        view.swappedPerDay = std::move(trend);
    }
    return view;
}

std::string footer(const app::SystemStats& stats, const drivekit::Locale& locale) {
    return Wording::fill(Wording::footer, {bytes(stats.selfWrittenBytes, locale),
                                           drivekit::LocalFormat::decimal(stats.selfCPUPercent, 1, locale) + "%"});
}

}  // namespace desktop
