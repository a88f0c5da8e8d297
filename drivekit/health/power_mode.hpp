#pragma once
// Whether an ATA disk is spinning, asked without waking it. A monitor that reads SMART data
// every few minutes would otherwise keep every sleeping hard drive awake: IDENTIFY and SMART
// READ spin a disk up, CHECK POWER MODE does not.
#include <optional>
#include <string_view>

#include "drivekit/core/bytes.hpp"
#include "platform/scsi_drive.hpp"

namespace drivekit {

enum class PowerMode {
    /// Spinning, or an SSD that answers at once (count FFh, or 80h-83h idle).
    active,
    /// Spun down (count 00h or 01h, or the NV-cache state 40h): a SMART read would wake it.
    standby,
};

namespace PowerModes {

/// The raw text of a mode, as JSON and logs write it: "active", "standby".
std::string_view raw(PowerMode mode) noexcept;

/// The mode from the answer to CHECK POWER MODE (the sense data holding the ATA
/// registers); nothing when the answer holds no registers or the drive rejected the
/// command (then it doesn't say, and the caller goes on as for an awake disk).
std::optional<PowerMode> fromAnswer(ByteView answer);

/// Asks the drive through either pass-through form (16, then 12). Nothing when neither
/// form gives an answer with registers.
std::optional<PowerMode> query(SCSIDrive& drive);

}  // namespace PowerModes

}  // namespace drivekit
