#pragma once
// `vantrel readings --csv [-o FILE]`: every kept reading of every drive as CSV.
#include <ostream>
#include <string_view>
#include <vector>

namespace cli {

/// `args` are the words after "readings"; `demo` reads the demo machine's readings.
int runReadingsCommand(const std::vector<std::string_view>& args, bool demo, std::ostream& out, std::ostream& err);

}  // namespace cli
