#include "drivekit/health/forecast.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "drivekit/core/rounding.hpp"
#include "drivekit/health/placeholders.hpp"

namespace drivekit {
namespace {

using Kind = LifeForecast::Band::Kind;

// The words of each band. "%@" is the low end, "%lld" the high end or the single number;
// over20 always says 20.
struct BandWording {
    Kind kind;
    std::string_view text;
    std::string_view leftPhrase;
    std::string_view leftSentence;
    std::string_view headline;
};

constexpr std::array<BandWording, 9> kWording{{
    {Kind::yearsRange, "%@–%lld years", "%@–%lld years left",
     "%@–%lld years left at your current usage.", "%@–%lld years"},
    {Kind::aboutYears, "about %lld years", "about %lld years left",
     "About %lld years left at your current usage.", "About %lld years"},
    {Kind::yearsToTwenty, "%@–%lld+ years", "%@–%lld+ years left",
     "%@–%lld+ years left at your current usage.", "%@–%lld+ years"},
    {Kind::over20, "%lld+ years", "more than %lld years left",
     "More than %lld years left at your current usage.", "%lld+ years"},
    {Kind::monthsRange, "%@–%lld months", "%@–%lld months left",
     "%@–%lld months left at your current usage.", "%@–%lld months"},
    {Kind::aboutMonths, "about %lld months", "about %lld months left",
     "About %lld months left at your current usage.", "About %lld months"},
    {Kind::underMonths, "under %lld months", "under %lld months left",
     "Under %lld months left at your current usage.", "Under %lld months"},
    {Kind::aboutAMonth, "about a month", "about a month left",
     "About a month left at your current usage.", "About a month"},
    {Kind::underAMonth, "under a month", "under a month left",
     "Under a month left at your current usage.", "Under a month"},
}};

// The plural follows the number that counts, and by the construction of the band that
// number is never 1: a range ends at 2 or more, "about" months start at 2 (1 is "about a
// month"), "under" months at 2, and "about" years only when the low end rounds to at
// least the high end, which is 2 or more from 1.5 years up. So the plural forms suffice.
const BandWording& wordingFor(const LifeForecast::Band& band) {
    for (const auto& row : kWording) {
        if (row.kind == band.kind) return row;
    }
    return kWording.back();
}

enum class Form { text, leftPhrase, leftSentence, headline };

std::string say(const LifeForecast& forecast, Form form, const Locale& locale) {
    const auto band = LifeForecast::band(forecast.lowYears, forecast.highYears);
    const auto& wording = wordingFor(band);
    std::string_view pattern;
    switch (form) {
        case Form::text:
            pattern = wording.text;
            break;
        case Form::leftPhrase:
            pattern = wording.leftPhrase;
            break;
        case Form::leftSentence:
            pattern = wording.leftSentence;
            break;
        case Form::headline:
            pattern = wording.headline;
            break;
    }
    switch (band.kind) {
        case Kind::yearsRange:
        case Kind::monthsRange:
            return fillPlaceholders(pattern, {LocalFormat::count(band.first, locale),
                                              LocalFormat::count(band.second, locale)});
        case Kind::yearsToTwenty:
            return fillPlaceholders(pattern, {LocalFormat::count(band.first, locale),
                                              LocalFormat::count(std::int64_t{20}, locale)});
        case Kind::over20:
            return fillPlaceholders(pattern, {LocalFormat::count(std::int64_t{20}, locale)});
        case Kind::aboutYears:
        case Kind::aboutMonths:
        case Kind::underMonths:
            return fillPlaceholders(pattern, {LocalFormat::count(band.first, locale)});
        case Kind::aboutAMonth:
        case Kind::underAMonth:
            return std::string(pattern);
    }
    return std::string(pattern);
}

}  // namespace

double LifeForecast::priorBytesPerPercent(std::int64_t capacityBytes) {
    return static_cast<double>(std::max<std::int64_t>(capacityBytes, 1)) * priorDriveWrites / 100.0;
}

std::optional<LifeForecast> LifeForecast::bootstrap(int used, std::uint64_t writtenBytes,
                                                    std::uint64_t powerOnHours,
                                                    std::int64_t capacityBytes) {
    if (writtenBytes == 0 || powerOnHours < minimumHours || used > 99) return std::nullopt;

    const double written = static_cast<double>(writtenBytes);
    const bool noWearYet = used < 1;
    const double bytesPerPercent =
        noWearYet ? priorBytesPerPercent(capacityBytes) : written / static_cast<double>(used);

    // Power-on time stands for wall-clock use: the pace is per powered day.
    const double pacePerDay = written / (static_cast<double>(powerOnHours) / 24.0);
    if (!(pacePerDay > 0)) return std::nullopt;

    const double usedShare = static_cast<double>(used);
    const double years = bytesPerPercent * (100.0 - usedShare) / pacePerDay / daysPerYear;
    // Few points of wear say little about the rate, so the range is wide then.
    const double spread = noWearYet ? 1.5 : 1.0 + 0.5 / usedShare;

    LifeForecast forecast;
    forecast.lowYears = years * 0.8 / spread;
    forecast.highYears = years * 1.25 * spread;
    forecast.confidence = Confidence::low;
    forecast.usesPrior = noWearYet;
    return forecast;
}

std::optional<LifeForecast> LifeForecast::bootstrap(const ATAReadings& readings,
                                                    std::int64_t capacityBytes) {
    if (!readings.life || !readings.writtenBytes || !readings.powerOnHours) return std::nullopt;
    return bootstrap(100 - *readings.life, *readings.writtenBytes, *readings.powerOnHours,
                     capacityBytes);
}

LifeForecast::Band LifeForecast::band(double lowYears, double highYears) {
    if (lowYears < 1.0 || highYears < 1.5) {
        const double lowMonths = lowYears * 12;
        const double highMonths = highYears * 12;
        if (highMonths < 1) return {Kind::underAMonth, 0, 0};
        const auto low = roundHalfAway(lowMonths);
        const auto high = roundHalfAway(highMonths);
        if (high >= 1 && low >= 1 && low < high) return {Kind::monthsRange, low, high};
        if (low >= 1)
            return low == 1 ? Band{Kind::aboutAMonth, 0, 0} : Band{Kind::aboutMonths, low, 0};
        const auto ceiling = static_cast<std::int64_t>(std::ceil(highMonths));
        return {Kind::underMonths, std::max<std::int64_t>(ceiling, 2), 0};
    }
    const auto low = roundHalfAway(lowYears);
    if (low > 19) return {Kind::over20, 0, 0};
    if (highYears >= 20.0) return {Kind::yearsToTwenty, low, 0};
    const auto high = roundHalfAway(highYears);
    if (low < high) return {Kind::yearsRange, low, high};
    return {Kind::aboutYears, low, 0};
}

std::string LifeForecast::text(const LifeForecast& forecast, const Locale& locale) {
    return say(forecast, Form::text, locale);
}
std::string LifeForecast::headline(const LifeForecast& forecast, const Locale& locale) {
    return say(forecast, Form::headline, locale);
}
std::string LifeForecast::leftPhrase(const LifeForecast& forecast, const Locale& locale) {
    return say(forecast, Form::leftPhrase, locale);
}
std::string LifeForecast::leftSentence(const LifeForecast& forecast, const Locale& locale) {
    return say(forecast, Form::leftSentence, locale);
}

namespace ConfidenceText {

std::string_view raw(LifeForecast::Confidence confidence) noexcept {
    switch (confidence) {
        case LifeForecast::Confidence::low:
            return "low";
        case LifeForecast::Confidence::medium:
            return "medium";
        case LifeForecast::Confidence::high:
            return "high";
    }
    return "low";
}

std::optional<LifeForecast::Confidence> parse(std::string_view raw) noexcept {
    if (raw == "low") return LifeForecast::Confidence::low;
    if (raw == "medium") return LifeForecast::Confidence::medium;
    if (raw == "high") return LifeForecast::Confidence::high;
    return std::nullopt;
}

}  // namespace ConfidenceText

}  // namespace drivekit
