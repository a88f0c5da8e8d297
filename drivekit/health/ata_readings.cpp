#include "drivekit/health/ata_readings.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace drivekit {
namespace {

namespace id {
constexpr std::uint8_t reallocated = 5;
constexpr std::uint8_t powerOnHours = 9;
constexpr std::uint8_t spinRetries = 10;
constexpr std::uint8_t averageErase = 167;
constexpr std::uint8_t ratedErase = 168;
constexpr std::uint8_t wearLeveling = 173;
constexpr std::uint8_t reportedUncorrectable = 187;
constexpr std::uint8_t commandTimeouts = 188;
constexpr std::uint8_t airflowTemperature = 190;
constexpr std::uint8_t temperature = 194;
constexpr std::uint8_t pending = 197;
constexpr std::uint8_t offlineUncorrectable = 198;
constexpr std::uint8_t crcErrors = 199;
constexpr std::uint8_t totalWritten = 241;
}  // namespace id

constexpr std::uint64_t low8 = 0xFF;
constexpr std::uint64_t low16 = 0xFFFF;
constexpr std::uint64_t low24 = 0xFF'FFFF;
constexpr std::uint64_t low32 = 0xFFFF'FFFF;

// A rated erase count this small is a placeholder, not a rating.
constexpr std::uint32_t smallestRatedErases = 100;

struct Counter {
    std::uint8_t id;
    std::uint64_t mask;
    std::optional<std::uint64_t> ATAReadings::*field;
};
// Drives put vendor bytes (worst values, minimum and maximum) above the count in many
// raw fields; each counter is read at the width that holds only the count.
constexpr std::array<Counter, 7> kCounters{{
    {id::reallocated, low16, &ATAReadings::reallocated},
    {id::pending, low32, &ATAReadings::pending},
    {id::offlineUncorrectable, low32, &ATAReadings::offlineUncorrectable},
    {id::reportedUncorrectable, low32, &ATAReadings::reportedUncorrectable},
    {id::commandTimeouts, low16, &ATAReadings::commandTimeouts},
    {id::crcErrors, low32, &ATAReadings::crcErrors},
    {id::powerOnHours, low24, &ATAReadings::powerOnHours},
}};

// Units a written-data counter is seen in, in order of preference on equal fit.
constexpr std::array<std::uint64_t, 3> kCandidateUnits{512, 33'554'432, 1'073'741'824};
constexpr double smallestRatio = 0.9;
constexpr double largestRatio = 25.0;
constexpr double typicalAmplification = 2.5;

const ATAAttribute* find(const ATAAttributeTable& table, std::uint8_t attributeId) {
    const auto it = table.find(attributeId);
    return it == table.end() ? nullptr : &it->second;
}

std::uint64_t saturatingProduct(std::uint64_t a, std::uint64_t b) {
    std::uint64_t product = 0;
    if (__builtin_mul_overflow(a, b, &product)) return std::numeric_limits<std::uint64_t>::max();
    return product;
}

// The first id of `ids` the table holds.
const ATAAttribute* firstPresent(const ATAAttributeTable& table,
                                 const std::vector<std::uint8_t>& ids) {
    for (const std::uint8_t candidate : ids) {
        if (const ATAAttribute* a = find(table, candidate)) return a;
    }
    return nullptr;
}

void readLife(ATAReadings& r, const ATAAttributeTable& table) {
    if (const ATAAttribute* a = firstPresent(table, r.family.life)) {
        // The normalised value is the percentage; above 100 it is something else.
        if (a->value <= 100) r.life = a->value;
        r.lifeAttributes.push_back(a->id);
    }

    if (!r.family.eraseCounts) return;
    const ATAAttribute* average = find(table, id::averageErase);
    const ATAAttribute* rated = find(table, id::ratedErase);
    if (average == nullptr || rated == nullptr) return;
    const std::uint32_t averageCount = average->rawLow();
    const std::uint32_t ratedCount = rated->rawLow();
    if (ratedCount < smallestRatedErases) return;

    const double left = 100.0 - static_cast<double>(averageCount) / ratedCount * 100.0;
    const int fromErases = static_cast<int>(std::floor(std::max(left, 0.0)));
    r.life = r.life ? std::min(*r.life, fromErases) : fromErases;
    r.lifeAttributes.push_back(id::averageErase);
    r.lifeAttributes.push_back(id::ratedErase);
}

void readSpare(ATAReadings& r, const ATAAttributeTable& table) {
    const ATAAttribute* a = firstPresent(table, r.family.spare);
    if (a == nullptr) return;
    r.spare = std::min<int>(a->value, 100);
    if (a->threshold != 0 && a->threshold <= 253) r.spareThreshold = a->threshold;
    r.spareAttribute = a->id;
}

void readTemperature(ATAReadings& r, const ATAAttributeTable& table) {
    const ATAAttribute* a = find(table, id::temperature);
    if (a == nullptr) a = find(table, id::airflowTemperature);
    if (a == nullptr) return;
    // 0 °C means no sensor behind the attribute. 190 is only the stand-in for a missing
    // 194, not a second opinion, so it isn't asked then either.
    const auto celsius = static_cast<int>(a->raw & low8);
    if (celsius == 0) return;
    r.temperatureC = celsius;
    r.temperatureAttribute = a->id;
}

}  // namespace

ATAReadings ATAReadings::make(const std::vector<ATAAttribute>& attributes, std::string_view model,
                              std::optional<std::string_view> firmware, std::optional<bool> isSSD,
                              std::int64_t capacity) {
    ATAReadings r;
    ATAAttributeTable table = attributeTable(attributes);
    r.family = familyFor(model, firmware, table, isSSD);
    r.isSSD = isSSD;
    // Judged on every row: a drive that says an ignored attribute is failing still says so.
    for (const auto& a : attributes) r.anyFailingNow = r.anyFailingNow || a.isFailingNow();

    for (const std::uint8_t ignored : r.family.ignored) table.erase(ignored);

    readLife(r, table);
    readSpare(r, table);
    for (const Counter& c : kCounters) {
        if (const ATAAttribute* a = find(table, c.id)) r.*c.field = a->raw & c.mask;
    }
    if (isSSD != true) {
        if (const ATAAttribute* a = find(table, id::spinRetries)) r.spinRetries = a->raw & low32;
    }
    readTemperature(r, table);
    r.writtenBytes = writtenBytesEstimate(table, r.family, capacity);
    return r;
}

std::optional<std::uint64_t> ATAReadings::writtenBytesEstimate(const ATAAttributeTable& table,
                                                               const ATAFamily& family,
                                                               std::int64_t capacity) {
    const std::uint8_t writtenId = family.written ? family.written->id : id::totalWritten;
    const ATAAttribute* written = find(table, writtenId);
    if (written == nullptr || written->raw == 0) return std::nullopt;
    const std::uint64_t raw = written->raw;
    if (family.written) return saturatingProduct(raw, family.written->unit);

    const std::uint64_t plain = saturatingProduct(raw, 512);
    const ATAAttribute* erase = firstPresent(table, family.averageErase);
    if (erase == nullptr) return plain;
    std::uint32_t erases = erase->rawLow();
    // Some controllers keep minimum and average in one field; the average is the high half.
    if (erase->id == id::wearLeveling && erases > 0xFFFF) erases >>= 16;
    if (erases == 0 || capacity < 1) return plain;

    // The flash has written about capacity × erases; with a typical write amplification
    // the host wrote about 1/2.5 of that. The unit that comes closest is the one.
    const double flashWritten = static_cast<double>(capacity) * erases;
    std::optional<std::uint64_t> bestUnit;
    double bestScore = 0;
    for (const std::uint64_t unit : kCandidateUnits) {
        const double ratio =
            flashWritten / (static_cast<double>(raw) * static_cast<double>(unit));
        if (ratio < smallestRatio || ratio > largestRatio) continue;
        const double score = std::fabs(std::log(ratio / typicalAmplification));
        if (!bestUnit || score < bestScore) {
            bestUnit = unit;
            bestScore = score;
        }
    }
    return bestUnit ? saturatingProduct(raw, *bestUnit) : plain;
}

std::optional<std::uint64_t> ATAReadings::dataErrors() const {
    if (!offlineUncorrectable && !reportedUncorrectable) return std::nullopt;
    return offlineUncorrectable.value_or(0) + reportedUncorrectable.value_or(0);
}

Verdict ATAReadings::spareVerdict() const {
    if (!spare) return Verdict::healthy;
    const int left = *spare;
    // A threshold of 90 or more would call a nearly new drive failing; such a drive's
    // threshold says nothing usable.
    const std::optional<int> t =
        spareThreshold && *spareThreshold >= 1 && *spareThreshold <= 89 ? spareThreshold
                                                                         : std::nullopt;
    if (left < 1 || (t && left <= *t)) return Verdict::failed;
    if (left < 10 || (t && left <= *t + 5)) return Verdict::failing;
    if (left > 89) return Verdict::healthy;
    if (left < 50 || (t && left <= *t + 20)) return Verdict::warning;
    return Verdict::watch;
}

Verdict ATAReadings::pendingVerdict() const {
    if (!pending) return Verdict::healthy;
    return *pending > family.pendingNoise ? Verdict::warning : Verdict::healthy;
}

}  // namespace drivekit
