#include "app/store/history.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>

#include "drivekit/core/rounding.hpp"
#include "drivekit/health/placeholders.hpp"

namespace app {

namespace json = drivekit::json;
using drivekit::HistoryFinding;
using drivekit::LifeForecast;
using drivekit::LocalFormat::count;
using drivekit::LocalFormat::percent;
using drivekit::Tier;

namespace {

constexpr double kDay = 86400.0;

double daysBetween(json::SystemTime from, json::SystemTime to) {
    return std::chrono::duration<double>(to - from).count() / kDay;
}

json::SystemTime daysBefore(json::SystemTime date, int days) {
    return date - std::chrono::seconds(static_cast<std::int64_t>(days) * 86400);
}

std::vector<Reading> byDate(std::span<const Reading> readings) {
    std::vector<Reading> sorted(readings.begin(), readings.end());
    std::stable_sort(sorted.begin(), sorted.end(), [](const Reading& a, const Reading& b) { return a.date < b.date; });
    return sorted;
}

// The sentences of the history rules, one table. The numbers come in already formatted.
namespace HistoryWords {
constexpr std::string_view errorsRising =
    "Vantrel's readings show data errors rose over the last 7 days (%@ to %@).";
constexpr std::string_view errorLogRising =
    "Vantrel's readings show the drive's error-log count rose over the last 7 days (%@ to %@).";
constexpr std::string_view spareDrop =
    "Vantrel's readings show spare capacity fell %lld points over the last 30 days (%@ to %@).";
constexpr std::string_view spareDropHeld =
    "Vantrel's readings this past week showed spare capacity falling %lld points within 30 days (%@ to %@).";
constexpr std::string_view weekOverWeek =
    "Vantrel's readings show data errors rising week over week: %@, then %@, then %@ over the last 14 days.";
constexpr std::string_view weekOverWeekHeld =
    "Vantrel's readings this past week showed data errors rising week over week (%@, then %@, then %@).";
constexpr std::string_view shortForecastHeld = "Vantrel's forecast was under 3 years of rated life this past week.";
// The short forecast, by band, for a first forecast ("at your pace") and a sharper one.
struct Ending {
    std::string_view monthsRange, yearsRange, aboutMonths, aboutYears, underMonths, aboutAMonth, underAMonth;
};
constexpr Ending firstForecast{
    "About %@ months of rated life left at your pace.", "About %@ years of rated life left at your pace.",
    "About %lld months of rated life left at your pace.", "About %lld years of rated life left at your pace.",
    "Under %lld months of rated life left at your pace.", "About a month of rated life left at your pace.",
    "Under a month of rated life left at your pace."};
constexpr Ending recordedPace{
    "About %@ months of rated life left at the pace Vantrel recorded.",
    "About %@ years of rated life left at the pace Vantrel recorded.",
    "About %lld months of rated life left at the pace Vantrel recorded.",
    "About %lld years of rated life left at the pace Vantrel recorded.",
    "Under %lld months of rated life left at the pace Vantrel recorded.",
    "About a month of rated life left at the pace Vantrel recorded.",
    "Under a month of rated life left at the pace Vantrel recorded."};
}  // namespace HistoryWords

std::string number(std::int64_t value, const drivekit::Locale& locale) { return count(value, locale); }

std::string range(std::int64_t low, std::int64_t high, const drivekit::Locale& locale) {
    return number(low, locale) + "\u2013" + number(high, locale);
}

// Cuts months a little differently from the forecast's own band, on purpose: this sentence
// never says "over 20".
std::string shortForecastMessage(const LifeForecast& forecast, bool sharper, const drivekit::Locale& locale) {
    using drivekit::fillPlaceholders;
    using drivekit::roundHalfAway;
    const auto& words = sharper ? HistoryWords::recordedPace : HistoryWords::firstForecast;
    const double low = forecast.lowYears;
    const double high = forecast.highYears;
    if (low < 1.0 || high < 1.5) {
        const auto lm = roundHalfAway(low * 12);
        const auto hm = roundHalfAway(high * 12);
        if (hm >= 1 && high * 12 >= 1 && lm >= 1 && lm < hm) {
            return fillPlaceholders(words.monthsRange, {range(lm, hm, locale)});
        }
        if (high * 12 < 1) return std::string(words.underAMonth);
        if (lm == 1) return std::string(words.aboutAMonth);
        if (lm >= 2) return fillPlaceholders(words.aboutMonths, {number(lm, locale)});
        const auto months = std::max<std::int64_t>(static_cast<std::int64_t>(std::ceil(high * 12)), 2);
        return fillPlaceholders(words.underMonths, {number(months, locale)});
    }
    const auto ly = roundHalfAway(low);
    const auto hy = roundHalfAway(std::min(high, 20.0));
    if (ly < hy) return fillPlaceholders(words.yearsRange, {range(ly, hy, locale)});
    return fillPlaceholders(words.aboutYears, {number(ly, locale)});
}

drivekit::Verdict verdictOf(Tier tier) {
    switch (tier) {
        case Tier::healthy: return drivekit::Verdict::healthy;
        case Tier::watch: return drivekit::Verdict::watch;
        case Tier::warning: return drivekit::Verdict::warning;
        case Tier::failing: return drivekit::Verdict::failing;
        case Tier::failed: return drivekit::Verdict::failed;
        case Tier::limited: return drivekit::Verdict::unknown;
    }
    return drivekit::Verdict::unknown;
}

std::optional<std::string_view> signalOf(HistoryFinding::Rule rule) {
    switch (rule) {
        case HistoryFinding::Rule::shortForecast: return "life";
        case HistoryFinding::Rule::spareDrop: return "spare";
        case HistoryFinding::Rule::errorsWeekOverWeek:
        case HistoryFinding::Rule::errorsRising: return "errors";
        case HistoryFinding::Rule::errorLogRising: return std::nullopt;
    }
    return std::nullopt;
}

}  // namespace

namespace ForecastHistory {

std::optional<LifeForecast> refined(int used, std::uint64_t writtenBytes, std::int64_t capacityBytes,
                                    std::span<const Reading> readings) {
    if (used > 99) return std::nullopt;
    const auto sorted = byDate(readings);

    // The pace, from the first and last readings that know their bytes written.
    std::vector<const Reading*> written;
    for (const auto& r : sorted) {
        if (r.writtenBytes) written.push_back(&r);
    }
    if (written.size() < 2) return std::nullopt;
    const Reading& first = *written.front();
    const Reading& last = *written.back();
    if (*last.writtenBytes <= *first.writtenBytes) return std::nullopt;
    const double span = daysBetween(first.date, last.date);
    if (span < LifeForecast::minimumPaceDays) return std::nullopt;
    const double pace = static_cast<double>(*last.writtenBytes - *first.writtenBytes) / span;

    double bytesPerPercent = 0;
    double term = 1.0;
    bool measured = false;
    if (used < 1) {
        bytesPerPercent = LifeForecast::priorBytesPerPercent(capacityBytes);
    } else {
        // Wear measured by the readings themselves: from the first step of the life figure
        // to the last, when it moved two points or more.
        std::vector<std::pair<int, std::uint64_t>> pairs;
        for (const auto& r : sorted) {
            if (r.lifeLeft && r.writtenBytes) pairs.emplace_back(100 - *r.lifeLeft, *r.writtenBytes);
        }
        if (!pairs.empty() && pairs.back().first - pairs.front().first >= 2) {
            std::vector<std::pair<int, std::uint64_t>> steps;
            for (std::size_t i = 1; i < pairs.size(); ++i) {
                if (pairs[i].first != pairs[i - 1].first) steps.push_back(pairs[i]);
            }
            if (!steps.empty() && steps.back().first > steps.front().first &&
                steps.back().second > steps.front().second) {
                const double points = steps.back().first - steps.front().first;
                bytesPerPercent = static_cast<double>(steps.back().second - steps.front().second) / points;
                term = 1.0 / points;
                measured = true;
            }
        }
        if (!measured) {
            bytesPerPercent = static_cast<double>(writtenBytes) / used;
            term = 1.0 / used;
        }
    }
    const double years = bytesPerPercent * (100 - used) / pace / LifeForecast::daysPerYear;
    const double margin = span < LifeForecast::longPaceDays ? 0.2 : 0.1;
    const double spread = 1.0 + 0.5 * term;
    LifeForecast forecast;
    forecast.lowYears = (1 - margin) * years / spread;
    forecast.highYears = (1 + margin) * years * spread;
    forecast.usesPrior = used < 1;
    forecast.confidence = used < 1 ? LifeForecast::Confidence::low
                          : (span >= LifeForecast::longPaceDays && measured) ? LifeForecast::Confidence::high
                                                                              : LifeForecast::Confidence::medium;
    return forecast;
}

std::vector<Point> points(std::span<const Reading> readings, bool include, json::SystemTime end) {
    std::vector<Point> out;
    if (!include) return out;
    std::vector<std::pair<std::chrono::sys_days, double>> days;
    for (const auto& r : byDate(readings)) {
        if (r.date > end || !r.lifeLeft) continue;
        const auto day = std::chrono::floor<std::chrono::days>(r.date);
        const double used = 100.0 - *r.lifeLeft;
        if (!days.empty() && days.back().first == day) {
            days.back().second = std::max(days.back().second, used);
        } else {
            days.emplace_back(day, used);
        }
    }
    for (const auto& [day, used] : days) {
        const std::chrono::year_month_day date{day};
        const auto newYear = std::chrono::sys_days{date.year() / std::chrono::January / 1};
        const double ordinal = static_cast<double>((day - newYear).count() + 1);
        out.push_back(Point{static_cast<int>(date.year()) + ordinal / 365.0, used});
    }
    return out;
}

std::vector<Reading> sameDrive(std::vector<Reading> readings) {
    std::stable_sort(readings.begin(), readings.end(),
                     [](const Reading& a, const Reading& b) { return a.date < b.date; });
    std::size_t start = 0;
    std::optional<std::uint64_t> previous;
    for (std::size_t i = 0; i < readings.size(); ++i) {
        if (!readings[i].writtenBytes) continue;
        if (previous && *readings[i].writtenBytes < *previous) start = i;
        previous = readings[i].writtenBytes;
    }
    readings.erase(readings.begin(), readings.begin() + static_cast<std::ptrdiff_t>(start));
    return readings;
}

}  // namespace ForecastHistory

namespace HistoryRules {

std::optional<Rise> rise(std::span<const Reading> readings, Field field, json::SystemTime end, int days) {
    std::vector<const Reading*> kept;
    for (const auto& r : readings) {
        if (r.date <= end && (r.*field).has_value()) kept.push_back(&r);
    }
    if (kept.empty()) return std::nullopt;
    const auto start = daysBefore(end, days);
    const auto limit = daysBefore(start, days);
    const Reading* baseline = nullptr;
    for (auto it = kept.rbegin(); it != kept.rend(); ++it) {
        if ((*it)->date <= start) {
            if ((*it)->date >= limit) baseline = *it;
            break;
        }
    }
    if (baseline == nullptr) {
        const auto inside = std::find_if(kept.begin(), kept.end(), [&](const Reading* r) { return r->date > start; });
        if (inside == kept.end()) return std::nullopt;
        baseline = *inside;
    }
    const Reading* latest = kept.back();
    if (baseline->date < latest->date && *(baseline->*field) < *(latest->*field)) {
        return Rise{*(baseline->*field), *(latest->*field)};
    }
    return std::nullopt;
}

std::vector<HistoryFinding> findings(std::span<const Reading> all, json::SystemTime now,
                                     const std::optional<LifeForecast>& forecast, bool sharper,
                                     const drivekit::Locale& locale) {
    using drivekit::fillPlaceholders;
    std::vector<Reading> readings;
    for (const auto& r : all) {
        if (r.date <= now && r.date >= daysBefore(now, 60)) readings.push_back(r);
    }
    readings = byDate(readings);
    std::vector<HistoryFinding> out;
    if (readings.empty()) return out;
    const auto weekAgo = daysBefore(now, 7);
    const std::size_t newest = readings.size() - 1;
    const auto countText = [&](std::uint64_t value) { return count(value, locale); };

    for (const auto& [rule, field, words] :
         {std::tuple{HistoryFinding::Rule::errorsRising, &Reading::dataErrors, HistoryWords::errorsRising},
          std::tuple{HistoryFinding::Rule::errorLogRising, &Reading::errorLogEntries, HistoryWords::errorLogRising}}) {
        if (const auto r = rise(readings, field, now, 7)) {
            out.push_back(HistoryFinding{rule, std::nullopt, fillPlaceholders(words, {countText(r->from), countText(r->to)}),
                                         std::nullopt, false});
        }
    }

    if (readings[newest].forecastYears) {
        for (std::size_t i = readings.size(); i-- > 0 && readings[i].date >= weekAgo;) {
            if (!readings[i].forecastYears || *readings[i].forecastYears >= 3.0) continue;
            const bool held = i != newest;
            const std::string message = held || !forecast ? std::string(HistoryWords::shortForecastHeld)
                                                          : shortForecastMessage(*forecast, sharper, locale);
            out.push_back(HistoryFinding{HistoryFinding::Rule::shortForecast, Tier::watch, message, std::nullopt, held});
            break;
        }
    }

    for (std::size_t i = readings.size(); i-- > 0 && readings[i].date >= weekAgo;) {
        if (!readings[i].spare) continue;
        const int current = *readings[i].spare;
        int peak = current;
        const auto monthBefore = daysBefore(readings[i].date, 30);
        for (std::size_t j = 0; j <= i; ++j) {
            if (readings[j].spare && readings[j].date >= monthBefore) peak = std::max(peak, *readings[j].spare);
        }
        if (peak - current >= 10) {
            const bool held = i != newest;
            const int points = peak - current;
            out.push_back(HistoryFinding{
                HistoryFinding::Rule::spareDrop, Tier::warning,
                fillPlaceholders(held ? HistoryWords::spareDropHeld : HistoryWords::spareDrop,
                                 {number(points, locale), percent(peak, locale), percent(current, locale)}),
                points, held});
            break;
        }
    }

    for (std::size_t i = readings.size(); i-- > 0 && readings[i].date >= weekAgo;) {
        const std::span<const Reading> upTo(readings.data(), i + 1);
        const auto later = rise(upTo, &Reading::dataErrors, readings[i].date, 7);
        const auto earlier = later ? rise(upTo, &Reading::dataErrors, daysBefore(readings[i].date, 7), 7) : std::nullopt;
        if (later && earlier) {
            const bool held = i != newest;
            out.push_back(HistoryFinding{
                HistoryFinding::Rule::errorsWeekOverWeek, Tier::failing,
                fillPlaceholders(held ? HistoryWords::weekOverWeekHeld : HistoryWords::weekOverWeek,
                                 {countText(earlier->from), countText(later->from), countText(later->to)}),
                std::nullopt, held});
            break;
        }
    }
    return out;
}

void apply(DriveSummary& summary, std::span<const HistoryFinding> findings, const drivekit::Locale& locale) {
    if (findings.empty()) return;
    summary.history = std::vector<HistoryFinding>(findings.begin(), findings.end());
    for (const auto& finding : findings) summary.findings.push_back(finding.message);

    summary.ownScore = summary.score;
    const auto has = [&](HistoryFinding::Rule rule) {
        return std::any_of(findings.begin(), findings.end(), [&](const HistoryFinding& f) { return f.rule == rule; });
    };
    if (summary.score) {
        if (has(HistoryFinding::Rule::errorsRising)) summary.score = std::min(*summary.score, 50);
        if (has(HistoryFinding::Rule::errorLogRising)) summary.score = std::max(*summary.score - 5, 0);
    }

    const HistoryFinding* winner = nullptr;
    for (const auto& finding : findings) {
        if (!finding.tier || drivekit::severity(*finding.tier) <= drivekit::severity(summary.tier)) continue;
        if (winner == nullptr || drivekit::severity(*finding.tier) > drivekit::severity(*winner->tier)) winner = &finding;
    }
    if (winner != nullptr) {
        summary.tier = *winner->tier;
        summary.title = SummaryWording::title(summary.tier, summary.kind, summary.readOnly.value_or(false));
        const drivekit::Finding first{verdictOf(summary.tier), winner->message, std::nullopt};
        summary.line = drivekit::DocumentWording::line(summary.tier, summary.lifeUsed, summary.lifeLeft, summary.forecast,
                                            std::span(&first, 1), locale);
        if (summary.raid) summary.line += drivekit::DocumentWording::raidSentence(*summary.raid);
    }

    constexpr std::array<std::string_view, 4> kOrder{"life", "spare", "errors", "temp"};
    std::vector<std::string> words = summary.flaggedSignals.value_or(std::vector<std::string>{});
    for (const auto& finding : findings) {
        if (const auto word = signalOf(finding.rule)) words.emplace_back(*word);
    }
    std::vector<std::string> flagged;
    for (const auto word : kOrder) {
        if (std::find(words.begin(), words.end(), word) != words.end()) flagged.emplace_back(word);
    }
    summary.flaggedSignals = std::move(flagged);
}

}  // namespace HistoryRules

void enrich(std::vector<DriveSummary>& drives, std::span<const Reading> readings, json::SystemTime now,
            const drivekit::Locale& locale) {
    for (auto& summary : drives) {
        auto own = Readings::of(readings, summary.id);
        own.push_back(Reading::of(summary, now));
        own = ForecastHistory::sameDrive(std::move(own));

        bool sharper = false;
        // Without a serial the drive's readings can't be told from another's under its name.
        if (summary.lifeUsed && *summary.lifeUsed < 100 && summary.dataWrittenBytes && summary.id != summary.bsdName) {
            if (auto better = ForecastHistory::refined(*summary.lifeUsed, *summary.dataWrittenBytes,
                                                       summary.capacityBytes, own)) {
                if (summary.forecast) {
                    const auto before = LifeForecast::headline(*summary.forecast, locale);
                    if (const auto at = summary.line.find(before); at != std::string::npos) {
                        summary.line.replace(at, before.size(), LifeForecast::headline(*better, locale));
                    }
                }
                summary.forecast = better;
                own.back().forecastYears = Reading::of(summary, now).forecastYears;
                sharper = true;
            }
        }
        HistoryRules::apply(summary, HistoryRules::findings(own, now, summary.forecast, sharper, locale), locale);
    }
}

}  // namespace app
