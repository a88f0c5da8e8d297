#pragma once
// `vantrel list [--json]`: every drive of this computer with its tier, score and line.
#include <ostream>

#include "cli/arguments.hpp"
#include "cli/app_names.hpp"

namespace cli {

/// One line per drive, or with --json an array of health documents. Drives whose health
/// can't be read are listed as limited, never as errors: the exit code is 0 unless a
/// drive needs care (1) or there is no drive at all (3).
int runList(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err);

}  // namespace cli
