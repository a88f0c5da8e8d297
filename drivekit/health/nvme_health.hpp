#pragma once
// NVMeHealth: the figures of an NVMe drive's SMART / Health Information log (log page 2,
// 512 bytes) and the names from its Identify Controller data (4,096 bytes). Decoding is
// pure: it takes two byte buffers and never touches the machine, so any thread may call it.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivekit/core/bytes.hpp"
#include "drivekit/core/local_format.hpp"
#include "drivekit/health/detail.hpp"

namespace drivekit {

struct NVMeHealth {
    /// Size of the SMART / Health Information log page, and of the Identify data.
    static constexpr std::size_t logSize = 512;
    static constexpr std::size_t identifySize = 4096;

    std::uint8_t criticalWarning = 0;    // bit field, kept whole
    std::optional<int> temperatureC;     // absent when the drive reports 0 kelvin
    std::uint8_t availableSpare = 0;     // percent
    std::uint8_t spareThreshold = 0;     // percent
    std::uint8_t percentageUsed = 0;     // percent; 255 is the cap of the field
    std::uint64_t dataUnitsRead = 0;     // units of 512,000 bytes
    std::uint64_t dataUnitsWritten = 0;  // units of 512,000 bytes
    std::uint64_t powerCycles = 0;
    std::uint64_t powerOnHours = 0;
    std::uint64_t unsafeShutdowns = 0;
    std::uint64_t mediaErrors = 0;  // media and data integrity errors
    std::uint64_t errorLogEntries = 0;
    std::uint32_t warningTempMinutes = 0;
    std::uint32_t criticalTempMinutes = 0;
    std::string model;
    std::string serial;
    std::string firmware;

    /// Decodes a log page and Identify Controller data. Nothing when the log holds fewer
    /// than 512 bytes; an identify buffer too short for a text field leaves that field
    /// empty. The 128-bit counters are read by their low 64 bits alone.
    static std::optional<NVMeHealth> decode(ByteView smart, ByteView identify);

    bool operator==(const NVMeHealth&) const = default;
};

/// The twelve rows of the raw-data view, in their fixed order, with values formatted for
/// `locale`: "Critical warning" 0x00, "Temperature" 50 °C, ..., "Error log entries".
std::vector<Detail> healthDetails(const NVMeHealth& health, const Locale& locale);

}  // namespace drivekit
