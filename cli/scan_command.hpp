#pragma once
// `vantrel scan DEVICE [--quick|--full] [--json]`: a surface scan of one whole disk. On a
// terminal a live line on stderr shows the percentage, speed, unreadable and slow counts
// and the time left; at the end a short table (or the result as JSON) goes to stdout.
// Ctrl-C stops the scan before its next read; what was read is printed and saved.
#include <ostream>
#include <string_view>
#include <vector>

#include "cli/app_names.hpp"

namespace cli {

/// `args` are the words after "scan". On the demo machine (`demo`) the result is kept
/// apart from the real drives' results, as the store keeps its files.
int runScanCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                   std::ostream& err);

}  // namespace cli
