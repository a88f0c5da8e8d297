#include "drivekit/health/power_mode.hpp"

#include "drivekit/health/ata_commands.hpp"
#include "drivekit/health/sat_non_data.hpp"
#include "drivekit/health/sense.hpp"

namespace drivekit::PowerModes {

std::string_view raw(PowerMode mode) noexcept {
    return mode == PowerMode::standby ? "standby" : "active";
}

std::optional<PowerMode> fromAnswer(ByteView answer) {
    const auto registers = Sense::ataRegisters(answer);
    if (!registers || registers->failed()) return std::nullopt;
    // ACS-3 CHECK POWER MODE, normal outputs: 00h standby, 01h standby from an EPC timer,
    // 40h NV cache with the disk spun down, 41h spun up, 80h-83h idle, FFh active or idle.
    switch (registers->count) {
        case 0x00:
        case 0x01:
        case 0x40: return PowerMode::standby;
        default: return PowerMode::active;
    }
}

std::optional<PowerMode> query(SCSIDrive& drive) {
    for (const auto variant : SAT::attemptOrder) {
        const auto answer =
            drive.command(SAT::checkPowerMode(variant), 0, ATACommands::commandTimeout);
        if (!answer) {
            if (drive.stoppedAnswering()) return std::nullopt;
            continue;
        }
        if (auto mode = fromAnswer(*answer)) return mode;
    }
    return std::nullopt;
}

}  // namespace drivekit::PowerModes
