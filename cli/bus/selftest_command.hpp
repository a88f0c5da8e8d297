#pragma once
// `vantrel selftest DEVICE [short|extended] [--json]`: starts a SATA or USB drive's own
// self-test, or shows whether one runs, how far it got, and the drive's self-test log.
#include <ostream>

#include "cli/arguments.hpp"
#include "cli/app_names.hpp"

namespace cli {

/// Returns the exit code; see exit_codes.hpp. Errors go to `err` as one sentence each.
int runSelfTest(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err);

}  // namespace cli
