#include "platform/diagnostics_log.hpp"

namespace platform {

DiagnosticsLog::DiagnosticsLog(std::size_t capacity) : capacity_(capacity) {
    ring_.reserve(capacity_);
}

void DiagnosticsLog::note(std::string line) {
    std::lock_guard lock(mutex_);
    if (capacity_ == 0) {
        ++dropped_;
        return;
    }
    if (ring_.size() < capacity_) {
        ring_.push_back(std::move(line));
        return;
    }
    ring_[next_] = std::move(line);
    next_ = (next_ + 1) % capacity_;
    ++dropped_;
}

std::vector<std::string> DiagnosticsLog::lines() const {
    std::lock_guard lock(mutex_);
    if (ring_.size() < capacity_) return ring_;
    std::vector<std::string> ordered;
    ordered.reserve(ring_.size());
    const auto split = ring_.begin() + static_cast<std::ptrdiff_t>(next_);
    ordered.insert(ordered.end(), split, ring_.end());
    ordered.insert(ordered.end(), ring_.begin(), split);
    return ordered;
}

std::size_t DiagnosticsLog::dropped() const {
    std::lock_guard lock(mutex_);
    return dropped_;
}

bool DiagnosticsLog::notesSuccesses() const {
    std::lock_guard lock(mutex_);
    return notesSuccesses_;
}

void DiagnosticsLog::setNotesSuccesses(bool on) {
    std::lock_guard lock(mutex_);
    notesSuccesses_ = on;
}

}  // namespace platform
