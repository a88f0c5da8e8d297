#pragma once
// Time for the store, injected: the wall clock for dates, the monotonic one for
// intervals, and timers. The real ones run on the Qt event loop of the thread that made
// them; tests drive a virtual clock and never sleep.
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "drivekit/core/json.hpp"

class QObject;
class QTimer;

namespace app {

class Timers {
  public:
    using Handle = std::uint64_t;
    using Duration = std::chrono::milliseconds;

    virtual ~Timers() = default;
    virtual drivekit::json::SystemTime now() const = 0;
    virtual std::chrono::steady_clock::time_point steadyNow() const = 0;
    /// Calls `action` once, `delay` from now, unless cancelled first.
    virtual Handle after(Duration delay, std::function<void()> action) = 0;
    /// Calls `action` every `period` until cancelled; nothing is allocated per call.
    virtual Handle every(Duration period, std::function<void()> action) = 0;
    /// Does nothing for a timer that already fired once or was cancelled.
    virtual void cancel(Handle handle) = 0;

  protected:
    Timers() = default;
    Timers(const Timers&) = default;
    Timers& operator=(const Timers&) = default;
};

/// QTimers of the calling thread's event loop.
class QtTimers final : public Timers {
  public:
    QtTimers();
    ~QtTimers() override;
    QtTimers(const QtTimers&) = delete;
    QtTimers& operator=(const QtTimers&) = delete;

    drivekit::json::SystemTime now() const override;
    std::chrono::steady_clock::time_point steadyNow() const override;
    Handle after(Duration delay, std::function<void()> action) override;
    Handle every(Duration period, std::function<void()> action) override;
    void cancel(Handle handle) override;

  private:
    Handle start(Duration delay, bool once, std::function<void()> action);

    std::unique_ptr<QObject> owner_;
    std::map<Handle, QTimer*> timers_;
    Handle next_ = 1;
};

}  // namespace app
