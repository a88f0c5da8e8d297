#include "drivekit/writes/write_ledger.hpp"

#include <algorithm>
#include <cstdlib>

namespace drivekit {

namespace {

std::uint64_t sum(std::uint64_t a, std::uint64_t b) {
    std::uint64_t total = 0;
    // Exabytes between two samples can't happen; a counter that says so is a bug to stop on.
    if (__builtin_add_overflow(a, b, &total)) std::abort();
    return total;
}

std::uint64_t micros(WriteTime time) {
    const auto count = std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
    return count < 0 ? 0 : static_cast<std::uint64_t>(count);
}

}  // namespace

void WriteLedger::remember(const WriteSample& sample) {
    last_.clear();
    for (const auto& process : sample.processes) last_.insert_or_assign(process.pid, process);
    lastAt_ = sample.at;
    lastDrive_ = sample.driveWritten;
}

std::optional<WriteInterval> WriteLedger::take(const WriteSample& sample) {
    if (!lastAt_ || sample.at <= *lastAt_ ||
        std::chrono::duration<double>(sample.at - *lastAt_).count() > kLongestGapSeconds) {
        remember(sample);
        return std::nullopt;
    }
    const std::uint64_t previous = micros(*lastAt_);
    WriteInterval interval{*lastAt_, sample.at, {}};
    for (const auto& process : sample.processes) {
        std::uint64_t delta = 0;
        const auto known = last_.find(process.pid);
        // A pid remembered with nothing written counts by its whole count, whether it is
        // the same process or a new one: everything it shows came since then. (The reader
        // doesn't read the start time of processes that haven't written.)
        if (known != last_.end() && (known->second.started == process.started || known->second.written == 0)) {
            if (process.written < known->second.written) continue;  // a counter can't fall
            delta = process.written - known->second.written;
        } else {
            // New, or a reused pid. One that started before the last sample ran unseen,
            // and its total can't be split between then and now.
            if (process.started == 0 || process.started < previous) continue;
            delta = process.written;
        }
        if (delta == 0) continue;
        auto& bytes = interval.byOwner[WriteOwners::of(process)];
        bytes = sum(bytes, delta);
    }

    std::uint64_t attributed = 0;
    std::uint64_t systemBytes = 0;
    for (const auto& [owner, bytes] : interval.byOwner) {
        if (owner.kind == WriteOwner::Kind::system) {
            systemBytes = bytes;
        } else {
            attributed = sum(attributed, bytes);
        }
    }
    if (lastDrive_ && sample.driveWritten && *sample.driveWritten >= *lastDrive_) {
        const std::uint64_t drive = *sample.driveWritten - *lastDrive_;
        if (drive > attributed) systemBytes = std::max(systemBytes, drive - attributed);
    }
    if (systemBytes > 0) {
        interval.byOwner[WriteOwner::system()] = systemBytes;
    } else {
        interval.byOwner.erase(WriteOwner::system());
    }
    remember(sample);
    return interval;
}

}  // namespace drivekit
