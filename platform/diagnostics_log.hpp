#pragma once
// DiagnosticsLog: a small thread-safe ring of text lines that records what happened on
// the USB side of a capture, in the enclosure's own terms. The capacity is fixed, so a
// long scan can't grow it; success lines can be switched off so that the ring keeps what
// went wrong. Anyone may write or read from any thread.
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace platform {

class DiagnosticsLog {
public:
    static constexpr std::size_t defaultCapacity = 400;

    explicit DiagnosticsLog(std::size_t capacity = defaultCapacity);

    DiagnosticsLog(const DiagnosticsLog&) = delete;
    DiagnosticsLog& operator=(const DiagnosticsLog&) = delete;

    /// Adds a line; once the ring is full the oldest line makes room.
    void note(std::string line);

    /// Adds the line `makeLine()` returns, unless success lines are switched off; then
    /// `makeLine` isn't called at all, so a scan's hot path doesn't pay for formatting.
    template <typename MakeLine>
    void noteSuccess(MakeLine&& makeLine) {
        {
            std::lock_guard lock(mutex_);
            if (!notesSuccesses_) return;
        }
        note(std::forward<MakeLine>(makeLine)());
    }

    /// The lines from oldest to newest.
    std::vector<std::string> lines() const;
    /// How many lines were overwritten.
    std::size_t dropped() const;

    bool notesSuccesses() const;
    void setNotesSuccesses(bool on);

    std::size_t capacity() const noexcept { return capacity_; }

private:
    const std::size_t capacity_;
    mutable std::mutex mutex_;
    std::vector<std::string> ring_;
    std::size_t next_ = 0;
    std::size_t dropped_ = 0;
    bool notesSuccesses_ = true;
};

}  // namespace platform

// DriveKit names it as its own.
namespace drivekit {
using platform::DiagnosticsLog;
}  // namespace drivekit
