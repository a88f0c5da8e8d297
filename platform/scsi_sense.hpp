#pragma once
// SCSI sense data: why a command ended in CHECK CONDITION, and, after an ATA PASS-THROUGH
// that asked for them, the ATA registers the drive finished with. Both sense formats are
// read: fixed (response codes 70h/71h), which libata sends unless told otherwise, and
// descriptor (72h/73h), which USB bridges favour. Pure decoding; short or malformed
// buffers give nothing, never a read past the end.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/bytes.hpp"

namespace platform::Sense {

enum class Format { fixed, descriptor };

namespace Key {
inline constexpr std::uint8_t noSense = 0x0;
inline constexpr std::uint8_t recoveredError = 0x1;
inline constexpr std::uint8_t notReady = 0x2;
inline constexpr std::uint8_t mediumError = 0x3;
inline constexpr std::uint8_t hardwareError = 0x4;
inline constexpr std::uint8_t illegalRequest = 0x5;
inline constexpr std::uint8_t unitAttention = 0x6;
inline constexpr std::uint8_t abortedCommand = 0xB;
}  // namespace Key

struct Data {
    Format format = Format::fixed;
    /// The error belongs to an earlier command (response code 71h or 73h).
    bool deferred = false;
    std::uint8_t key = 0;
    std::uint8_t asc = 0;
    std::uint8_t ascq = 0;

    /// ASC/ASCQ 00h/1Dh: the command completed and the ATA registers are in the sense
    /// data. This is how a pass-through with the check-condition bit answers.
    bool ataInformationAvailable() const noexcept { return asc == 0x00 && ascq == 0x1D; }

    bool operator==(const Data&) const = default;
};

/// Key, ASC and ASCQ of either format; nothing for an unknown response code or a buffer
/// too short to hold them (fixed needs 14 bytes, descriptor 4).
std::optional<Data> decode(ByteView sense);

/// The low-order ATA registers at the end of a pass-through command. 28-bit commands
/// (all that SMART uses) carry everything here; `extended` says a 48-bit command's
/// high-order bytes were left out.
struct ATARegisters {
    std::uint8_t error = 0;
    std::uint8_t status = 0;
    std::uint8_t device = 0;
    std::uint8_t count = 0;
    std::uint8_t lbaLow = 0;
    std::uint8_t lbaMid = 0;
    std::uint8_t lbaHigh = 0;
    bool extended = false;

    /// The status register's ERR bit: the drive rejected the command.
    bool failed() const noexcept { return (status & 0x01) != 0; }

    bool operator==(const ATARegisters&) const = default;
};

/// The registers from the ATA Status Return descriptor (09h) of descriptor sense, or from
/// the INFORMATION and COMMAND-SPECIFIC INFORMATION fields of fixed sense when its
/// ASC/ASCQ says they hold them. Nothing otherwise.
std::optional<ATARegisters> ataRegisters(ByteView sense);

/// "ILLEGAL REQUEST", "MEDIUM ERROR", ...: the standard name of a sense key, for logs.
std::string_view keyName(std::uint8_t key);

/// One line for a log: "ILLEGAL REQUEST, ASC/ASCQ 20h/00h (invalid command operation
/// code)", the meaning given for the few codes a drive-health reader runs into.
std::string describe(const Data& data);

}  // namespace platform::Sense
