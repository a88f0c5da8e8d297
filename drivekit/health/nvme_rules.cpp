// The NVMe rule set and the spare rule.
#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string_view>

#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/placeholders.hpp"
#include "drivekit/health/score.hpp"
#include "drivekit/health/wording.hpp"

namespace drivekit {
namespace {

using Signal = Finding::Signal;

/// Bytes one NVMe data unit stands for.
constexpr std::uint64_t kDataUnitBytes = 512'000;

namespace Bit {
constexpr std::uint8_t spareAlarm = 0x01;
constexpr std::uint8_t temperature = 0x02;
constexpr std::uint8_t readOnly = 0x08;
}  // namespace Bit

// A critical-warning bit that makes a finding of its own. Bits 6 and 7 are ignored.
struct BitRule {
    std::uint8_t bit;
    Verdict verdict;
    Signal signal;
    std::string_view message;
};

// Rules 1 to 4, in their order; the spare rule and the temperature bit follow them.
constexpr std::array<BitRule, 4> kDriveBitRules{{
    {0x08, Verdict::failed, Signal::drive, "The drive switched to read-only mode."},
    {0x04, Verdict::failing, Signal::drive, "The drive reports its reliability is degraded."},
    {0x10, Verdict::warning, Signal::drive,
     "The drive's power-loss backup has failed: a power cut could lose data it hasn't saved "
     "yet."},
    {0x20, Verdict::warning, Signal::drive,
     "The drive's persistent memory region has become read-only or unreliable."},
}};
constexpr BitRule kTemperatureRule{Bit::temperature, Verdict::watch, Signal::temp,
                                   "The drive is reporting a temperature warning."};

constexpr std::string_view kMediaErrors = "%lld uncorrected data errors recorded.";

// Wear at which rule 8 speaks, and where it turns from watch to warning.
constexpr int kWearWatch = 70;
constexpr int kWearWarning = 90;

struct SpareWording {
    static constexpr std::string_view watch = "Spare capacity has started to shrink (%@).";
    static constexpr std::string_view warning = "Spare capacity has dropped to %@.";
    static constexpr std::string_view failingNearThreshold =
        "Spare capacity is close to the critical threshold (%@).";
    static constexpr std::string_view failingNearlyUsedUp =
        "Spare capacity is nearly used up (%@).";
    static constexpr std::string_view failedAlarm =
        "The drive reports spare capacity below its critical threshold (%@).";
    static constexpr std::string_view failedNoneLeft = "The drive has no spare capacity left.";
    static constexpr std::string_view failedAtThreshold =
        "Spare capacity is at or below the critical threshold (%@).";
};

struct WearWording {
    static constexpr std::string_view capped =
        "Past its rated write endurance (%@ or more used). Many drives keep working, but plan a "
        "replacement.";
    static constexpr std::string_view past =
        "Past its rated write endurance (%@ used). Many drives keep working, but plan a "
        "replacement.";
    static constexpr std::string_view atLimit =
        "At or past its rated write endurance (%@ used). Many drives keep working, but plan a "
        "replacement.";
    static constexpr std::string_view used = "%@ of rated write endurance used.";
};

/// The threshold only when it can be trusted: 1 to 89.
std::optional<int> usableThreshold(std::optional<int> threshold) {
    if (threshold && *threshold >= 1 && *threshold <= 89) return threshold;
    return std::nullopt;
}

/// A 64-bit count shown as a signed one, held at the signed maximum.
std::int64_t asSigned(std::uint64_t count) {
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return static_cast<std::int64_t>(std::min(count, most));
}

}  // namespace

namespace HealthRules {

Verdict spare(int spare, std::optional<int> threshold, bool alarm) {
    const auto t = usableThreshold(threshold);
    if (alarm || spare < 1 || (t && spare <= *t)) return Verdict::failed;
    // Before the 90% test on purpose: with a usable threshold of 85, 90% is failing.
    if (spare < 10 || (t && spare <= *t + 5)) return Verdict::failing;
    if (spare >= 90) return Verdict::healthy;
    if (spare < 50) return Verdict::warning;
    if (t && spare <= *t + 20) return Verdict::warning;
    return Verdict::watch;
}

std::optional<std::string> spareMessage(int spare, std::optional<int> threshold, bool alarm,
                                        const Locale& locale) {
    const std::string percent = LocalFormat::percent(spare, locale);
    switch (HealthRules::spare(spare, threshold, alarm)) {
        case Verdict::healthy:
        case Verdict::unknown:
            return std::nullopt;
        case Verdict::watch:
            return fillPlaceholders(SpareWording::watch, {percent});
        case Verdict::warning:
            return fillPlaceholders(SpareWording::warning, {percent});
        case Verdict::failing:
            return fillPlaceholders(usableThreshold(threshold) ? SpareWording::failingNearThreshold
                                                               : SpareWording::failingNearlyUsedUp,
                                    {percent});
        case Verdict::failed:
            if (alarm) return fillPlaceholders(SpareWording::failedAlarm, {percent});
            if (spare <= 0) return std::string(SpareWording::failedNoneLeft);
            return fillPlaceholders(SpareWording::failedAtThreshold, {percent});
    }
    return std::nullopt;
}

std::string wearMessage(int percentageUsed, const Locale& locale) {
    if (percentageUsed >= 255) {
        return fillPlaceholders(WearWording::capped, {LocalFormat::percent(255, locale)});
    }
    const std::string percent = LocalFormat::percent(percentageUsed, locale);
    if (percentageUsed > 100) return fillPlaceholders(WearWording::past, {percent});
    if (percentageUsed == 100) return fillPlaceholders(WearWording::atLimit, {percent});
    return fillPlaceholders(WearWording::used, {percent});
}

HealthReport evaluate(const NVMeHealth& health, const Drive& drive, const Locale& locale) {
    const std::uint8_t warning = health.criticalWarning;
    const int used = health.percentageUsed;

    std::vector<Finding> findings;
    const auto add = [&findings](Verdict verdict, Signal signal, std::string message) {
        findings.push_back(Finding{verdict, std::move(message), signal});
    };

    for (const auto& rule : kDriveBitRules) {
        if (warning & rule.bit) add(rule.verdict, rule.signal, std::string(rule.message));
    }
    const bool alarm = (warning & Bit::spareAlarm) != 0;
    const Verdict spareVerdict = spare(health.availableSpare, health.spareThreshold, alarm);
    if (spareVerdict != Verdict::healthy) {
        add(spareVerdict, Signal::spare,
            spareMessage(health.availableSpare, health.spareThreshold, alarm, locale).value_or(""));
    }
    if (warning & kTemperatureRule.bit) {
        add(kTemperatureRule.verdict, kTemperatureRule.signal,
            std::string(kTemperatureRule.message));
    }
    // A single media error is already a warning: NVMe has no tier above it, on purpose.
    if (health.mediaErrors > 0) {
        add(Verdict::warning, Signal::errors,
            fillPlaceholders(kMediaErrors,
                             {LocalFormat::count(asSigned(health.mediaErrors), locale)}));
    }
    if (used >= kWearWatch) {
        add(used >= kWearWarning ? Verdict::warning : Verdict::watch, Signal::life,
            wearMessage(used, locale));
    }

    HealthReport report;
    report.drive = drive;
    report.source = ReadingSource::nvme();
    report.model = health.model.empty() ? drive.model : health.model;
    report.serial = health.serial;
    report.firmware = health.firmware;
    report.isSSD = true;
    report.lifeRemainingPercent = used <= 100 ? 100 - used : 0;
    report.temperatureC = health.temperatureC;
    report.powerOnHours = health.powerOnHours;
    report.dataWrittenBytes = health.dataUnitsWritten * kDataUnitBytes;  // wraps, by design
    report.findings = std::move(findings);
    report.details = healthDetails(health, locale);
    report.score = score(health);
    report.forecast = LifeForecast::bootstrap(used, *report.dataWrittenBytes, health.powerOnHours,
                                              drive.sizeBytes);
    report.isReadOnly = (warning & Bit::readOnly) != 0;
    return report;
}

}  // namespace HealthRules

namespace SMARTStatusRules {

SMARTStatus nvme(std::uint8_t criticalWarning) {
    return HealthRules::criticalWarning(criticalWarning) > Verdict::watch ? SMARTStatus::failing
                                                                          : SMARTStatus::verified;
}

}  // namespace SMARTStatusRules

}  // namespace drivekit
