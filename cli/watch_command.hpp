#pragma once
// `vantrel watch [--json]`: one line for each drive plugged in or removed, as text or as a
// JSON object per line, until Ctrl-C or SIGTERM ends it with exit 0.
#include <functional>
#include <ostream>

#include "cli/app_names.hpp"
#include "cli/arguments.hpp"
#include "platform/disk_events.hpp"

namespace cli {

/// Watches `events` until `stop` says so. Lines go to `out` and are flushed one by one,
/// for a pipe.
int watchDrives(const Arguments& arguments, Machine& machine, platform::DiskEvents& events,
                const std::function<bool()>& stop, std::ostream& out);

/// The command: opens the machine's disk events, stops on SIGINT or SIGTERM.
int runWatch(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err);

}  // namespace cli
