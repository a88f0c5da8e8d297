#pragma once
// `vantrel bench DIRECTORY [--json]`: four speed tests, three runs each, on a temporary
// file in a folder of the drive, and the verdict against what the drive's link carries.
// On a terminal a live line on stderr shows the test under way and its speed; at the end
// a table (or the runs as JSON) goes to stdout. Ctrl-C or SIGTERM stops after the call
// under way; the test file is removed on every path.
#include <ostream>
#include <string_view>
#include <vector>

#include "cli/app_names.hpp"

namespace cli {

/// `args` are the words after "bench". On the demo machine (`demo`) the result is kept
/// apart from the real drives' results, as the store keeps its files.
int runBenchCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                    std::ostream& err);

}  // namespace cli
