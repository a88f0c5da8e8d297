#pragma once
// What one run of the command line gave: its exit code and both streams. Test code only.
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "cli/bus/bus_parts.hpp"
#include "cli/cli.hpp"

namespace cli::test {

struct Outcome {
    int code;
    std::string out;
    std::string err;
};

/// `vantrel` with `args` on `machine`, with every part of the program linked in (as
/// vantrel-bus runs them).
inline Outcome run(std::vector<std::string_view> args, Machine& machine) {
    cli::useBus();
    std::ostringstream out, err;
    const int code = cli::run(args, machine, out, err);
    return {code, out.str(), err.str()};
}

/// `vantrel` with `args` on the demo machine described by `file` (the shipped one by default).
inline Outcome runDemo(std::vector<std::string_view> args,
                       const std::string& file = std::string(VANTREL_DEMO_DATA) + "/machine.json") {
    cli::useBus();
    std::ostringstream out, err;
    const int code = cli::runDemo(args, file, out, err);
    return {code, out.str(), err.str()};
}

inline std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

}  // namespace cli::test
