#pragma once
// The vantrel command line: parses the arguments, wires the machine, runs the command.
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "cli/app_names.hpp"

namespace cli {

/// Runs one command line (without the program name) against a machine. Returns the exit
/// code; output on `out`, one-sentence errors on `err`.
int run(const std::vector<std::string_view>& args, Machine& machine, std::ostream& out, std::ostream& err);

/// Loads the demo machine's description (`file` empty: the shipped one) and runs the
/// command line on it. A description that can't be used is one sentence on `err` and the
/// usage exit code.
int runDemo(const std::vector<std::string_view>& args, const std::string& file, std::ostream& out,
            std::ostream& err);

/// The program's entry: the real Linux machine, standard streams.
int main(int argc, char** argv);

}  // namespace cli
