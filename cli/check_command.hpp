#pragma once
// `vantrel check [DEVICE] [--json]`: reads drives, rates them and prints the report.
#include <ostream>

#include "cli/app_names.hpp"
#include "cli/arguments.hpp"

namespace cli {

/// Returns the exit code; see exit_codes.hpp. Errors go to `err` as one sentence each.
int runCheck(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err);

}  // namespace cli
