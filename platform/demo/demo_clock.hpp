#pragma once
// DemoClock: the demo machine's time. Its wall clock starts at the moment the machine's
// description names, so that screenshots and forecasts come out the same on every run,
// and moves on with real time from the machine's making, so that intervals and time-outs
// still pass. Without a named moment it is the system's own time. The demo's simulated
// transfers move it on by the time they would have taken (`pass`), so that a benchmark
// measures the simulated drive's pace without waiting for it.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>

#include "platform/clock.hpp"

namespace platform {

class DemoClock final : public Clock {
  public:
    explicit DemoClock(std::optional<std::chrono::system_clock::time_point> start)
        : start_(start), made_(std::chrono::steady_clock::now()) {}

    std::chrono::system_clock::time_point now() const override {
        const auto moved = std::chrono::duration_cast<std::chrono::system_clock::duration>(passedBy());
        if (!start_) return std::chrono::system_clock::now() + moved;
        return *start_ + moved +
               std::chrono::duration_cast<std::chrono::system_clock::duration>(std::chrono::steady_clock::now() - made_);
    }
    std::chrono::steady_clock::time_point steadyNow() const override {
        return std::chrono::steady_clock::now() + passedBy();
    }
    /// Moves both clocks on, as if `time` had passed; from any thread.
    void pass(std::chrono::nanoseconds time) const { passed_ += time.count(); }

  private:
    std::chrono::nanoseconds passedBy() const { return std::chrono::nanoseconds(passed_.load()); }
    mutable std::atomic<std::int64_t> passed_{0};
    std::optional<std::chrono::system_clock::time_point> start_;
    std::chrono::steady_clock::time_point made_;
};

}  // namespace platform
