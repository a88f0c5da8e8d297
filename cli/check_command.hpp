#pragma once
// `vantrel check [DEVICE] [--json]`: reads drives live, rates them and prints the report.
#include <optional>
#include <ostream>
#include <string_view>

#include "cli/arguments.hpp"
#include "cli/app_names.hpp"

namespace cli {

/// Refuses, with one sentence on `err` and its exit code, a name that isn't a whole drive
/// of this machine: no such device (3), a partition (4). Nothing for a whole drive.
std::optional<int> refuseDevice(std::string_view name, const Machine& machine, std::ostream& err);

/// Returns the exit code; see exit_codes.hpp. Errors go to `err` as one sentence each.
int runCheck(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err);

}  // namespace cli
