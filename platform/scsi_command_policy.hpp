#pragma once
// The one list of command blocks this program sends to a drive. Every pass-through layer
// (SG_IO on a disk node, a captured USB enclosure) asks `judge` before a block leaves the
// process, so "never writes to a drive" doesn't rest on each caller building the right
// bytes: a block that isn't a read, an identification, a SMART read or a self-test start
// or abort never reaches the device.
//
// Pure: no drivekit, no I/O; the caller logs the refusal in its own log.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace platform::CommandPolicy {

struct Decision {
    bool allowed = false;
    /// What the block is, for the log: "READ CAPACITY (10)", "ATA PASS-THROUGH (16),
    /// SMART READ LOG 06h", or why it was refused: "opcode 2Ah is not on the allow-list".
    std::string what;
};

/// Whether `cdb` may be sent: its opcode is one of the reads and queries the program
/// uses, its length is the one of its opcode's group, and an ATA PASS-THROUGH carries
/// only IDENTIFY DEVICE, CHECK POWER MODE or the SMART reads, RETURN STATUS and the
/// self-test start and abort, with no data going to the device.
Decision judge(std::span<const std::uint8_t> cdb);

/// The sentence a caller shows for a refused block.
inline constexpr const char* refusedSentence = "Vantrel doesn't send that command to a drive.";

}  // namespace platform::CommandPolicy
