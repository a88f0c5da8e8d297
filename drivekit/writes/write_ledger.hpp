#pragma once
// Turns samples of the per-process counters into intervals: how many bytes each owner
// wrote between two samples. A plain value with no clock and no threads; the caller hands
// it samples in time order.
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "drivekit/writes/process_writes.hpp"
#include "drivekit/writes/write_owner.hpp"

namespace drivekit {

using WriteTime = std::chrono::system_clock::time_point;

struct WriteSample {
    WriteTime at;
    std::vector<ProcessWrites> processes;
    /// The system drive's own total of bytes written, from its health data.
    std::optional<std::uint64_t> driveWritten;
};

struct WriteInterval {
    WriteTime start;
    WriteTime end;
    std::map<WriteOwner, std::uint64_t> byOwner;

    bool operator==(const WriteInterval&) const = default;
};

class WriteLedger {
  public:
    /// The longest gap between two samples that still makes an interval. Over it, the
    /// computer slept or nobody sampled, and nothing can be said of who wrote in it.
    static constexpr double kLongestGapSeconds = 900.0;

    /// The interval since the previous sample; nothing for the first sample, a sample
    /// that isn't later than the previous one, or one after too long a gap. The sample is
    /// remembered in every case. A process that ended between two samples adds nothing
    /// for that time (its last count went with it); when the drive's counter is known,
    /// whatever the drive wrote beyond what processes account for goes to the system. A
    /// pid remembered with nothing written counts whole, start time or not.
    std::optional<WriteInterval> take(const WriteSample& sample);

    std::optional<WriteTime> lastAt() const { return lastAt_; }

  private:
    void remember(const WriteSample& sample);

    std::map<std::int32_t, ProcessWrites> last_;
    std::optional<WriteTime> lastAt_;
    std::optional<std::uint64_t> lastDrive_;
};

}  // namespace drivekit
