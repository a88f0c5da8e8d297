#include "drivekit/health/self_test.hpp"

#include <array>
#include <limits>

namespace drivekit::SelfTest {
namespace {

struct OutcomeRow {
    Outcome outcome;
    std::string_view label;
    bool failed;
    std::string_view failureSentence;  // empty for none
};

constexpr std::array<OutcomeRow, 11> kOutcomes{{
    {Outcome::passed, "Passed", false, ""},
    {Outcome::abortedByHost, "Cancelled", false, ""},
    {Outcome::interruptedByReset, "Interrupted", false, ""},
    {Outcome::fatalError, "Failed: couldn't complete", true,
     "The drive's last self-test was stopped by a fatal error."},
    {Outcome::unknownFailure, "Failed", true, "The drive's last self-test failed."},
    {Outcome::electricalFailure, "Failed: electrical", true,
     "The drive's last self-test failed on an electrical fault."},
    {Outcome::servoFailure, "Failed: servo or seek", true,
     "The drive's last self-test failed on a servo or seek fault."},
    {Outcome::readFailure, "Failed: read", true,
     "The drive's last self-test failed on a read error."},
    {Outcome::handlingDamage, "Failed: handling damage suspected", true,
     "The drive's last self-test failed, and the drive suspects handling damage."},
    {Outcome::inProgress, "Running", false, ""},
    {Outcome::unknown, "Unknown", false, ""},
}};

const OutcomeRow& row(Outcome outcome) noexcept {
    for (const auto& r : kOutcomes) {
        if (r.outcome == outcome) return r;
    }
    return kOutcomes.back();
}

// The catalogue holds English only so far; its keys for these words are the English
// texts, except where a key is named.
std::string localized(std::string_view english) { return std::string(english); }
std::string localized(std::string_view /*key*/, std::string_view english) {
    return std::string(english);
}

// SMART READ DATA page.
constexpr std::size_t progressPageBytes = 377;
constexpr std::size_t executionStatusAt = 363;
constexpr std::size_t shortMinutesAt = 372;
constexpr std::size_t extendedMinutesAt = 373;
constexpr std::size_t extendedMinutesWordAt = 375;
// A byte of 255 says the estimate is too long for a byte and stands in the word.
constexpr std::uint8_t minutesInWord = 0xFF;

// SMART self-test log.
constexpr std::size_t logBytes = 512;
constexpr std::size_t firstDescriptorAt = 2;
constexpr std::size_t descriptorSize = 24;
constexpr std::size_t descriptorCount = 21;
constexpr std::size_t newestIndexAt = 508;
// Within a descriptor.
constexpr std::size_t kindAt = 0;
constexpr std::size_t statusAt = 1;
constexpr std::size_t hoursAt = 2;
constexpr std::size_t failingLBAAt = 5;

}  // namespace

Outcome outcomeFromStatus(std::uint8_t statusByte) noexcept {
    const auto nibble = static_cast<std::uint8_t>(statusByte >> 4);
    if (nibble <= 8 || nibble == 15) return static_cast<Outcome>(nibble);
    return Outcome::unknown;
}

std::optional<Outcome> outcomeFromRaw(int raw) noexcept {
    for (const auto& r : kOutcomes) {
        if (static_cast<int>(r.outcome) == raw) return r.outcome;
    }
    return std::nullopt;
}

bool failed(Outcome outcome) noexcept { return row(outcome).failed; }

std::string label(Outcome outcome) { return localized(row(outcome).label); }

std::optional<std::string> failureSentence(Outcome outcome) {
    const OutcomeRow& r = row(outcome);
    if (r.failureSentence.empty()) return std::nullopt;
    return localized(r.failureSentence);
}

std::string Entry::kindLabel() const {
    switch (kind) {
        case 1: return localized("Short");
        case 2: return localized("Extended");
        case 3: return localized("Conveyance");
        case 4: return localized("Selective");
        default: return localized("selftest.kind.other", "Other");
    }
}

std::string Entry::testName() const {
    switch (kind) {
        case 1: return localized("Short test");
        case 2: return localized("Extended test");
        case 3: return localized("Conveyance test");
        case 4: return localized("Selective test");
        default: return localized("Other test");
    }
}

json::Object Entry::toJSON() const {
    json::Object o;
    o["kind"] = kind;
    o["outcome"] = static_cast<int>(outcome);
    o["powerOnHours"] = powerOnHours;
    json::putOptional(o, "failingLBA", failingLBA);
    return o;
}

std::optional<Entry> Entry::fromJSON(const json::Object& object) {
    if (!object.is_object()) return std::nullopt;
    const auto kindIt = object.find("kind");
    const auto outcomeIt = object.find("outcome");
    const auto hoursIt = object.find("powerOnHours");
    if (kindIt == object.end() || outcomeIt == object.end() || hoursIt == object.end()) {
        return std::nullopt;
    }
    if (!kindIt->is_number_unsigned() || kindIt->get<std::uint64_t>() > 255) return std::nullopt;
    if (!outcomeIt->is_number_integer()) return std::nullopt;
    if (!hoursIt->is_number_integer()) return std::nullopt;

    Entry e;
    e.kind = kindIt->get<std::uint8_t>();
    const auto outcomeRaw = outcomeIt->get<std::int64_t>();
    if (outcomeRaw < 0 || outcomeRaw > 255) return std::nullopt;
    const auto outcome = outcomeFromRaw(static_cast<int>(outcomeRaw));
    if (!outcome) return std::nullopt;
    e.outcome = *outcome;
    const auto hours = hoursIt->get<std::int64_t>();
    if (hours < std::numeric_limits<int>::min() || hours > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    e.powerOnHours = static_cast<int>(hours);
    if (const auto lbaIt = object.find("failingLBA"); lbaIt != object.end()) {
        if (!lbaIt->is_number_unsigned() || lbaIt->get<std::uint64_t>() > 0xFFFF'FFFFu) {
            return std::nullopt;
        }
        e.failingLBA = lbaIt->get<std::uint32_t>();
    }
    return e;
}

std::optional<Progress> Progress::fromSmartData(ByteView smartData) {
    if (smartData.size() < progressPageBytes) return std::nullopt;
    const std::uint8_t status = smartData[executionStatusAt];

    Progress p;
    p.outcome = outcomeFromStatus(status);
    if (p.outcome == Outcome::inProgress) {
        // The low nibble of a running test counts tens of percent still to go.
        const int tensLeft = status & 0x0F;
        p.percentDone = tensLeft <= 10 ? 100 - 10 * tensLeft : 0;
    }
    if (const std::uint8_t minutes = smartData[shortMinutesAt]; minutes != 0) {
        p.shortMinutes = minutes;
    }
    int extended = smartData[extendedMinutesAt];
    if (extended == minutesInWord) extended = le16(smartData, extendedMinutesWordAt);
    if (extended != 0) p.extendedMinutes = extended;
    return p;
}

std::vector<Entry> parseLog(ByteView log) {
    if (log.size() < logBytes) return {};
    const std::size_t newest = log[newestIndexAt];
    if (newest < 1 || newest > descriptorCount) return {};

    std::vector<Entry> entries;
    // Descriptors form a ring: walk back from the newest, wrapping from 1 to 21.
    for (std::size_t step = 0; step < descriptorCount; ++step) {
        const std::size_t index = (newest - 1 + descriptorCount - step) % descriptorCount;
        const ByteView d = log.subspan(firstDescriptorAt + index * descriptorSize, descriptorSize);
        if (d[kindAt] == 0 && d[statusAt] == 0) continue;

        Entry e;
        e.kind = d[kindAt];
        e.outcome = outcomeFromStatus(d[statusAt]);
        e.powerOnHours = le16(d, hoursAt);
        const std::uint32_t lba = le32(d, failingLBAAt);
        if (failed(e.outcome) && lba != 0 && lba != 0xFFFF'FFFFu) e.failingLBA = lba;
        entries.push_back(e);
    }
    return entries;
}

}  // namespace drivekit::SelfTest
