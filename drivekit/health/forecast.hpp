#pragma once
// How many years of rated write endurance a drive has left at the rate it is written to.
// An estimate of rated life, not a failure date. The first forecast comes from one
// reading's lifetime averages (`bootstrap`); a sharper one from stored readings replaces
// it in the application once enough history exists.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "drivekit/core/local_format.hpp"
#include "drivekit/health/ata_readings.hpp"

namespace drivekit {

struct LifeForecast {
    /// Stored as "low", "medium", "high", in that order.
    enum class Confidence { low, medium, high };

    double lowYears = 0;
    double highYears = 0;
    Confidence confidence = Confidence::low;
    /// The drive has reported no wear yet, so its wear rate is assumed, not measured.
    bool usesPrior = false;

    /// Power-on hours below which no forecast is made.
    static constexpr std::uint64_t minimumHours = 720;
    /// Assumed rated endurance of a drive that reports no wear, in full drive writes.
    static constexpr double priorDriveWrites = 600;
    static constexpr double daysPerYear = 365.0;
    /// Shortest history that gives a pace, and the pace length from which the range
    /// narrows; used by the forecast from stored readings.
    static constexpr double minimumPaceDays = 14.0;
    static constexpr double longPaceDays = 60.0;

    /// The first forecast from one reading: `used` percent of life used, lifetime bytes
    /// written, power-on hours and capacity. Nothing with no bytes written, under
    /// `minimumHours` of power-on time, or with more than 99% used. Confidence is `low`.
    static std::optional<LifeForecast> bootstrap(int used, std::uint64_t writtenBytes,
                                                 std::uint64_t powerOnHours,
                                                 std::int64_t capacityBytes);

    /// The first forecast of an ATA drive: `used` is 100 minus its life left. Nothing when
    /// the drive doesn't report its life, its bytes written or its power-on hours.
    static std::optional<LifeForecast> bootstrap(const ATAReadings& readings,
                                                 std::int64_t capacityBytes);

    /// Bytes one percent of life stands for when the drive has reported no wear: the
    /// prior endurance spread over 100 percent. A capacity of 0 counts as 1 byte.
    static double priorBytesPerPercent(std::int64_t capacityBytes);

    /// A forecast reduced to what the wording says: a kind and up to two whole numbers.
    struct Band {
        enum class Kind {
            yearsRange,     // first–second years
            aboutYears,     // about first years
            yearsToTwenty,  // first–20+ years
            over20,         // 20+ years; no numbers
            monthsRange,    // first–second months
            aboutMonths,    // about first months
            underMonths,    // under first months
            aboutAMonth,    // no numbers
            underAMonth,    // no numbers
        };
        Kind kind = Kind::underAMonth;
        std::int64_t first = 0;
        std::int64_t second = 0;

        bool operator==(const Band&) const = default;
    };

    static Band band(double lowYears, double highYears);

    /// Mid-sentence: "5–9 years", "about 4 years", "under a month".
    static std::string text(const LifeForecast& forecast, const Locale& locale);
    /// For the start of a line: "About 4 years", "5–9 years".
    static std::string headline(const LifeForecast& forecast, const Locale& locale);
    /// "5–9 years left", "more than 20 years left".
    static std::string leftPhrase(const LifeForecast& forecast, const Locale& locale);
    /// "5–9 years left at your current usage."
    static std::string leftSentence(const LifeForecast& forecast, const Locale& locale);

    bool operator==(const LifeForecast&) const = default;
};

namespace ConfidenceText {
std::string_view raw(LifeForecast::Confidence confidence) noexcept;
std::optional<LifeForecast::Confidence> parse(std::string_view raw) noexcept;
}  // namespace ConfidenceText

}  // namespace drivekit
