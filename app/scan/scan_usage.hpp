#pragma once
// What a surface scan costs this program: one sample a second, while the scan runs, of
// its own share of a processor core and its resident memory, kept for the statistics the
// scan shows when it ends.
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "app/process_use.hpp"
#include "drivekit/core/json.hpp"
#include "drivekit/scan/surface_scan.hpp"

namespace app {

struct ScanUsage {
    std::vector<double> cpu;             // percent of one core over each second
    std::vector<std::uint64_t> memory;   // resident bytes at each sample

    bool operator==(const ScanUsage&) const = default;
};

/// A scan that ended, with what it cost the process that ran it: what `vantrel scan --json`
/// prints, and what the privileged service answers a scan with.
struct ScanAnswer {
    drivekit::surface_scan::Result result;
    ScanUsage usage;
};
drivekit::json::Object toJson(const ScanAnswer& answer);
/// Nothing when the record isn't a scan; samples that don't read are left out.
std::optional<ScanAnswer> scanAnswerFromJson(const drivekit::json::Object& value);

namespace ScanUsageSampling {

/// Adds the sample `now`, taken after `before`: the processor share over the time between
/// them and the memory now. Nothing is added when no time passed between them (the two
/// looks fell in the same tick of /proc/uptime) or the clock went back.
void add(ScanUsage& usage, const ProcessUse& before, const ProcessUse& now);

}  // namespace ScanUsageSampling

/// Samples from construction until `finish` (or destruction), on a thread of its own: one
/// sample a second and a last one at the end.
class ScanUsageSampler {
  public:
    using Look = std::function<std::optional<ProcessUse>()>;

    explicit ScanUsageSampler(Look look);
    ~ScanUsageSampler();
    ScanUsageSampler(const ScanUsageSampler&) = delete;
    ScanUsageSampler& operator=(const ScanUsageSampler&) = delete;

    /// Stops at once and gives what was sampled.
    ScanUsage finish();

  private:
    Look look_;
    std::mutex lock_;
    std::condition_variable woken_;
    bool stopping_ = false;
    ScanUsage usage_;
    std::thread thread_;
};

}  // namespace app
