#include "drivekit/health/score.hpp"

#include <algorithm>
#include <string_view>

#include "drivekit/core/rounding.hpp"
#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/placeholders.hpp"

namespace drivekit {
namespace {

// Critical-warning bits that cap the score: spare alarm, reliability and read-only at 10;
// power-loss backup and persistent memory at 50. The temperature bit costs 10 points.
constexpr std::uint8_t kCapAt10 = 0x0D;
constexpr std::uint8_t kCapAt50 = 0x30;
constexpr std::uint8_t kTemperature = 0x02;

/// Points a count of data errors costs: 10 for one, 5 more for each further one, 40 at most.
double errorPenalty(std::uint64_t errors) {
    return std::min(static_cast<double>(errors - 1) * 5.0 + 10.0, 40.0);
}

struct StepWording {
    static constexpr std::string_view lifeNotReported = "Life left: not reported";
    static constexpr std::string_view lifeLeft = "Life left";
    static constexpr std::string_view spareCounts = "Spare capacity %@: the lower value counts";
    static constexpr std::string_view spare = "Spare capacity %@";
    static constexpr std::string_view usbDataErrors =
        "Data errors (%@) and other problems the drive reports";
    static constexpr std::string_view usbOtherProblems = "Other problems the drive reports";
    static constexpr std::string_view dataErrors = "Data errors: %@";
    static constexpr std::string_view driveWarnings = "Warnings the drive raised";
    static constexpr std::string_view spareCritical = "Spare at the drive's critical level";
    static constexpr std::string_view cappedAt = "capped at %@";
    static constexpr std::string_view noChange = "no change";
    static constexpr std::string_view notReported = "—";
    static constexpr std::string_view minus = "−";  // U+2212
};

struct ExplanationWording {
    static constexpr std::string_view lifeErrors =
        "Starts from the life the drive has left, can't be higher than its spare capacity, and "
        "drops for errors.";
    static constexpr std::string_view lifeProblems =
        "Starts from the life the drive has left, can't be higher than its spare capacity, and "
        "drops for problems the drive reports.";
    static constexpr std::string_view noLifeErrors =
        "This drive doesn’t report its life, so the score starts from 100, can't be higher than "
        "its spare capacity, and drops for errors.";
    static constexpr std::string_view noLifeProblems =
        "This drive doesn’t report its life, so the score starts from 100, can't be higher than "
        "its spare capacity, and drops for problems the drive reports.";
};

}  // namespace

namespace HealthRules {

int score(const NVMeHealth& health) {
    const int used = health.percentageUsed;
    const double spareLeft = health.availableSpare;
    const std::uint8_t warning = health.criticalWarning;

    double value = 0;
    if (used <= 100) {
        const double life = 100.0 - used;
        value = (spareLeft < life && spareLeft < 100.0) ? spareLeft : life;
    }
    if (health.mediaErrors > 0) value -= errorPenalty(health.mediaErrors);

    if (value >= 100) {
        value = (warning & kCapAt10) ? 10 : (warning & kCapAt50) ? 50 : 100;
    } else if (value < 0) {
        value = 0;
    } else if (value > 10 && (warning & kCapAt10)) {
        value = 10;
    } else if (value > 50 && (warning & kCapAt50)) {
        value = 50;
    }

    // The alarm bit is left out here: its cap is already applied above.
    const Verdict spareVerdict = spare(health.availableSpare, health.spareThreshold, false);
    if (spareVerdict == Verdict::failed && value > 20) {
        value = (warning & kTemperature) ? 10 : 20;
    } else if (warning & kTemperature) {
        value = std::max(value - 10, 0.0);
    }
    return static_cast<int>(roundHalfAway(value));
}

int score(const ATAReadings& readings) {
    double value = readings.life ? *readings.life : 100.0;
    if (readings.spare && *readings.spare < 100 && *readings.spare < value) value = *readings.spare;

    if (readings.reallocated) {
        value -= std::min(static_cast<double>(*readings.reallocated) * 0.5, 30.0);
    }
    if (readings.reportedUncorrectable && *readings.reportedUncorrectable != 0) {
        value -= std::min(static_cast<double>(*readings.reportedUncorrectable) + 10.0, 30.0);
    }
    // Sectors that can't be read cap the score rather than lower it: one is already bad news.
    if (readings.pending && *readings.pending > readings.family.pendingNoise) {
        value = std::min(value, 50.0);
    }
    if (readings.offlineUncorrectable && *readings.offlineUncorrectable != 0) {
        value = std::min(value, 30.0);
    }
    if (readings.spinRetries && *readings.spinRetries != 0) value -= 10;

    const bool atThreshold =
        readings.anyFailingNow || (readings.spare && spare(*readings.spare, readings.spareThreshold,
                                                           false) == Verdict::failed);
    if (atThreshold && value > 20) {
        value = 20;
    } else {
        value = std::clamp(value, 0.0, 100.0);
    }
    return static_cast<int>(roundHalfAway(value));
}

}  // namespace HealthRules

namespace ReadoutText {

ScoreFacts scoreFacts(const NVMeHealth& health, const HealthReport& report) {
    ScoreFacts facts;
    facts.isUSB = report.drive.transport == Transport::usb;
    facts.lifeUsed = health.percentageUsed;
    facts.lifeLeft = report.lifeRemainingPercent;
    facts.spare = health.availableSpare;
    facts.dataErrors = health.mediaErrors;
    facts.score = report.score;
    facts.smartStatus = SMARTStatusRules::nvme(health.criticalWarning);
    return facts;
}

ScoreFacts scoreFacts(const HealthReport& report, SMARTStatus smartStatus) {
    ScoreFacts facts;
    // Every ATA drive's score comes from what the drive reports, internal SATA as much as
    // a USB enclosure: the rows tell it that way, not in the NVMe form.
    facts.isUSB = true;
    facts.score = report.score;
    facts.smartStatus = smartStatus;
    if (!report.ata) return facts;
    facts.lifeLeft = report.ata->life;
    facts.spare = report.ata->spare;
    facts.dataErrors = report.ata->dataErrors();
    return facts;
}

std::string scoreExplanation(const ScoreFacts& facts) {
    const bool lifeKnown = facts.lifeUsed.has_value() || facts.lifeLeft.has_value();
    if (lifeKnown) {
        return std::string(facts.isUSB ? ExplanationWording::lifeProblems
                                       : ExplanationWording::lifeErrors);
    }
    return std::string(facts.isUSB ? ExplanationWording::noLifeProblems
                                   : ExplanationWording::noLifeErrors);
}

std::vector<Step> scoreSteps(const ScoreFacts& facts, const Locale& locale) {
    const auto number = [&locale](std::int64_t value) { return LocalFormat::count(value, locale); };
    const auto minus = [&number](std::int64_t value) {
        return std::string(StepWording::minus) + number(value);
    };
    const std::string noChange(StepWording::noChange);
    const std::optional<int> own = facts.ownScore ? facts.ownScore : facts.score;

    std::vector<Step> steps;
    std::int64_t running = 100;
    if (!facts.lifeUsed && !facts.lifeLeft) {
        steps.push_back(
            {std::string(StepWording::lifeNotReported), std::string(StepWording::notReported)});
    } else {
        running = facts.lifeUsed ? 100 - std::int64_t{*facts.lifeUsed} : *facts.lifeLeft;
        running = std::clamp<std::int64_t>(running, 0, 100);
        steps.push_back({std::string(StepWording::lifeLeft), number(running)});
    }

    if (facts.spare) {
        const std::string percent = LocalFormat::percent(*facts.spare, locale);
        if (*facts.spare <= 99 && *facts.spare < running) {
            steps.push_back(
                {fillPlaceholders(StepWording::spareCounts, {percent}), number(*facts.spare)});
            running = *facts.spare;
        } else {
            steps.push_back({fillPlaceholders(StepWording::spare, {percent}), noChange});
        }
    }

    if (facts.isUSB) {
        // A USB drive's own problems are told as one difference, whatever made it.
        const std::uint64_t errors = facts.dataErrors.value_or(0);
        const std::string count = LocalFormat::count(errors, locale);
        if (own && *own < running) {
            steps.push_back({errors > 0 ? fillPlaceholders(StepWording::usbDataErrors, {count})
                                        : std::string(StepWording::usbOtherProblems),
                             minus(running - *own)});
        } else if (errors > 0) {
            steps.push_back({fillPlaceholders(StepWording::dataErrors, {count}), noChange});
        }
        return steps;
    }

    if (facts.dataErrors) {
        const std::uint64_t errors = *facts.dataErrors;
        const std::string count = LocalFormat::count(errors, locale);
        if (errors > 0) {
            const auto penalty = static_cast<std::int64_t>(errorPenalty(errors));
            steps.push_back({fillPlaceholders(StepWording::dataErrors, {count}), minus(penalty)});
            running -= penalty;
        } else {
            steps.push_back({fillPlaceholders(StepWording::dataErrors, {count}), noChange});
        }
    }

    if (own && *own < running) {
        if (facts.smartStatus == SMARTStatus::failing) {
            steps.push_back({std::string(StepWording::driveWarnings), minus(running - *own)});
        } else {
            steps.push_back({std::string(StepWording::spareCritical),
                             fillPlaceholders(StepWording::cappedAt, {number(*own)})});
        }
    }
    return steps;
}

}  // namespace ReadoutText

}  // namespace drivekit
