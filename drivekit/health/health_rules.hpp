#pragma once
// HealthRules: the fixed rules that turn one reading into a HealthReport. Pure functions
// of their arguments: no history, no state, callable from any thread. The order in which
// the rules run is part of the behaviour, since among equal verdicts the earliest finding
// is the one a drive is shown with.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivekit/core/local_format.hpp"
#include "drivekit/discovery/drive.hpp"
#include "drivekit/health/ata_attribute.hpp"
#include "drivekit/health/ata_identity.hpp"
#include "drivekit/health/nvme_health.hpp"
#include "drivekit/health/report.hpp"
#include "drivekit/health/verdict.hpp"

namespace drivekit::HealthRules {

/// Rates one NVMe log: the findings in rule order, the figures, the raw rows, the score
/// and the first forecast. Numbers in the messages are formatted for `locale`. Never fails.
HealthReport evaluate(const NVMeHealth& health, const Drive& drive, const Locale& locale);

/// Rates one ATA reading: the drive's IDENTIFY data when it was read, its attribute table,
/// the drive as discovery saw it, how the data was read (a `ReadingSource` text) and the
/// self-test log, newest first. The family of the drive picks which attributes count; the
/// findings come in rule order, then the score (absent without attributes, unless a failed
/// self-test sets it) and the first forecast. Never fails.
HealthReport evaluate(const std::optional<ATAIdentity>& identity,
                      const std::vector<ATAAttribute>& attributes, const Drive& drive,
                      const std::string& source, const std::vector<SelfTest::Entry>& selfTests,
                      const Locale& locale);

/// The newest self-test the drive finished: the first entry that isn't still running.
std::optional<SelfTest::Entry> latestFinishedSelfTest(const std::vector<SelfTest::Entry>& log);

/// The spare-capacity rule, shared by NVMe and ATA: `spare` percent left, the drive's
/// `threshold` percent if it gives one, and the drive's own spare `alarm`. A threshold
/// counts only from 1 to 89: drives that report a fixed 99% would otherwise flag every
/// healthy drive, so for them the alarm bit and the spare alone decide.
Verdict spare(int spare, std::optional<int> threshold, bool alarm);

/// The sentence for the spare rule's verdict; absent exactly when that verdict is `healthy`.
std::optional<std::string> spareMessage(int spare, std::optional<int> threshold, bool alarm,
                                        const Locale& locale);

/// The sentence for a percentage of rated write endurance used. NVMe counts saturate at
/// 255, so 255 reads "or more".
std::string wearMessage(int percentageUsed, const Locale& locale);

}  // namespace drivekit::HealthRules

namespace drivekit::SMARTStatusRules {

/// The pass/fail word of an NVMe drive from its critical-warning byte: `failing` when the
/// worst verdict of the set bits is above `watch`, `verified` otherwise.
SMARTStatus nvme(std::uint8_t criticalWarning);

}  // namespace drivekit::SMARTStatusRules
