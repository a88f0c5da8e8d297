#pragma once
// `vantrel report DEVICE [--format pdf|png|json] [--page N] [--full-serial] [-o FILE]`: the
// drive's Health report. `vantrel card DEVICE [--benchmark | --scan] [-o FILE.png]`: the Disk
// Health card, or the card of its last benchmark or surface scan. `vantrel readings --csv
// [-o FILE]`: every kept reading as CSV. Without -o, the file is named as the share names
// it, in the working folder; `-o -` writes to standard output.
#include <ostream>
#include <string_view>
#include <vector>

#include "cli/app_names.hpp"

namespace cli {

/// `args` are the words after the command; `demo` reads the demo machine's readings.
int runReportCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                     std::ostream& err);
int runCardCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                   std::ostream& err);
int runReadingsCommand(const std::vector<std::string_view>& args, bool demo, std::ostream& out, std::ostream& err);

}  // namespace cli
