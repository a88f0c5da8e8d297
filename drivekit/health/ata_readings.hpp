#pragma once
// The handful of figures distilled from an ATA drive's attribute table: life, spare,
// error counts, temperature, hours and bytes written. Every figure is absent when the
// drive doesn't report it. Here lie the tie-breaks between attributes that disagree and
// the width at which each raw value is read. Pure; safe from any thread.
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "drivekit/health/ata_attribute.hpp"
#include "drivekit/health/ata_family.hpp"
#include "drivekit/health/ata_plausibility.hpp"
#include "drivekit/health/verdict.hpp"

namespace drivekit {

struct ATAReadings {
    ATAFamily family;
    std::optional<bool> isSSD;
    /// Percent of life left, 0 to 100.
    std::optional<int> life;
    /// The ids that gave `life`.
    std::vector<std::uint8_t> lifeAttributes;
    /// Percent of spare left, 0 to 100.
    std::optional<int> spare;
    /// The drive's own critical level for the spare.
    std::optional<int> spareThreshold;
    std::optional<std::uint8_t> spareAttribute;
    std::optional<std::uint64_t> reallocated;            // attribute 5
    std::optional<std::uint64_t> pending;                // attribute 197
    std::optional<std::uint64_t> offlineUncorrectable;   // attribute 198
    std::optional<std::uint64_t> reportedUncorrectable;  // attribute 187
    std::optional<std::uint64_t> commandTimeouts;        // attribute 188
    std::optional<std::uint64_t> spinRetries;            // attribute 10, never for an SSD
    std::optional<std::uint64_t> crcErrors;              // attribute 199
    std::optional<int> temperatureC;
    std::optional<std::uint8_t> temperatureAttribute;
    /// Attribute 9, in hours whatever unit the drive counts in.
    std::optional<std::uint64_t> powerOnHours;
    std::optional<std::uint64_t> writtenBytes;  // bytes written by the host
    /// Some attribute is at or below its threshold.
    bool anyFailingNow = false;
    /// Raw values not used as they stand, in the order they were found; each is one line
    /// of the report.
    std::vector<ATANote> notes;

    /// Distils the rows of one reading. `isSSD` is the identity's answer, or the drive's
    /// medium when the identity has none; `capacity` is the drive's size in bytes and
    /// `sectors` its logical sectors from IDENTIFY when read: they work out the unit of
    /// bytes written and bound what a count can be. The model's quirks correct units and
    /// layouts; figures that still can't be what they claim are dropped with a note.
    /// Never fails: rows that say nothing give a record of absent figures.
    static ATAReadings make(const std::vector<ATAAttribute>& attributes, std::string_view model,
                            std::optional<std::string_view> firmware, std::optional<bool> isSSD,
                            std::int64_t capacity,
                            std::optional<std::uint64_t> sectors = std::nullopt);

    /// Bytes written by the host, from the family's written attribute (241 when it names
    /// none). Without a known unit, the unit that best fits the drive's average erase
    /// count is taken, assuming the flash writes about 2.5 times what the host sends;
    /// 512 bytes when nothing fits. `attributes` is the table without ignored ids.
    static std::optional<std::uint64_t> writtenBytesEstimate(const ATAAttributeTable& attributes,
                                                             const ATAFamily& family,
                                                             std::int64_t capacity);

    /// Uncorrectable errors: offline plus reported, an absent one counting 0; absent when
    /// both are.
    std::optional<std::uint64_t> dataErrors() const;
    /// How worrying the spare left is, against the drive's own threshold when that is a
    /// usable one (1 to 89); `healthy` without a spare figure.
    Verdict spareVerdict() const;
    /// The same judgement for any spare figure and threshold.
    static Verdict spareVerdict(int spare, std::optional<int> threshold);
    /// `warning` when more sectors are pending than the family reports as noise.
    Verdict pendingVerdict() const;

    bool operator==(const ATAReadings&) const = default;
};

}  // namespace drivekit
