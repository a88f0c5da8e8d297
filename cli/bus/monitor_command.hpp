#pragma once
// `vantrel monitor [--once]`: the drive store without a window, for servers and tests.
// Passes on the poller's cadence and on disks plugged in or removed, one line per pass and
// per change worth an alert, the readings kept in the data folder. `--once` makes one
// pass, keeps its readings and ends (what a timer or a cron job runs). Sleeping disks are
// left asleep. A second monitor defers to the running one.
//
// `vantrel history DEVICE [--json]`: a drive's stored readings and the forecast they give.
#include <ostream>
#include <string_view>
#include <vector>

#include "cli/app_names.hpp"

namespace cli {

/// `args` are the words after "monitor"; `demo` keeps the readings of a demo machine
/// apart from the real ones.
int runMonitorCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                      std::ostream& err);

/// `args` are the words after "history".
int runHistoryCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                      std::ostream& err);

}  // namespace cli
