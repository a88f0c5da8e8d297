#include "drivekit/health/sat_non_data.hpp"

namespace drivekit::SAT {
namespace {

// Byte 1: protocol 3 (non-data) in bits 1-4.
constexpr std::uint8_t nonDataProtocol = 0x06;
// Byte 2: no transfer (T_LENGTH 0); CK_COND is bit 5.
constexpr std::uint8_t checkConditionBit = 0x20;

// Any non-data ATA command in either pass-through form.
Bytes nonData(Variant variant, std::uint8_t command, std::uint8_t feature, std::uint8_t lbaLow,
              std::uint8_t lbaMid, std::uint8_t lbaHigh, bool checkCondition) {
    return passThrough(variant, nonDataProtocol, checkCondition ? checkConditionBit : 0,
                       {command, feature, 0, lbaLow, lbaMid, lbaHigh});
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
