#pragma once
// A drive's lifetime I/O counters, for throughput and for the writes by application, and
// the largest single read its driver stack takes. Both read the kernel's block-device
// attributes through platform::Sysfs and never raise: anything unreadable is nothing.
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/clock.hpp"
#include "platform/sysfs.hpp"

namespace drivekit {

/// Counters since the driver started; they restart with it (a drive that is unplugged
/// and comes back starts again from zero).
struct IOStats {
    std::uint64_t bytesRead = 0;
    std::uint64_t bytesWritten = 0;
    std::uint64_t readErrors = 0;
    std::uint64_t writeErrors = 0;
    std::uint64_t readRetries = 0;
    std::uint64_t writeRetries = 0;
    std::chrono::system_clock::time_point sampledAt{};

    struct Rates {
        double read = 0;  // bytes per second
        double write = 0;

        bool operator==(const Rates&) const = default;
    };

    /// The counters of a block device by its kernel name ("sda", "nvme0n1"), stamped
    /// with the clock's wall time. Bytes come from the sectors of
    /// "/sys/class/block/<name>/stat", which the kernel always counts in 512-byte units.
    /// The kernel counts failed commands in "device/ioerr_cnt" without telling reads
    /// from writes; they are reported as `readErrors`, with `writeErrors` 0, so that the
    /// two together hold the true total. Drives without that file (NVMe, SD) read 0, and
    /// retries are always 0, since Linux keeps no such counter. Nothing when the name
    /// isn't a plain device name or the stat line can't be read.
    static std::optional<IOStats> read(std::string_view bsdName, const platform::Sysfs& sysfs,
                                       const platform::Clock& clock);

    /// Bytes per second since `earlier`. Both 0 when the counters restarted in between;
    /// the interval counts as at least a millisecond, so two samples of one instant
    /// divide by 0.001 seconds, not by zero.
    Rates rates(const IOStats& earlier) const;

    /// Whether the driver restarted since `earlier`: a byte counter went down.
    bool isRestart(const IOStats& earlier) const;

    bool operator==(const IOStats&) const = default;
};

namespace ReadLimit {
/// The largest single transfer the device takes, from "queue/max_hw_sectors_kb" x 1024;
/// a partition's name answers for its disk. Nothing when the value is missing or below
/// 1, which callers take as no known limit.
std::optional<std::int64_t> maxBytes(std::string_view bsdName, const platform::Sysfs& sysfs);
}  // namespace ReadLimit

}  // namespace drivekit
