#include "platform/scsi_command_policy.hpp"

#include <cstdio>

namespace platform::CommandPolicy {
namespace {

std::string hex(unsigned value) {
    char text[8];
    std::snprintf(text, sizeof text, "%02Xh", value & 0xFFu);
    return text;
}

Decision allow(std::string what) { return Decision{true, std::move(what)}; }
Decision refuse(std::string why) { return Decision{false, std::move(why)}; }

// The SCSI length of a block follows from its opcode's group (SPC's table).
std::size_t groupLength(std::uint8_t opcode) {
    switch (opcode >> 5) {
        case 0: return 6;
        case 1: case 2: return 10;
        case 4: return 16;
        case 5: return 12;
        default: return 0;  // reserved and vendor-specific groups: never sent
    }
}

// ATA protocols of the PROTOCOL field (byte 1, bits 1-4) the program uses.
constexpr unsigned protocolNonData = 3;
constexpr unsigned protocolPIODataIn = 4;

// ATA commands and SMART sub-commands (features) that only read or start a self-test.
constexpr std::uint8_t ataIdentifyDevice = 0xEC;
constexpr std::uint8_t ataCheckPowerMode = 0xE5;
constexpr std::uint8_t ataSMART = 0xB0;
constexpr std::uint8_t smartReadData = 0xD0;
constexpr std::uint8_t smartReadThresholds = 0xD1;
constexpr std::uint8_t smartExecuteOffLine = 0xD4;
constexpr std::uint8_t smartReadLog = 0xD5;
constexpr std::uint8_t smartReturnStatus = 0xDA;
constexpr std::uint8_t logDirectory = 0x00;
constexpr std::uint8_t selfTestLog = 0x06;
// EXECUTE OFF-LINE IMMEDIATE sub-commands: the short and extended tests in the
// background, and the abort. The captive forms (81h, 82h) hold the drive busy and are
// left out, as is the off-line data collection (00h).
constexpr std::uint8_t shortSelfTest = 0x01;
constexpr std::uint8_t extendedSelfTest = 0x02;
constexpr std::uint8_t abortSelfTest = 0x7F;

Decision judgePassThrough(std::span<const std::uint8_t> cdb) {
    const bool sixteen = cdb[0] == 0x85;
    const std::string form = sixteen ? "ATA PASS-THROUGH (16)" : "ATA PASS-THROUGH (12)";
    const unsigned protocol = (cdb[1] >> 1) & 0x0F;
    const unsigned transferLength = cdb[2] & 0x03;
    const bool fromDevice = (cdb[2] & 0x08) != 0;
    const std::uint8_t features = sixteen ? cdb[4] : cdb[3];
    const std::uint8_t lbaLow = sixteen ? cdb[8] : cdb[5];
    const std::uint8_t command = sixteen ? cdb[14] : cdb[9];

    bool dataIn = false;
    if (protocol == protocolPIODataIn) {
        if (transferLength != 0 && !fromDevice) return refuse(form + ": data toward the device");
        dataIn = true;
    } else if (protocol == protocolNonData) {
        if (transferLength != 0) return refuse(form + ": non-data protocol with a transfer");
    } else {
        return refuse(form + ": protocol " + std::to_string(protocol) + " is not on the allow-list");
    }

    if (command == ataIdentifyDevice && dataIn) return allow(form + ", IDENTIFY DEVICE");
    if (command == ataCheckPowerMode && !dataIn) return allow(form + ", CHECK POWER MODE");
    if (command == ataSMART) {
        if (dataIn && features == smartReadData) return allow(form + ", SMART READ DATA");
        if (dataIn && features == smartReadThresholds) {
            return allow(form + ", SMART READ THRESHOLDS");
        }
        if (dataIn && features == smartReadLog &&
            (lbaLow == logDirectory || lbaLow == selfTestLog)) {
            return allow(form + ", SMART READ LOG " + hex(lbaLow));
        }
        if (!dataIn && features == smartReturnStatus) return allow(form + ", SMART RETURN STATUS");
        if (!dataIn && features == smartExecuteOffLine &&
            (lbaLow == shortSelfTest || lbaLow == extendedSelfTest || lbaLow == abortSelfTest)) {
            return allow(form + ", SMART EXECUTE OFF-LINE IMMEDIATE " + hex(lbaLow));
        }
        return refuse(form + ": SMART feature " + hex(features) + " (LBA low " + hex(lbaLow) +
                      ") is not on the allow-list");
    }
    return refuse(form + ": ATA command " + hex(command) + " is not on the allow-list");
}

}  // namespace

Decision judge(std::span<const std::uint8_t> cdb) {
    if (cdb.empty()) return refuse("empty command block");
    const std::uint8_t opcode = cdb[0];
    if (cdb.size() != groupLength(opcode)) {
        return refuse("opcode " + hex(opcode) + " with a block of " + std::to_string(cdb.size()) +
                      " bytes");
    }
    switch (opcode) {
        case 0x00: return allow("TEST UNIT READY");
        case 0x03: return allow("REQUEST SENSE");
        case 0x12: return allow("INQUIRY");
        case 0x25: return allow("READ CAPACITY (10)");
        case 0x28: return allow("READ (10)");
        case 0x88: return allow("READ (16)");
        case 0x9E:
            // SERVICE ACTION IN (16) holds other actions too; only READ CAPACITY (16).
            if ((cdb[1] & 0x1F) == 0x10) return allow("READ CAPACITY (16)");
            return refuse("SERVICE ACTION IN (16) action " + hex(cdb[1] & 0x1Fu) +
                          " is not on the allow-list");
        case 0x85:
        case 0xA1: return judgePassThrough(cdb);
        default: return refuse("opcode " + hex(opcode) + " is not on the allow-list");
    }
}

}  // namespace platform::CommandPolicy
