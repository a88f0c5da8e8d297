#pragma once
// SAT: the SCSI command blocks that carry an ATA command to a drive behind a SCSI layer
// (a USB bridge, the kernel's libata translation). Pure byte building; nothing is sent.
//
// Every ATA command here reads one 512-byte block by PIO. Bridges differ in which of the
// two ATA PASS-THROUGH forms they understand, so each builder takes the variant; callers
// try `sixteen` first, then `twelve`, and keep the one that answered.
#include <cstdint>

#include "drivekit/core/bytes.hpp"

namespace drivekit::SAT {

enum class Variant {
    sixteen,  // ATA PASS-THROUGH (16), operation code 0x85
    twelve,   // ATA PASS-THROUGH (12), operation code 0xA1
};

/// The order in which a reader tries the variants.
inline constexpr Variant attemptOrder[] = {Variant::sixteen, Variant::twelve};

/// 16 or 12: the length of the variant's command block, as the logs name it.
constexpr int length(Variant variant) noexcept { return variant == Variant::sixteen ? 16 : 12; }

/// The ATA registers of a 28-bit command; device and the high-order (48-bit) bytes are 0.
struct Registers {
    std::uint8_t command = 0;
    std::uint8_t features = 0;
    std::uint8_t count = 0;
    std::uint8_t lbaLow = 0;
    std::uint8_t lbaMid = 0;
    std::uint8_t lbaHigh = 0;
};

/// Any ATA PASS-THROUGH block: byte 1 holds the protocol, byte 2 the transfer and
/// check-condition flags; the registers sit where the variant puts them.
Bytes passThrough(Variant variant, std::uint8_t protocol, std::uint8_t flags,
                  const Registers& registers);

/// A PIO data-in ATA command of one block (512 bytes from the device), with the
/// check-condition bit clear. Device, control and the high-order (48-bit) bytes are 0.
Bytes pioDataIn(Variant variant, std::uint8_t command, std::uint8_t features,
                std::uint8_t lbaLow, std::uint8_t lbaMid, std::uint8_t lbaHigh);

/// IDENTIFY DEVICE (ECh).
Bytes identify(Variant variant);
/// SMART READ DATA (B0h, feature D0h): the attribute values and self-test status.
Bytes smartReadData(Variant variant);
/// SMART READ THRESHOLDS (B0h, feature D1h): the attribute thresholds.
Bytes smartReadThresholds(Variant variant);
/// SMART READ LOG (B0h, feature D5h) of one block at a log address; the self-test log is
/// address 6.
Bytes smartReadLog(Variant variant, std::uint8_t logAddress);

/// The six-byte SCSI INQUIRY for the 36 bytes of standard data: 12 00 00 00 24 00.
Bytes inquiry();

/// ATA command codes and SMART sub-commands used above.
namespace ata {
inline constexpr std::uint8_t identifyDevice = 0xEC;
inline constexpr std::uint8_t smart = 0xB0;
inline constexpr std::uint8_t smartReadData = 0xD0;
inline constexpr std::uint8_t smartReadThresholds = 0xD1;
inline constexpr std::uint8_t smartReadLog = 0xD5;
/// SMART commands carry this signature in LBA mid and high.
inline constexpr std::uint8_t smartLbaMid = 0x4F;
inline constexpr std::uint8_t smartLbaHigh = 0xC2;
}  // namespace ata

}  // namespace drivekit::SAT
