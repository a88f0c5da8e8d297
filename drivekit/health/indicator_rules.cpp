#include "drivekit/health/indicator_rules.hpp"

#include <array>
#include <limits>
#include <set>
#include <utility>

#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/wording.hpp"

namespace drivekit {
namespace {

using IndicatorRules::ATARow;
using IndicatorRules::ATARowFacts;

struct StatusRow {
    IndicatorStatus status;
    std::string_view raw;
    std::string_view key;
    std::string_view english;
};

constexpr std::array<StatusRow, 5> kStatuses{{
    {IndicatorStatus::info, "info", "indicator.info", "Info"},
    {IndicatorStatus::ok, "ok", "indicator.ok", "OK"},
    {IndicatorStatus::watch, "watch", "indicator.watch", "Watch"},
    {IndicatorStatus::warning, "warning", "indicator.warning", "Warning"},
    {IndicatorStatus::failing, "failing", "indicator.failing", "Failing"},
}};

const StatusRow& rowOf(IndicatorStatus status) noexcept {
    for (const auto& row : kStatuses) {
        if (row.status == status) return row;
    }
    return kStatuses[0];
}

constexpr std::uint8_t kSpareAlarmBit = 0x01;
constexpr std::uint8_t kTemperatureBit = 0x02;

// Attribute ids behind the ATA rows that name a single attribute.
namespace Id {
constexpr std::uint8_t spinRetries = 10;
constexpr std::uint8_t programFails = 181;
constexpr std::uint8_t eraseFails = 182;
constexpr std::uint8_t reportedUncorrectable = 187;
constexpr std::uint8_t commandTimeouts = 188;
constexpr std::uint8_t reallocationEvents = 196;
constexpr std::uint8_t pending = 197;
constexpr std::uint8_t offlineUncorrectable = 198;
constexpr std::uint8_t crcErrors = 199;
constexpr std::uint8_t reallocated = 5;
}  // namespace Id

// The temperature from which a drive runs hot: flash tolerates more than a spinning disk.
constexpr int kHotSSD = 70;
constexpr int kHotOther = 55;

std::int64_t saturated(std::uint64_t count) noexcept {
    constexpr auto max = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return static_cast<std::int64_t>(std::min(count, max));
}

Verdict above0(std::uint64_t count, Verdict verdict) noexcept {
    return count > 0 ? verdict : Verdict::healthy;
}

// Builds the rows one by one against the report's attribute table.
class ATARowBuilder {
  public:
    explicit ATARowBuilder(const HealthReport& report)
        : table_(attributeTable(report.attributes)) {}

    ATARowFacts& add(ATARow row, std::int64_t figure, const std::vector<std::uint8_t>& ids,
                     bool hasRule, Verdict ruleVerdict) {
        ATARowFacts facts;
        facts.row = row;
        facts.figure = figure;
        facts.hasRule = hasRule;
        facts.ruleVerdict = ruleVerdict;
        for (const auto id : ids) {
            const auto it = table_.find(id);
            if (it == table_.end()) continue;
            facts.ids.push_back(id);
            facts.attributeVerdict =
                std::max(facts.attributeVerdict, IndicatorRules::attributeVerdict(it->second));
        }
        return rows_.emplace_back(std::move(facts));
    }

    const ATAAttribute* attribute(std::uint8_t id) const {
        const auto it = table_.find(id);
        return it == table_.end() ? nullptr : &it->second;
    }

    std::vector<ATARowFacts> take() { return std::move(rows_); }

  private:
    ATAAttributeTable table_;
    std::vector<ATARowFacts> rows_;
};

std::vector<std::uint8_t> idsOf(std::optional<std::uint8_t> id) {
    return id ? std::vector<std::uint8_t>{*id} : std::vector<std::uint8_t>{};
}

Verdict lifeVerdict(int life) noexcept {
    if (life < 11) return Verdict::warning;
    if (life <= 30) return Verdict::watch;
    return Verdict::healthy;
}

Verdict reallocatedVerdict(std::uint64_t count) noexcept {
    if (count > 10) return Verdict::warning;
    if (count >= 1) return Verdict::watch;
    return Verdict::healthy;
}

}  // namespace

namespace IndicatorStatusText {
std::string_view raw(IndicatorStatus status) noexcept {
    return rowOf(status).raw;
}
std::optional<IndicatorStatus> parse(std::string_view raw) noexcept {
    for (const auto& row : kStatuses) {
        if (row.raw == raw) return row.status;
    }
    return std::nullopt;
}
std::string_view key(IndicatorStatus status) noexcept {
    return rowOf(status).key;
}
// The catalogue holds English only so far.
std::string label(IndicatorStatus status) {
    return std::string(rowOf(status).english);
}
}  // namespace IndicatorStatusText

IndicatorStatus indicatorStatus(Verdict verdict) noexcept {
    switch (verdict) {
        case Verdict::healthy:
        case Verdict::unknown:
            return IndicatorStatus::ok;
        case Verdict::watch:
            return IndicatorStatus::watch;
        case Verdict::warning:
            return IndicatorStatus::warning;
        case Verdict::failing:
        case Verdict::failed:
            return IndicatorStatus::failing;
    }
    return IndicatorStatus::ok;
}

namespace IndicatorRules {

int nvmeLifeLeft(int percentageUsed) noexcept {
    return percentageUsed > 100 ? 0 : 100 - percentageUsed;
}

IndicatorStatus nvmeLife(int percentageUsed) noexcept {
    if (percentageUsed >= 90) return IndicatorStatus::warning;
    if (percentageUsed >= 70) return IndicatorStatus::watch;
    return IndicatorStatus::ok;
}

IndicatorStatus nvmeSpare(const NVMeHealth& health) {
    return indicatorStatus(HealthRules::spare(health.availableSpare, health.spareThreshold,
                                              (health.criticalWarning & kSpareAlarmBit) != 0));
}

IndicatorStatus nvmeMediaErrors(const NVMeHealth& health) noexcept {
    return health.mediaErrors > 0 ? IndicatorStatus::warning : IndicatorStatus::ok;
}

IndicatorStatus nvmeCriticalWarnings(const NVMeHealth& health) {
    return indicatorStatus(HealthRules::criticalWarning(health.criticalWarning));
}

IndicatorStatus nvmeTemperature(const NVMeHealth& health) noexcept {
    return (health.criticalWarning & kTemperatureBit) != 0 ? IndicatorStatus::watch
                                                           : IndicatorStatus::ok;
}

Verdict attributeVerdict(const ATAAttribute& attribute) noexcept {
    if (!attribute.isFailingNow()) return Verdict::healthy;
    return attribute.isPrefailure() ? Verdict::failing : Verdict::warning;
}

std::optional<SelfTest::Entry> shownSelfTest(const std::vector<SelfTest::Entry>& newestFirst) {
    for (const auto& entry : newestFirst) {
        if (entry.outcome != SelfTest::Outcome::inProgress) return entry;
    }
    if (newestFirst.empty()) return std::nullopt;
    return newestFirst.front();
}

std::vector<ATARowFacts> ataRows(const HealthReport& report) {
    if (!report.ata) return {};
    const ATAReadings& ata = *report.ata;
    ATARowBuilder rows(report);

    if (ata.life) {
        rows.add(ATARow::lifeLeft, *ata.life, ata.lifeAttributes, true, lifeVerdict(*ata.life));
    }
    if (ata.reallocated) {
        rows.add(ATARow::reallocatedSectors, saturated(*ata.reallocated), {Id::reallocated}, true,
                 reallocatedVerdict(*ata.reallocated));
    }
    if (const auto* events = rows.attribute(Id::reallocationEvents)) {
        rows.add(ATARow::reallocationEvents, saturated(events->raw), {Id::reallocationEvents},
                 false, Verdict::healthy);
    }
    if (ata.pending) {
        rows.add(ATARow::pendingSectors, saturated(*ata.pending), {Id::pending}, true,
                 ata.pendingVerdict());
    }
    if (ata.offlineUncorrectable) {
        rows.add(ATARow::offlineUncorrectable, saturated(*ata.offlineUncorrectable),
                 {Id::offlineUncorrectable}, true,
                 above0(*ata.offlineUncorrectable, Verdict::failing));
    }
    if (ata.reportedUncorrectable) {
        rows.add(ATARow::reportedUncorrectable, saturated(*ata.reportedUncorrectable),
                 {Id::reportedUncorrectable}, true,
                 above0(*ata.reportedUncorrectable, Verdict::warning));
    }
    if (const auto* fails = rows.attribute(Id::programFails)) {
        rows.add(ATARow::programFails, fails->rawLow(), {Id::programFails}, false,
                 Verdict::healthy);
    }
    if (const auto* fails = rows.attribute(Id::eraseFails)) {
        rows.add(ATARow::eraseFails, fails->rawLow(), {Id::eraseFails}, false, Verdict::healthy);
    }
    if (ata.commandTimeouts) {
        rows.add(ATARow::commandTimeouts, saturated(*ata.commandTimeouts), {Id::commandTimeouts},
                 true, above0(*ata.commandTimeouts, Verdict::watch));
    }
    if (ata.spinRetries) {
        rows.add(ATARow::spinRetries, saturated(*ata.spinRetries), {Id::spinRetries}, true,
                 above0(*ata.spinRetries, Verdict::warning));
    }
    if (auto entry = shownSelfTest(report.selfTests)) {
        const Verdict verdict =
            SelfTest::failed(entry->outcome) ? Verdict::failing : Verdict::healthy;
        rows.add(ATARow::lastSelfTest, 0, {}, true, verdict).selfTest = std::move(entry);
    }
    if (ata.crcErrors) {
        // A bad cable shows here, but no rule lets it rate the drive.
        rows.add(ATARow::crcErrors, saturated(*ata.crcErrors), {Id::crcErrors}, false,
                 Verdict::healthy);
    }
    if (ata.spare) {
        rows.add(ATARow::reservedSpace, *ata.spare, idsOf(ata.spareAttribute), true,
                 HealthRules::spare(*ata.spare, ata.spareThreshold, false));
    }
    if (ata.writtenBytes) {
        rows.add(ATARow::dataWritten, saturated(*ata.writtenBytes), {}, false, Verdict::healthy);
    }
    if (ata.temperatureC) {
        const int hot = ata.isSSD.value_or(false) ? kHotSSD : kHotOther;
        rows.add(ATARow::temperature, *ata.temperatureC, idsOf(ata.temperatureAttribute), true,
                 *ata.temperatureC >= hot ? Verdict::watch : Verdict::healthy);
    }
    return rows.take();
}

std::vector<ATAAttribute> attributesPastThreshold(const HealthReport& report,
                                                  const std::vector<ATARowFacts>& shown) {
    std::set<std::uint8_t> shownIds;
    for (const auto& row : shown) shownIds.insert(row.ids.begin(), row.ids.end());
    std::vector<ATAAttribute> past;
    for (const auto& attribute : report.attributes) {
        if (!attribute.isFailingNow() || shownIds.contains(attribute.id)) continue;
        // A page that lists an id twice gets one row for it.
        shownIds.insert(attribute.id);
        past.push_back(attribute);
    }
    return past;
}

}  // namespace IndicatorRules

}  // namespace drivekit
