#include "app/store/timers.hpp"

#include <QObject>
#include <QTimer>

namespace app {

QtTimers::QtTimers() : owner_(std::make_unique<QObject>()) {}
QtTimers::~QtTimers() = default;

drivekit::json::SystemTime QtTimers::now() const { return std::chrono::system_clock::now(); }
std::chrono::steady_clock::time_point QtTimers::steadyNow() const { return std::chrono::steady_clock::now(); }

Timers::Handle QtTimers::after(Duration delay, std::function<void()> action) {
    return start(delay, true, std::move(action));
}

Timers::Handle QtTimers::every(Duration period, std::function<void()> action) {
    return start(period, false, std::move(action));
}

Timers::Handle QtTimers::start(Duration delay, bool once, std::function<void()> action) {
    const Handle handle = next_++;
    auto* timer = new QTimer(owner_.get());
    timer->setSingleShot(once);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer, &QTimer::timeout, owner_.get(), [this, handle, once, action = std::move(action)] {
        if (once) {
            const auto it = timers_.find(handle);
            if (it == timers_.end()) return;
            it->second->deleteLater();
            timers_.erase(it);
        }
        action();
    });
    timer->start(static_cast<int>(delay.count()));
    timers_.emplace(handle, timer);
    return handle;
}

void QtTimers::cancel(Handle handle) {
    const auto it = timers_.find(handle);
    if (it == timers_.end()) return;
    it->second->stop();
    it->second->deleteLater();
    timers_.erase(it);
}

}  // namespace app
