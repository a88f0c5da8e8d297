#pragma once
// Time, injected: code that stamps records or measures intervals asks a Clock, so that
// tests can set the time and never sleep.
#include <chrono>

namespace platform {

class Clock {
  public:
    virtual ~Clock() = default;

    /// Wall time, for records that carry a date. It can jump when the user or NTP sets
    /// the system clock.
    virtual std::chrono::system_clock::time_point now() const = 0;

    /// Monotonic time, for intervals and time-outs; it never jumps.
    virtual std::chrono::steady_clock::time_point steadyNow() const = 0;

  protected:
    Clock() = default;
    Clock(const Clock&) = default;
    Clock& operator=(const Clock&) = default;
};

}  // namespace platform
