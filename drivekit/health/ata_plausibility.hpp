#pragma once
// Whether a figure read from an ATA drive can be what the rules take it for. Raw SMART
// values are vendor-defined: a raw field may pack other data above its count, count in a
// unit its family doesn't use, or hold another figure altogether. Each figure that feeds a
// rule is checked here against what the drive physically is (its sectors, its capacity,
// its power-on time, how long SATA drives have existed) and against the drive's other
// counters. A figure that fails is not used; a note says so, so that a user and a bug
// report can see why. Pure; safe from any thread.
#include <cstdint>
#include <optional>
#include <string>

#include "drivekit/health/ata_quirks.hpp"

namespace drivekit {

/// Why a figure of an ATA reading was not used as its raw value stands.
struct ATANote {
    enum class Kind {
        /// The raw value can't be a count on this drive; its normalized value still counts.
        notACount,
        /// Attribute 9 counts another unit on this drive; `unit` says which.
        powerOnUnit,
        /// Attribute 9 read as hours is longer than any SATA drive has been running.
        powerOnNotHours,
        /// The written-data attribute counts 512-byte blocks here, not its family's unit.
        writtenInBlocks,
        /// The written-data attribute reads as more than the drive could have written.
        writtenNotPlausible,
        /// The life attribute holds something other than a percentage on this drive.
        lifeNotPercent,
        /// The life attribute's normalized value contradicts the drive's wear counters.
        lifeContradicted,
    };

    Kind kind = Kind::notACount;
    std::uint8_t id = 0;
    ATAQuirks::PowerOnUnit unit = ATAQuirks::PowerOnUnit::hours;

    /// The one line shown with the findings, in English like the rest of the messages.
    std::string sentence() const;

    bool operator==(const ATANote&) const = default;
};

namespace ATAPlausibility {

/// Longer than any SATA drive can have been powered: the interface dates from 2003, so
/// no drive has run for 25 years.
inline constexpr std::uint64_t mostPowerOnHours = 25 * 8760;
/// SATA's fastest link carries 600 MB/s of data; no drive took in more than that for
/// every second it was powered.
inline constexpr double fastestLinkBytesPerSecond = 600e6;
/// No SATA drive is rated for anywhere near this many full writes of itself; the wear
/// would have ended it long before.
inline constexpr double mostDriveWrites = 3000;

/// The largest count of sectors a count attribute can hold: the drive's sectors from
/// IDENTIFY, else its capacity in 512-byte sectors (never fewer than it really has).
/// Nothing when neither is known.
std::optional<std::uint64_t> sectorBound(std::optional<std::uint64_t> sectors,
                                         std::int64_t capacity);

/// The most bytes the host can have written: the smaller of `mostDriveWrites` times the
/// capacity and the fastest link over the power-on time. Nothing when neither is known.
std::optional<double> writtenBound(std::int64_t capacity, std::optional<std::uint64_t> powerOnHours);

/// Life left as the host writes alone suggest, from a typical rating of 600 full drive
/// writes; nothing without a capacity.
std::optional<int> lifeFromWrites(std::uint64_t writtenBytes, std::int64_t capacity);

}  // namespace ATAPlausibility

}  // namespace drivekit
