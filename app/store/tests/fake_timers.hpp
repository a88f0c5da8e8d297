#pragma once
// A virtual clock for the store's tests: timers fire in due order as the test advances
// time, and nothing sleeps.
#include <map>
#include <utility>

#include "app/store/timers.hpp"

namespace app::testing {

class FakeTimers final : public Timers {
  public:
    drivekit::json::SystemTime now() const override { return wallStart_ + elapsed_; }
    std::chrono::steady_clock::time_point steadyNow() const override {
        return std::chrono::steady_clock::time_point{} + elapsed_;
    }
    Handle after(Duration delay, std::function<void()> action) override { return add(delay, {}, std::move(action)); }
    Handle every(Duration period, std::function<void()> action) override {
        return add(period, period, std::move(action));
    }
    void cancel(Handle handle) override {
        std::erase_if(due_, [&](const auto& entry) { return entry.second.handle == handle; });
    }

    /// Moves time forward by `span`, firing every timer due on the way at its moment.
    void advance(std::chrono::milliseconds span) {
        const auto end = elapsed_ + span;
        while (!due_.empty() && due_.begin()->first.first <= end) {
            auto node = due_.extract(due_.begin());
            elapsed_ = node.key().first;
            Entry entry = std::move(node.mapped());
            if (entry.period.count() > 0) due_.emplace(Key{elapsed_ + entry.period, ++sequence_}, entry);
            entry.action();
        }
        elapsed_ = end;
    }
    std::size_t pending() const { return due_.size(); }

  private:
    struct Entry {
        Handle handle;
        Duration period;
        std::function<void()> action;
    };
    using Key = std::pair<std::chrono::milliseconds, std::uint64_t>;

    Handle add(Duration delay, Duration period, std::function<void()> action) {
        const Handle handle = next_++;
        due_.emplace(Key{elapsed_ + delay, ++sequence_}, Entry{handle, period, std::move(action)});
        return handle;
    }

    drivekit::json::SystemTime wallStart_ = drivekit::json::SystemTime{} + std::chrono::hours(24 * 365 * 56);
    std::chrono::milliseconds elapsed_{0};
    std::map<Key, Entry> due_;
    Handle next_ = 1;
    std::uint64_t sequence_ = 0;
};

}  // namespace app::testing
