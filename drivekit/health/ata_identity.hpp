#pragma once
// ATAIdentity: what a SATA drive says about itself in its 512-byte IDENTIFY DEVICE data:
// names, rotation, size, SMART support and the SATA link. Decoding is pure and never
// throws; data that can't be IDENTIFY data (short, all zeros, all ones) gives nothing.
#include <cstdint>
#include <optional>
#include <string>

#include "drivekit/core/bytes.hpp"
#include "drivekit/discovery/link.hpp"

namespace drivekit {

struct ATAIdentity {
    static constexpr std::size_t size = 512;

    std::string model;
    std::string serial;
    std::string firmware;
    /// Nominal media rotation rate; 1 for a non-rotating (solid-state) drive. Absent when
    /// the drive doesn't report it.
    std::optional<int> rotationRate;
    /// User-addressable logical sectors.
    std::uint64_t sectors = 0;
    bool smartSupported = false;
    bool smartEnabled = false;
    /// Bytes per logical sector.
    std::int64_t logicalSectorSize = 512;
    std::optional<SATALink> sataLink;

    /// Decodes IDENTIFY DEVICE data. Nothing for fewer than 512 bytes, or when the 512
    /// bytes are all 0x00 or all 0xFF (an enclosure that answered without asking the
    /// drive). An empty model is still a record.
    static std::optional<ATAIdentity> decode(ByteView data);

    /// `sectors` times `logicalSectorSize`, limited to the largest signed 64-bit value.
    std::int64_t capacityBytes() const noexcept;
    /// True for a rotation rate of 1, false for any other rate, absent without one.
    std::optional<bool> isSSD() const noexcept;

    bool operator==(const ATAIdentity&) const = default;
};

}  // namespace drivekit
