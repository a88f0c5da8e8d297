#pragma once
// The three reads of an ATA drive behind a SCSI layer, on any SCSIDrive: who made the
// enclosure (INQUIRY), who the drive is (IDENTIFY DEVICE) and its SMART attributes. Each
// command waits at most `commandTimeout`, so a dead enclosure costs at most two IDENTIFY
// attempts. None of them throws; a read that fails gives nothing or an empty list, and
// the caller decides what to tell the user.
#include <optional>
#include <string>
#include <vector>

#include "drivekit/health/ata_attribute.hpp"
#include "drivekit/health/ata_identity.hpp"
#include "drivekit/health/sat.hpp"
#include "platform/scsi_drive.hpp"

namespace drivekit::ATACommands {

inline constexpr double commandTimeout = 4.0;

/// The names in the standard INQUIRY data: the bridge's, rarely the drive's.
struct Inquiry {
    std::string vendor;
    std::string product;

    bool operator==(const Inquiry&) const = default;
};

/// An identity, and the pass-through variant that got it: every later command to this
/// drive uses the same variant.
struct Identified {
    ATAIdentity identity;
    SAT::Variant variant = SAT::Variant::sixteen;

    bool operator==(const Identified&) const = default;
};

/// INQUIRY for 36 bytes; nothing when the command fails or fewer than 32 bytes come back.
std::optional<Inquiry> inquiry(SCSIDrive& drive);

/// IDENTIFY DEVICE through ATA PASS-THROUGH (16), then (12) when the first fails or gives
/// data that can't be an identity; nothing when neither gives one.
std::optional<Identified> ataIdentify(SCSIDrive& drive);

/// SMART READ DATA, then SMART READ THRESHOLDS, with the variant that identified the
/// drive. Empty when the data can't be read; without thresholds (all 0, so nothing
/// fails) when only those can't.
std::vector<ATAAttribute> smart(SCSIDrive& drive, SAT::Variant variant);

}  // namespace drivekit::ATACommands
