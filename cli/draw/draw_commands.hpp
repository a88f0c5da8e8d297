#pragma once
// `vantrel report DEVICE [--format pdf|png|json] [--page N] [--full-serial] [-o FILE]`: the
// drive's Health report. `vantrel card DEVICE [--benchmark | --scan] [-o FILE.png]`: the
// Disk Health card, or the card of its last benchmark or surface scan. Without -o, the
// file is named as the share names it, in the working folder; `-o -` writes to standard
// output. Linked only into vantrel-draw (and the tests): see cli/drawing.hpp.
#include <ostream>
#include <string_view>
#include <vector>

#include "cli/drawing.hpp"

namespace cli {

/// `args` are the words after the command; `demo` reads the demo machine's readings.
int runReportCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                     std::ostream& err);
int runCardCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                   std::ostream& err);

/// Lets this program run `report` and `card` itself.
void useDrawing();

}  // namespace cli
