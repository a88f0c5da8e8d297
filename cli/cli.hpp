#pragma once
// The vantrel command line: parses the arguments, wires the machine, runs the command.
#include <ostream>
#include <string_view>
#include <vector>

#include "cli/app_names.hpp"

namespace cli {

/// Runs one command line (without the program name) against a machine. Returns the exit
/// code; output on `out`, one-sentence errors on `err`.
int run(const std::vector<std::string_view>& args, Machine& machine, std::ostream& out, std::ostream& err);

/// The program's entry: the real Linux machine, standard streams.
int main(int argc, char** argv);

}  // namespace cli
