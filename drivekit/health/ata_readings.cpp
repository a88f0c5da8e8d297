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
    // A count of sectors or of errors on them: never more than the drive has sectors.
    bool boundedBySectors;
};
// Drives put vendor bytes (worst values, minimum and maximum) above the count in many
// raw fields; each counter is read at the width that holds only the count.
constexpr std::array<Counter, 6> kCounters{{
    {id::reallocated, low16, &ATAReadings::reallocated, false},
    {id::pending, low32, &ATAReadings::pending, true},
    {id::offlineUncorrectable, low32, &ATAReadings::offlineUncorrectable, true},
    {id::reportedUncorrectable, low32, &ATAReadings::reportedUncorrectable, true},
    {id::commandTimeouts, low16, &ATAReadings::commandTimeouts, false},
    {id::crcErrors, low32, &ATAReadings::crcErrors, false},
}};

// Bad-block attributes whose normalized value falls toward the threshold as spare blocks
// are used up: a spare signal on any drive that has one, whatever its family reads.
constexpr std::array<std::uint8_t, 1> kBadBlockIds{170};

// How far apart a life figure and every other wear figure must be before the life figure
// is taken to mean something else: a drive's counters never disagree by half its life.
constexpr int kLifeContradiction = 50;

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

// Life as the life attribute's normalized value and as the erase counts give it, apart,
// so that the plausibility check can weigh one against the other.
struct LifeFigures {
    const ATAAttribute* attribute = nullptr;
    std::optional<int> normalized;
    std::optional<int> fromErases;
};

bool contains(const std::vector<std::uint8_t>& ids, std::uint8_t wanted) {
    return std::find(ids.begin(), ids.end(), wanted) != ids.end();
}

std::optional<int> lifeFromEraseCounts(const ATAAttributeTable& table) {
    const ATAAttribute* average = find(table, id::averageErase);
    const ATAAttribute* rated = find(table, id::ratedErase);
    if (average == nullptr || rated == nullptr) return std::nullopt;
    const std::uint32_t averageCount = average->rawLow();
    const std::uint32_t ratedCount = rated->rawLow();
    if (ratedCount < smallestRatedErases) return std::nullopt;
    const double left = 100.0 - static_cast<double>(averageCount) / ratedCount * 100.0;
    return static_cast<int>(std::floor(std::max(left, 0.0)));
}

LifeFigures readLife(ATAReadings& r, const ATAAttributeTable& table, const ATAQuirks& quirks) {
    LifeFigures figures;
    std::vector<std::uint8_t> ids;
    if (quirks.lifeId) ids.push_back(*quirks.lifeId);
    for (const std::uint8_t candidate : r.family.life) {
        if (!contains(quirks.lifeNotPercent, candidate)) {
            if (!contains(ids, candidate)) ids.push_back(candidate);
        } else if (find(table, candidate) != nullptr) {
            r.notes.push_back({ATANote::Kind::lifeNotPercent, candidate});
        }
    }
    if (const ATAAttribute* a = firstPresent(table, ids)) {
        // The normalised value is the percentage; above 100 it is something else.
        if (a->value <= 100) {
            r.life = a->value;
            figures.normalized = a->value;
        }
        figures.attribute = a;
        r.lifeAttributes.push_back(a->id);
    }

    if (!r.family.eraseCounts) return figures;
    figures.fromErases = lifeFromEraseCounts(table);
    if (!figures.fromErases) return figures;
    r.life = r.life ? std::min(*r.life, *figures.fromErases) : *figures.fromErases;
    r.lifeAttributes.push_back(id::averageErase);
    r.lifeAttributes.push_back(id::ratedErase);
    return figures;
}

// A life attribute that says the drive is nearly worn out while every other wear figure
// (the erase counts against their rating, its raw value when that is a percentage, the
// data the host wrote against a typical rating) says it is nearly new doesn't measure
// life on this drive. Needs the erase counts and one more figure: one alone may be the
// odd one out, and some drives keep the percentage *used* in the raw value.
void checkLife(ATAReadings& r, const LifeFigures& life, const ATAAttributeTable& table,
               std::int64_t capacity) {
    if (!life.normalized || life.attribute == nullptr) return;
    std::vector<int> others;
    std::vector<std::uint8_t> ids;
    const std::uint32_t raw = life.attribute->rawLow();
    if (raw >= 1 && raw <= 100) {
        others.push_back(static_cast<int>(raw));
        ids.push_back(life.attribute->id);
    }
    // The erase counts are the drive's own measure of wear; without them nothing here
    // outweighs the drive's life figure.
    const auto erases = life.fromErases ? life.fromErases : lifeFromEraseCounts(table);
    if (!erases) return;
    others.push_back(*erases);
    ids.push_back(id::averageErase);
    ids.push_back(id::ratedErase);
    if (r.writtenBytes) {
        if (const auto writes = ATAPlausibility::lifeFromWrites(*r.writtenBytes, capacity)) {
            others.push_back(*writes);
        }
    }
    if (others.size() < 2) return;
    const bool contradicted = std::all_of(others.begin(), others.end(), [&](int other) {
        return other >= *life.normalized + kLifeContradiction;
    });
    if (!contradicted) return;
    r.life = *std::min_element(others.begin(), others.end());
    r.lifeAttributes = ids;
    r.notes.push_back({ATANote::Kind::lifeContradicted, life.attribute->id});
}

void readSpare(ATAReadings& r, const ATAAttributeTable& table) {
    if (const ATAAttribute* a = firstPresent(table, r.family.spare)) {
        r.spare = std::min<int>(a->value, 100);
        if (a->threshold != 0 && a->threshold <= 253) r.spareThreshold = a->threshold;
        r.spareAttribute = a->id;
    }
    // A bad-block attribute with a threshold of its own speaks for the spare too; the
    // worse of the two figures stands.
    for (const std::uint8_t badBlocks : kBadBlockIds) {
        const ATAAttribute* a = find(table, badBlocks);
        if (a == nullptr || a->id == r.spareAttribute || a->threshold == 0 || a->threshold > 253) {
            continue;
        }
        const int spare = std::min<int>(a->value, 100);
        const Verdict verdict = ATAReadings::spareVerdict(spare, a->threshold);
        if (r.spare && verdict <= r.spareVerdict()) continue;
        r.spare = spare;
        r.spareThreshold = a->threshold;
        r.spareAttribute = a->id;
    }
}

// Attribute 9 in hours: the quirk's unit converted, then anything no SATA drive can have
// run for dropped. Other units are read at 32 bits: seconds overflow 24 bits in months.
void readPowerOn(ATAReadings& r, const ATAAttributeTable& table, const ATAQuirks& quirks) {
    const ATAAttribute* a = find(table, id::powerOnHours);
    if (a == nullptr) return;
    std::uint64_t hours = a->raw & low24;
    if (quirks.powerOn != ATAQuirks::PowerOnUnit::hours) {
        hours = ATAQuirks::hoursOf(a->raw & low32, quirks.powerOn);
        r.notes.push_back({ATANote::Kind::powerOnUnit, id::powerOnHours, quirks.powerOn});
    }
    if (hours > ATAPlausibility::mostPowerOnHours) {
        r.notes.push_back({ATANote::Kind::powerOnNotHours, id::powerOnHours});
        return;
    }
    r.powerOnHours = hours;
}

void readCounters(ATAReadings& r, const ATAAttributeTable& table, const ATAQuirks& quirks,
                  std::optional<std::uint64_t> sectorBound) {
    for (const Counter& c : kCounters) {
        const ATAAttribute* a = find(table, c.id);
        if (a == nullptr) continue;
        std::uint64_t mask = c.mask;
        for (const ATAQuirks::Packed& p : quirks.packed) {
            if (p.id == c.id) mask = p.mask;
        }
        const std::uint64_t count = a->raw & mask;
        // A count of sectors larger than the drive is vendor data, not a count.
        if (mask == 0 || (c.boundedBySectors && sectorBound && count > *sectorBound)) {
            r.notes.push_back({ATANote::Kind::notACount, c.id});
            continue;
        }
        r.*c.field = count;
    }
}

// Bytes written that no link could have carried in the power-on time, or that would have
// worn the drive out many times over, are in another unit. The usual one is the 512-byte
// block; when that fits, it is the unit, else the figure is left out.
void checkWritten(ATAReadings& r, const ATAAttributeTable& table, std::int64_t capacity) {
    if (!r.writtenBytes) return;
    const auto bound = ATAPlausibility::writtenBound(capacity, r.powerOnHours);
    if (!bound || static_cast<double>(*r.writtenBytes) <= *bound) return;
    const std::uint8_t writtenId = r.family.written ? r.family.written->id : id::totalWritten;
    const ATAAttribute* a = find(table, writtenId);
    r.writtenBytes.reset();
    if (a == nullptr) return;
    const std::uint64_t inBlocks = saturatingProduct(a->raw, 512);
    if (static_cast<double>(inBlocks) <= *bound) {
        r.writtenBytes = inBlocks;
        r.notes.push_back({ATANote::Kind::writtenInBlocks, writtenId});
    } else {
        r.notes.push_back({ATANote::Kind::writtenNotPlausible, writtenId});
    }
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
                              std::int64_t capacity, std::optional<std::uint64_t> sectors) {
    ATAReadings r;
    ATAAttributeTable table = attributeTable(attributes);
    r.family = familyFor(model, firmware, table, isSSD);
    r.isSSD = isSSD;
    const ATAQuirks quirks = ATAQuirks::forDrive(model, firmware);
    // Judged on every row: a drive that says an ignored attribute is failing still says so.
    for (const auto& a : attributes) r.anyFailingNow = r.anyFailingNow || a.isFailingNow();

    for (const std::uint8_t ignored : r.family.ignored) table.erase(ignored);

    readPowerOn(r, table, quirks);
    readCounters(r, table, quirks, ATAPlausibility::sectorBound(sectors, capacity));
    const LifeFigures life = readLife(r, table, quirks);
    readSpare(r, table);
    if (isSSD != true) {
        if (const ATAAttribute* a = find(table, id::spinRetries)) r.spinRetries = a->raw & low32;
    }
    readTemperature(r, table);
    ATAFamily family = r.family;
    if (quirks.writtenUnit) {
        family.written = ATAFamily::Written{family.written ? family.written->id : id::totalWritten,
                                            *quirks.writtenUnit};
    }
    r.writtenBytes = writtenBytesEstimate(table, family, capacity);
    if (r.writtenBytes && quirks.writtenUnit == 512u && r.family.written &&
        r.family.written->unit != 512) {
        r.notes.push_back({ATANote::Kind::writtenInBlocks, r.family.written->id});
    }
    checkWritten(r, table, capacity);
    checkLife(r, life, table, capacity);
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
    return spare ? spareVerdict(*spare, spareThreshold) : Verdict::healthy;
}

Verdict ATAReadings::spareVerdict(int left, std::optional<int> threshold) {
    // A threshold of 90 or more would call a nearly new drive failing; such a drive's
    // threshold says nothing usable.
    const std::optional<int> t =
        threshold && *threshold >= 1 && *threshold <= 89 ? threshold : std::nullopt;
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
