#pragma once
// The ATA PASS-THROUGH blocks of the SMART commands that move no data: asking the drive
// for its own pass/fail verdict, and starting a self-test. They sit beside the data-in
// builders of sat.hpp and follow the same variant rules. Pure byte building.
#include <cstdint>

#include "drivekit/core/bytes.hpp"
#include "drivekit/health/sat.hpp"

namespace drivekit::SAT {

/// A non-data ATA command (protocol 3) with the SMART signature in LBA mid and high.
/// `checkCondition` asks the SCSI layer to end the command in CHECK CONDITION with the
/// ATA registers in the sense data, even when it succeeded: the only way to see what the
/// drive left in them.
Bytes smartNonData(Variant variant, std::uint8_t feature, std::uint8_t lbaLow,
                   bool checkCondition);

/// SMART RETURN STATUS (B0h, feature DAh), registers asked for. The drive answers in LBA
/// mid and high: 4Fh/C2h when every threshold holds, F4h/2Ch when one is exceeded.
Bytes smartReturnStatus(Variant variant);

/// SMART EXECUTE OFF-LINE IMMEDIATE (B0h, feature D4h) with a sub-command in LBA low; the
/// off-line sub-commands return at once and the test runs in the background.
Bytes smartExecuteOffLineImmediate(Variant variant, std::uint8_t subcommand);

/// CHECK POWER MODE (E5h), registers asked for: the drive answers in the count register
/// without spinning up, so this is the one command that may go to a disk that sleeps.
Bytes checkPowerMode(Variant variant);

namespace ata {
inline constexpr std::uint8_t smartExecuteOffLineImmediate = 0xD4;
inline constexpr std::uint8_t smartReturnStatus = 0xDA;
inline constexpr std::uint8_t checkPowerMode = 0xE5;
/// SMART RETURN STATUS answers in LBA mid/high.
inline constexpr std::uint8_t thresholdExceededLbaMid = 0xF4;
inline constexpr std::uint8_t thresholdExceededLbaHigh = 0x2C;
/// Sub-commands of EXECUTE OFF-LINE IMMEDIATE: the tests in off-line mode.
inline constexpr std::uint8_t shortSelfTestOffLine = 0x01;
inline constexpr std::uint8_t extendedSelfTestOffLine = 0x02;
/// Ends the self-test under way; a drive with none running ignores it.
inline constexpr std::uint8_t abortSelfTestOffLine = 0x7F;
}  // namespace ata

}  // namespace drivekit::SAT
