#pragma once
// DemoClock: the demo machine's time. Its wall clock starts at the moment the machine's
// description names, so that screenshots and forecasts come out the same on every run,
// and moves on with real time from the machine's making, so that intervals and time-outs
// still pass. Without a named moment it is the system's own time.
#include <chrono>
#include <optional>

#include "platform/clock.hpp"

namespace platform {

class DemoClock final : public Clock {
  public:
    explicit DemoClock(std::optional<std::chrono::system_clock::time_point> start)
        : start_(start), made_(std::chrono::steady_clock::now()) {}

    std::chrono::system_clock::time_point now() const override {
        if (!start_) return std::chrono::system_clock::now();
        return *start_ + std::chrono::duration_cast<std::chrono::system_clock::duration>(
                             std::chrono::steady_clock::now() - made_);
    }
    std::chrono::steady_clock::time_point steadyNow() const override {
        return std::chrono::steady_clock::now();
    }

  private:
    std::optional<std::chrono::system_clock::time_point> start_;
    std::chrono::steady_clock::time_point made_;
};

}  // namespace platform
