#pragma once
// The machine's own clocks: CLOCK_REALTIME and CLOCK_MONOTONIC through std::chrono.
#include "platform/clock.hpp"

namespace platform {

class LinuxClock final : public Clock {
  public:
    std::chrono::system_clock::time_point now() const override;
    std::chrono::steady_clock::time_point steadyNow() const override;
};

}  // namespace platform
