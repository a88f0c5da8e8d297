#pragma once
// What this program itself costs right now, from /proc/self: processor seconds used, how
// long it has run, and its resident memory. Read by the monitor's system figures and by
// the samples a surface scan keeps of its own cost.
#include <cstdint>
#include <optional>

#include "platform/proc_files.hpp"

namespace app {

struct ProcessUse {
    double cpuSeconds = 0;
    double aliveSeconds = 0;
    std::uint64_t residentBytes = 0;
};

/// Nothing when self/stat can't be read or parsed; an unreadable uptime or statm leaves
/// its figure at 0.
std::optional<ProcessUse> ownUse(const platform::ProcFiles& proc);

}  // namespace app
