#pragma once
// How the rows of a drive's health indicators are rated. A row's status is a finer view
// of the facts the health rules judge: a row can be rated while no finding exists (a
// drive at 70% used is `watch` here, though no rule fires below 90), and the other way
// round. The drive page and the health document both rate their rows here, so they
// agree; each words and formats its rows its own way. Pure functions.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivekit/health/ata_attribute.hpp"
#include "drivekit/health/nvme_health.hpp"
#include "drivekit/health/report.hpp"
#include "drivekit/health/self_test.hpp"
#include "drivekit/health/verdict.hpp"

namespace drivekit {

/// The status of one indicator row, from best to worst after the first: `info` is a row
/// that no rule rates.
enum class IndicatorStatus { info, ok, watch, warning, failing };

namespace IndicatorStatusText {
/// Stored form: "info", "ok", "watch", "warning", "failing".
std::string_view raw(IndicatorStatus status) noexcept;
std::optional<IndicatorStatus> parse(std::string_view raw) noexcept;
/// Localisation key of the word: "indicator.info", ...
std::string_view key(IndicatorStatus status) noexcept;
/// The word in the user's language: "Info", "OK", "Watch", "Warning", "Failing".
std::string label(IndicatorStatus status);
}  // namespace IndicatorStatusText

/// `healthy` and `unknown` are ok; `failing` and `failed` both failing.
IndicatorStatus indicatorStatus(Verdict verdict) noexcept;

namespace IndicatorRules {

// NVMe rows. `percentageUsed` is the drive's own figure, which can pass 100.

/// 100 less the percentage used, 0 past 100.
int nvmeLifeLeft(int percentageUsed) noexcept;
/// ok below 70% used, watch from 70 to 89, warning from 90 on.
IndicatorStatus nvmeLife(int percentageUsed) noexcept;
/// The spare rule with the drive's threshold and its spare alarm bit.
IndicatorStatus nvmeSpare(const NVMeHealth& health);
/// warning for any media or data integrity error.
IndicatorStatus nvmeMediaErrors(const NVMeHealth& health) noexcept;
/// The worst verdict of the critical-warning bits.
IndicatorStatus nvmeCriticalWarnings(const NVMeHealth& health);
/// watch while the drive's own temperature bit is set; the figure itself isn't rated.
IndicatorStatus nvmeTemperature(const NVMeHealth& health) noexcept;

// ATA rows.

/// The rating of an attribute by its own threshold: `failing` for a pre-failure
/// attribute whose value isn't above a real threshold (1 to 253), `warning` for another
/// such attribute, `healthy` otherwise.
Verdict attributeVerdict(const ATAAttribute& attribute) noexcept;

/// The rows an ATA reading can have, in the order they are shown.
enum class ATARow {
    lifeLeft,
    reallocatedSectors,
    reallocationEvents,
    pendingSectors,
    offlineUncorrectable,
    reportedUncorrectable,
    programFails,
    eraseFails,
    commandTimeouts,
    spinRetries,
    lastSelfTest,
    crcErrors,
    reservedSpace,
    dataWritten,
    temperature,
};

/// One row of an ATA reading with what rates it.
struct ATARowFacts {
    ATARow row = ATARow::lifeLeft;
    /// The figure shown: a percent, a count, bytes or degrees, by row. 0 for the
    /// self-test row, which shows `selfTest`. Counts past the signed range saturate.
    std::int64_t figure = 0;
    /// The self-test entry the self-test row shows.
    std::optional<SelfTest::Entry> selfTest;
    /// The attributes behind the row, present in the table; a failing one rates it.
    std::vector<std::uint8_t> ids;
    /// Whether a health rule judges the row's figure; rows without one only tell.
    bool hasRule = false;
    /// The rule's verdict on the figure; `healthy` when it holds or there is no rule.
    Verdict ruleVerdict = Verdict::healthy;
    /// The worst `attributeVerdict` of `ids`; `healthy` when none fails.
    Verdict attributeVerdict = Verdict::healthy;

    /// The worse of the two verdicts.
    Verdict worst() const noexcept { return std::max(ruleVerdict, attributeVerdict); }

    bool operator==(const ATARowFacts&) const = default;
};

/// The rows of an ATA report, each only when the reading has its figure, in `ATARow`
/// order. Empty without `ata` readings.
std::vector<ATARowFacts> ataRows(const HealthReport& report);

/// The attributes of the raw table, in table order, that are past their own threshold
/// and stand behind none of `shown`: each gets a row of its own after the others.
std::vector<ATAAttribute> attributesPastThreshold(const HealthReport& report,
                                                  const std::vector<ATARowFacts>& shown);

/// The self-test entry a report shows: the newest one that finished, else the newest.
std::optional<SelfTest::Entry> shownSelfTest(const std::vector<SelfTest::Entry>& newestFirst);

}  // namespace IndicatorRules

}  // namespace drivekit
