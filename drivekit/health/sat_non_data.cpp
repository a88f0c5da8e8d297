#include "drivekit/health/sat_non_data.hpp"

namespace drivekit::SAT {
namespace {

// Byte 1: protocol 3 (non-data) in bits 1-4.
constexpr std::uint8_t nonDataProtocol = 0x06;
// Byte 2: no transfer (T_LENGTH 0); CK_COND is bit 5.
constexpr std::uint8_t checkConditionBit = 0x20;

constexpr std::uint8_t opcode16 = 0x85;
constexpr std::uint8_t opcode12 = 0xA1;

// Any non-data ATA command in either pass-through form.
Bytes nonData(Variant variant, std::uint8_t command, std::uint8_t feature, std::uint8_t lbaLow,
              std::uint8_t lbaMid, std::uint8_t lbaHigh, bool checkCondition) {
    const std::uint8_t flags = checkCondition ? checkConditionBit : 0;
    if (variant == Variant::sixteen) {
        Bytes cdb(16, 0);
        cdb[0] = opcode16;
        cdb[1] = nonDataProtocol;
        cdb[2] = flags;
        cdb[4] = feature;
        cdb[8] = lbaLow;
        cdb[10] = lbaMid;
        cdb[12] = lbaHigh;
        cdb[14] = command;
        return cdb;
    }
    Bytes cdb(12, 0);
    cdb[0] = opcode12;
    cdb[1] = nonDataProtocol;
    cdb[2] = flags;
    cdb[3] = feature;
    cdb[5] = lbaLow;
    cdb[6] = lbaMid;
    cdb[7] = lbaHigh;
    cdb[9] = command;
    return cdb;
}

}  // namespace

Bytes smartNonData(Variant variant, std::uint8_t feature, std::uint8_t lbaLow,
                   bool checkCondition) {
    return nonData(variant, ata::smart, feature, lbaLow, ata::smartLbaMid, ata::smartLbaHigh,
                   checkCondition);
}

Bytes checkPowerMode(Variant variant) {
    return nonData(variant, ata::checkPowerMode, 0, 0, 0, 0, true);
}

Bytes smartReturnStatus(Variant variant) {
    return smartNonData(variant, ata::smartReturnStatus, 0, true);
}

Bytes smartExecuteOffLineImmediate(Variant variant, std::uint8_t subcommand) {
    return smartNonData(variant, ata::smartExecuteOffLineImmediate, subcommand, false);
}

}  // namespace drivekit::SAT
