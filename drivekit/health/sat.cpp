#include "drivekit/health/sat.hpp"

namespace drivekit::SAT {
namespace {

// Byte 1: protocol 4 (PIO data-in) in bits 1-4, no multiple count, not extended.
constexpr std::uint8_t pioDataInProtocol = 0x08;
// Byte 2: transfer length in the sector-count field (T_LENGTH 2), counted in blocks
// (BYT_BLOK), from the device (T_DIR); CK_COND clear, so a good command returns data
// rather than a check condition some bridges then fail to deliver.
constexpr std::uint8_t lengthInSectorCount = 0x0E;
constexpr std::uint8_t oneBlock = 1;

constexpr std::uint8_t opcode16 = 0x85;
constexpr std::uint8_t opcode12 = 0xA1;

}  // namespace

Bytes passThrough(Variant variant, std::uint8_t protocol, std::uint8_t flags,
                  const Registers& r) {
    if (variant == Variant::sixteen) {
        // The 16-byte form holds each register as a pair (high-order byte first, for
        // 48-bit commands); ours are 28-bit, so every high-order byte stays 0, as do
        // device (13) and control (15).
        Bytes cdb(16, 0);
        cdb[0] = opcode16;
        cdb[1] = protocol;
        cdb[2] = flags;
        cdb[4] = r.features;
        cdb[6] = r.count;
        cdb[8] = r.lbaLow;
        cdb[10] = r.lbaMid;
        cdb[12] = r.lbaHigh;
        cdb[14] = r.command;
        return cdb;
    }
    // Device (8) and control (11) stay 0.
    Bytes cdb(12, 0);
    cdb[0] = opcode12;
    cdb[1] = protocol;
    cdb[2] = flags;
    cdb[3] = r.features;
    cdb[4] = r.count;
    cdb[5] = r.lbaLow;
    cdb[6] = r.lbaMid;
    cdb[7] = r.lbaHigh;
    cdb[9] = r.command;
    return cdb;
}

Bytes pioDataIn(Variant variant, std::uint8_t command, std::uint8_t features,
                std::uint8_t lbaLow, std::uint8_t lbaMid, std::uint8_t lbaHigh) {
    return passThrough(variant, pioDataInProtocol, lengthInSectorCount,
                       {command, features, oneBlock, lbaLow, lbaMid, lbaHigh});
}

Bytes identify(Variant variant) { return pioDataIn(variant, ata::identifyDevice, 0, 0, 0, 0); }

Bytes smartReadData(Variant variant) {
    return pioDataIn(variant, ata::smart, ata::smartReadData, 0, ata::smartLbaMid,
                     ata::smartLbaHigh);
}

Bytes smartReadThresholds(Variant variant) {
    return pioDataIn(variant, ata::smart, ata::smartReadThresholds, 0, ata::smartLbaMid,
                     ata::smartLbaHigh);
}

Bytes smartReadLog(Variant variant, std::uint8_t logAddress) {
    return pioDataIn(variant, ata::smart, ata::smartReadLog, logAddress, ata::smartLbaMid,
                     ata::smartLbaHigh);
}

Bytes inquiry() { return Bytes{0x12, 0x00, 0x00, 0x00, 0x24, 0x00}; }

}  // namespace drivekit::SAT
