#pragma once
// What the system does to the boot drive (swap, memory pressure, bytes written since
// boot) and what this program itself costs, from /proc and sysfs. Every source may fail
// alone; its figures then stay 0 or absent.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "app/store/reading.hpp"
#include "drivekit/core/json.hpp"
#include "platform/proc_files.hpp"
#include "platform/sysfs.hpp"

namespace app {

struct SystemStats {
    enum class Pressure { normal, elevated, high };

    std::uint64_t swapUsedBytes = 0;
    std::uint64_t swapTotalBytes = 0;
    std::uint64_t swapOutBytesSinceBoot = 0;
    Pressure pressure = Pressure::normal;
    std::uint64_t writtenSinceBootBytes = 0;
    std::optional<drivekit::json::SystemTime> bootDate;
    std::uint64_t selfWrittenBytes = 0;
    double selfCPUPercent = 0;
    double selfCPUSeconds = 0;
    double selfAliveSeconds = 0;

    /// What an internal SSD's reading keeps of it.
    SystemMark mark() const { return SystemMark{swapOutBytesSinceBoot, bootDate}; }
    bool operator==(const SystemStats&) const = default;
};

namespace SystemStatsReader {

/// A snapshot from /proc, and from the block layer's counters of `bootDrive` (the kernel
/// name of the disk holding "/", when known). The process's CPU share is over its whole life.
SystemStats read(const platform::ProcFiles& proc, const platform::Sysfs& sysfs,
                 const std::optional<std::string>& bootDrive);

/// The next figures after `old`: the CPU share over the interval since the last update,
/// unless it is under a second, when the old CPU figures stay, so that a short interval
/// neither shows noise nor shortens the next one.
SystemStats updated(const std::optional<SystemStats>& old, SystemStats fresh);

}  // namespace SystemStatsReader

}  // namespace app
