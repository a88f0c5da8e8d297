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
    int code = exitOK;
    if (arguments.json) {
        drivekit::json::Object documents = drivekit::json::Object::array();
        for (const auto& drive : app::documentEveryDrive(machine, arguments.wake)) {
            documents.push_back(drive.document.toJSON());
            if (drive.needsCare) code = exitNeedsCare;
        }
        out << drivekit::json::dump(std::move(documents), drivekit::json::Layout::prettySorted) << '\n';
        return code;
    }
    const auto reads = app::readEveryDrive(machine, arguments.wake);
    if (reads.empty()) {
        const Said says = said(app::Failure{app::Failure::Kind::noDrives});
        err << "vantrel: " << says.sentence << '\n';
        return says.exitCode;
    }
    printDriveList(reads, arguments.wide, out);
    for (const auto& read : reads) {
        if (app::needsCare(read)) code = exitNeedsCare;
    }
    return code;
}

}  // namespace cli
