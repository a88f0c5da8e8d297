#include "desktop/model/history_page.hpp"

#include <chrono>
#include <map>
#include <set>

#include "app/store/alerts.hpp"
#include "desktop/model/page_wording.hpp"
#include "drivekit/core/text.hpp"

namespace desktop {

namespace {

namespace LF = drivekit::LocalFormat;
using namespace std::chrono;

double millis(drivekit::json::SystemTime date) {
    return static_cast<double>(duration_cast<milliseconds>(date.time_since_epoch()).count());
}

long long localDay(drivekit::json::SystemTime date, long offset) {
    return static_cast<long long>(floor<days>(date + seconds(offset)).time_since_epoch().count());
}

template <typename Field>
void addTrend(std::vector<Trend>& trends, std::string_view title, std::span<const app::Reading> readings, Field field) {
    Trend trend{std::string(title), {}};
    for (const auto& reading : readings) {
        if (const auto& value = reading.*field) trend.points.push_back({millis(reading.date), static_cast<double>(*value)});
    }
    if (trend.points.size() >= 2) trends.push_back(std::move(trend));
}

std::string optionalText(const std::optional<int>& value, std::string (*format)(std::int64_t, const drivekit::Locale&),
                         const drivekit::Locale& locale) {
    return value ? format(*value, locale) : std::string("–");
}

}  // namespace

HistoryView historyPage(std::span<const app::Reading> readings, long utcOffsetSeconds, const drivekit::Locale& locale) {
    HistoryView page;
    std::set<long long> seenDays;
    for (const auto& reading : readings) seenDays.insert(localDay(reading.date, utcOffsetSeconds));
    if (seenDays.size() >= 2) {
        addTrend(page.trends, Wording::scoreTrend, readings, &app::Reading::score);
        addTrend(page.trends, Wording::temperatureTrend, readings, &app::Reading::temperatureC);
        addTrend(page.trends, Wording::lifeLeftTrend, readings, &app::Reading::lifeLeft);
    } else if (!readings.empty()) {
        page.waiting = std::string(Wording::waitForDays);
    }
    // The last total of each day; a day's writes are what its total grew over the day
    // before's. A total that went down (another drive took the name) starts over.
    std::map<long long, std::pair<drivekit::json::SystemTime, std::uint64_t>> totals;
    for (const auto& reading : readings) {
        if (reading.writtenBytes) totals[localDay(reading.date, utcOffsetSeconds)] = {reading.date, *reading.writtenBytes};
    }
    if (totals.size() >= 3) {
        Trend written{std::string(Wording::writtenTrend), {}};
        for (auto it = std::next(totals.begin()); it != totals.end(); ++it) {
            const auto& [date, total] = it->second;
            const auto before = std::prev(it)->second.second;
            if (total >= before) written.points.push_back({millis(date), static_cast<double>(total - before) / 1e9});
        }
        if (!written.points.empty()) page.writtenPerDay = std::move(written);
    } else if (page.waiting.empty() && !totals.empty()) {
        page.waiting = std::string(Wording::waitForWrittenDays);
    }
    for (auto it = readings.rbegin(); it != readings.rend(); ++it) {
        const auto& reading = *it;
        const auto local = reading.date + seconds(utcOffsetSeconds);
        const auto day = floor<days>(local);
        const year_month_day ymd{day};
        const hh_mm_ss time{floor<minutes>(local - day)};
        ReadingRow row;
        row.date = drivekit::text::format("%04d-%02u-%02u %02lld:%02lld", static_cast<int>(ymd.year()),
                                          static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()),
                                          static_cast<long long>(time.hours().count()),
                                          static_cast<long long>(time.minutes().count()));
        row.status = app::Notes::tierLabel(reading.tier);
        row.score = reading.score ? LF::count(*reading.score, locale) : std::string("–");
        row.lifeLeft = optionalText(reading.lifeLeft, LF::percent, locale);
        row.temperature = optionalText(reading.temperatureC, LF::celsius, locale);
        row.written = reading.writtenBytes
                          ? drivekit::ByteSize::decimal(static_cast<std::int64_t>(*reading.writtenBytes), locale)
                          : std::string("–");
        page.rows.push_back(std::move(row));
    }
    return page;
}

}  // namespace desktop
