#pragma once
// One row of an ATA drive's SMART attribute table, as decoded from the 512-byte SMART
// READ DATA and SMART READ THRESHOLDS pages. Decoding is pure and never throws: a short
// data page gives no rows, a short or missing thresholds page gives thresholds of 0.
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "drivekit/core/bytes.hpp"

namespace drivekit {

struct ATAAttribute {
    std::uint8_t id = 0;
    std::uint16_t flags = 0;
    std::uint8_t value = 0;
    std::uint8_t worst = 0;
    /// 0 when the thresholds page gave none for this id.
    std::uint8_t threshold = 0;
    /// 48 bits are filled.
    std::uint64_t raw = 0;

    /// The smallest data page that holds the whole table (30 entries of 12 bytes from
    /// offset 2). The thresholds page has the same layout.
    static constexpr std::size_t tableBytes = 362;

    /// The rows of a data page in page order, with thresholds matched by id. Pass an empty
    /// view when no thresholds page was read. Entries with id 0 are unused and skipped.
    static std::vector<ATAAttribute> parse(ByteView data, ByteView thresholds = {});

    /// The attribute's name in English ("Reallocated Sectors"), or "Attribute 42" for an
    /// id the table doesn't know. Names are proper nouns of the list and never translated.
    static std::string nameFor(std::uint8_t id);
    std::string name() const { return nameFor(id); }

    /// Flag bit 0: crossing the threshold predicts failure rather than old age.
    bool isPrefailure() const noexcept { return (flags & 1u) != 0; }
    /// The value is at or below a real threshold. Thresholds 0 and 254-255 mean the
    /// attribute never fails.
    bool isFailingNow() const noexcept {
        return threshold >= 1 && threshold <= 253 && value <= threshold;
    }
    /// The low 32 bits of the raw value.
    std::uint32_t rawLow() const noexcept { return static_cast<std::uint32_t>(raw); }

    bool operator==(const ATAAttribute&) const = default;
};

/// Attributes by id. When a page lists an id twice, the later row stands, as it does for
/// thresholds.
using ATAAttributeTable = std::map<std::uint8_t, ATAAttribute>;
ATAAttributeTable attributeTable(const std::vector<ATAAttribute>& attributes);

}  // namespace drivekit
