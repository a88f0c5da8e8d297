#include "cli/readings_command.hpp"

#include <string>

#include "cli/exit_codes.hpp"
#include "cli/share_output.hpp"
#include "reports/gather.hpp"
#include "reports/share_item.hpp"

namespace cli {

int runReadingsCommand(const std::vector<std::string_view>& args, bool demo, std::ostream& out, std::ostream& err) {
    bool csv = false;
    std::string file = "-";
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--help" || args[i] == "-h") {
            out << "Usage: vantrel readings --csv [-o FILE]\n"
                   "Every kept reading of every drive as CSV (UTF-8, ISO 8601 dates in UTC), oldest first.\n"
                   "Without -o it goes to standard output.\n";
            return exitOK;
        }
        if (args[i] == "--csv") {
            csv = true;
        } else if ((args[i] == "-o" || args[i] == "--output") && i + 1 < args.size()) {
            file = std::string(args[++i]);
        } else {
            err << "vantrel: unknown option for readings: " << args[i] << ". Run vantrel readings --help.\n";
            return exitUsage;
        }
    }
    if (!csv) {
        err << "vantrel: readings needs --csv. Run vantrel readings --help.\n";
        return exitUsage;
    }
    const auto paths = sharePaths(demo);
    if (paths.data.empty()) {
        err << "vantrel: no data folder: set HOME or XDG_DATA_HOME.\n";
        return exitNoDevice;
    }
    const auto all = reports::allReadings(paths.readings(), paths.knownDrives());
    return writeShared(reports::ReadingsCSV::text(all.readings, all.names), file, out, err);
}

}  // namespace cli
