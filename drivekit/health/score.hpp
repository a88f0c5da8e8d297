#pragma once
// The health score: one number from 0 to 100 for people, not a verdict. It starts from
// the life the drive has left, can't be higher than its spare capacity, and drops for
// errors; the drive's own warnings cap it. The tier comes from the rules alone, so a
// drive with half its life left and no problems scores 50 and stays healthy.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivekit/core/local_format.hpp"
#include "drivekit/discovery/drive.hpp"
#include "drivekit/health/ata_readings.hpp"
#include "drivekit/health/nvme_health.hpp"
#include "drivekit/health/report.hpp"

namespace drivekit::HealthRules {

/// The score of an NVMe log, 0 to 100.
int score(const NVMeHealth& health);

/// The score of an ATA reading, 0 to 100: life left (100 when the drive doesn't say), no
/// higher than the spare, less for replaced sectors, uncorrectable errors and spin-up
/// retries, capped for pending and unreadable sectors and at 20 once an attribute is past
/// its threshold or the spare is at its critical level. A failed self-test caps it further
/// in the rules, which see the log.
int score(const ATAReadings& readings);

}  // namespace drivekit::HealthRules

namespace drivekit::ReadoutText {

/// One row of the score breakdown.
struct Step {
    std::string label;
    std::string value;

    bool operator==(const Step&) const = default;
};

/// The figures of a drive summary that the breakdown retells.
struct ScoreFacts {
    /// An ATA drive, or any drive over USB: its problems are told as "problems the drive
    /// reports", not in the NVMe form.
    bool isUSB = false;
    std::optional<int> lifeUsed;
    std::optional<int> lifeLeft;
    std::optional<int> spare;
    std::optional<std::uint64_t> dataErrors;
    /// The score shown, after history.
    std::optional<int> score;
    /// The score as the reading gave it, before history; absent when no history rule ran.
    std::optional<int> ownScore;
    SMARTStatus smartStatus = SMARTStatus::notSupported;

    bool operator==(const ScoreFacts&) const = default;
};

/// The facts of an NVMe reading and the report the rules made of it, before history.
ScoreFacts scoreFacts(const NVMeHealth& health, const HealthReport& report);

/// The facts of an ATA report (one that carries `ata` readings) and the drive's own
/// pass/fail status, before history. A report without readings tells only its score.
ScoreFacts scoreFacts(const HealthReport& report, SMARTStatus smartStatus);

/// The sentence over the breakdown: where the score starts and what lowers it.
std::string scoreExplanation(const ScoreFacts& facts);

/// The rows of the breakdown. They retell the arithmetic in words; they don't feed it.
/// The rows for history findings come separately.
std::vector<Step> scoreSteps(const ScoreFacts& facts, const Locale& locale);

}  // namespace drivekit::ReadoutText
