#include "cli/list_command.hpp"

#include "cli/drive_reads.hpp"
#include "cli/exit_codes.hpp"
#include "cli/summary_text.hpp"
#include "drivekit/core/json.hpp"

namespace cli {

int runList(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err) {
    if (arguments.help) {
        out << listUsageText();
        return exitOK;
    }
    const auto reads = readMachineDrives(machine, arguments.wake);
    if (reads.empty() && !arguments.json) {
        err << "vantrel: this computer has no drives to list.\n";
        return exitNoDevice;
    }
    if (arguments.json) {
        drivekit::json::Object documents = drivekit::json::Object::array();
        for (const auto& read : reads) documents.push_back(documentOf(read, machine).toJSON());
        out << drivekit::json::dump(documents, drivekit::json::Layout::prettySorted) << '\n';
    } else {
        printDriveList(reads, arguments.wide, out);
    }
    int code = exitOK;
    for (const auto& read : reads) {
        if (app::needsCare(read)) code = exitNeedsCare;
    }
    return code;
}

}  // namespace cli
