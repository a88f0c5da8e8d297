#include "cli/list_command.hpp"

#include <utility>

#include "app/drive_check.hpp"
#include "app/shown.hpp"
#include "cli/exit_codes.hpp"
#include "cli/failure_text.hpp"
#include "cli/summary_text.hpp"

namespace cli {

int runList(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err) {
    if (arguments.help) {
        out << listUsageText();
        return exitOK;
    }
    const auto reads = app::readEveryDrive(machine, arguments.wake);
    if (reads.empty() && !arguments.json) {
        const Said says = said(app::Failure{app::Failure::Kind::noDrives});
        err << "vantrel: " << says.sentence << '\n';
        return says.exitCode;
    }
    if (arguments.json) {
        drivekit::json::Object documents = drivekit::json::Object::array();
        for (const auto& read : reads) documents.push_back(app::documentOf(read, machine).toJSON());
        out << drivekit::json::dump(std::move(documents), drivekit::json::Layout::prettySorted) << '\n';
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
