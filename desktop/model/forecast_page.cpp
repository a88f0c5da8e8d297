#include "desktop/model/forecast_page.hpp"

#include <algorithm>
#include <cmath>

#include "desktop/model/page_wording.hpp"

namespace desktop {

namespace {

using drivekit::LifeForecast;

std::string confidenceLabel(LifeForecast::Confidence confidence) {
    switch (confidence) {
        case LifeForecast::Confidence::low: return std::string(Wording::lowConfidence);
        case LifeForecast::Confidence::medium: return std::string(Wording::mediumConfidence);
        case LifeForecast::Confidence::high: return std::string(Wording::highConfidence);
    }
    return {};
}

long long rounded(double value) { return std::llround(value); }

}  // namespace

std::optional<long long> paceDays(std::span<const app::Reading> readings) {
    const app::Reading* first = nullptr;
    const app::Reading* last = nullptr;
    for (const auto& reading : readings) {
        if (!reading.writtenBytes) continue;
        if (first == nullptr) first = &reading;
        last = &reading;
    }
    if (first == nullptr || *last->writtenBytes <= *first->writtenBytes) return std::nullopt;
    const double days = std::chrono::duration<double>(last->date - first->date).count() / 86400.0;
    if (days < LifeForecast::minimumPaceDays) return std::nullopt;
    return static_cast<long long>(std::floor(days));
}

ForecastView forecastPage(const app::DriveSummary& drive, std::span<const app::Reading> readings,
                          drivekit::json::SystemTime now, const drivekit::Locale& locale) {
    ForecastView page;
    page.forecast = drive.forecast;
    const auto pace = paceDays(readings);
    if (const auto& forecast = drive.forecast) {
        page.headline = LifeForecast::headline(*forecast, locale);
        if (forecast->usesPrior) {
            page.content = pace ? Wording::fill(Wording::withPriorAndPace, {}, *pace, locale) : std::string(Wording::withPrior);
        } else if (forecast->confidence == LifeForecast::Confidence::low && !pace) {
            page.content = std::string(Wording::lowNoPrior);
        } else if (pace) {
            page.content = Wording::fill(Wording::fromPace, {}, *pace, locale);
        } else {
            page.content = std::string(Wording::fromRecent);
        }
        const auto count = static_cast<long long>(readings.size());
        page.confidence = Wording::fill(count == 1 ? Wording::confidenceOne : Wording::confidence,
                                        {confidenceLabel(forecast->confidence)}, count, locale);
    } else {
        page.headline = std::string(Wording::noForecast);
        if (!drive.lifeUsed && !drive.lifeLeft) {
            page.content = std::string(Wording::noWear);
        } else if (drive.lifeUsed.value_or(100 - drive.lifeLeft.value_or(0)) >= 100) {
            page.content = std::string(Wording::usedUp);
        } else {
            page.content = std::string(Wording::needsWrites);
        }
    }
    page.points = app::ForecastHistory::points(readings, true, now);
    return page;
}

WhatIf whatIf(const LifeForecast& forecast, int percent, const drivekit::Locale& locale) {
    WhatIf answer;
    answer.percent = std::clamp(percent / kWhatIfStep * kWhatIfStep, 0, kWhatIfMax);
    const double g = answer.percent / 100.0;
    const double stretch = 1.0 / (1.0 - g);
    answer.lowYears = forecast.lowYears * stretch;
    answer.highYears = forecast.highYears * stretch;
    LifeForecast scaled = forecast;
    scaled.lowYears = answer.lowYears;
    scaled.highYears = answer.highYears;
    answer.headline = LifeForecast::headline(scaled, locale);
    const std::string share = drivekit::LocalFormat::percent(answer.percent, locale);
    answer.label = g < 0.005 ? std::string(Wording::atCurrentUsage) : Wording::fill(Wording::ifYouWriteLess, {share});
    const double gain = (forecast.lowYears + forecast.highYears) * 0.5 * (stretch - 1.0);
    const bool years = gain >= 1.5;
    if (answer.percent == 0) {
        answer.gain = std::string(Wording::todaysPace);
    } else {
        answer.gain = Wording::fill(years ? Wording::gainYears : Wording::gainMonths, {},
                                    years ? rounded(gain) : rounded(gain * 12), locale);
    }
    if (answer.percent < 1) {
        answer.sentence = std::string(Wording::keepWriting);
    } else {
        answer.sentence = Wording::fill(years ? Wording::gainSentenceYears : Wording::gainSentenceMonths, {share},
                                        years ? rounded(gain) : rounded(gain * 12), locale);
    }
    return answer;
}

}  // namespace desktop
