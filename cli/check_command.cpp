#include "cli/check_command.hpp"

#include "app/drive_check.hpp"
#include "app/shown.hpp"
#include "cli/exit_codes.hpp"
#include "cli/failure_text.hpp"
#include "cli/report_text.hpp"
#include "cli/signals.hpp"
#include "cli/summary_text.hpp"

namespace cli {

using namespace drivekit;

namespace {

void printChecked(const app::CheckedDrive& checked, const Locale& locale, std::ostream& out) {
    const app::DriveRead& read = checked.read;
    if (read.reading.report) {
        const std::string& line = checked.shown ? read.summary.line : checked.document.health.line;
        printReport(*read.reading.report, line, read.reading.smartStatus, locale, out);
    } else {
        out << read.drive.device() << "  " << drivekit::text::printable(read.summary.name) << "  (" << kindWord(read.drive) << ")\n";
    }
    if (checked.shown) printSummary(read.summary, out);
}

}  // namespace

int runCheck(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err) {
    if (arguments.help) {
        out << checkUsageText();
        return exitOK;
    }
    std::vector<std::string> names;
    if (arguments.device) {
        names.push_back(*arguments.device);
    } else {
        names = app::nvmeDriveNames(machine);
        if (names.empty()) {
            app::Failure none{app::Failure::Kind::noDrives};
            none.detail = "this computer has no NVMe drives to check.";
            const Said says = said(none);
            err << "vantrel: " << says.sentence << '\n';
            return says.exitCode;
        }
    }

    // A careful check holds a USB device: a signal then only asks it to stop, and it gives
    // the device back before the process ends.
    const StopOnSignals signals(machine.capture ? machine.capture->giveBackNow : nullptr);
    int exitCode = exitOK;
    json::Object documents = json::Object::array();
    bool first = true;
    for (const auto& name : names) {
        const app::CheckRequest request{name, arguments.capture, arguments.wake,
                                        [] { return StopOnSignals::requested(); },
                                        [&err](const std::string& line) { err << line << std::endl; }};
        const auto checked = app::checkDrive(machine, request);
        // The read ran to its end; the signal now ends the process as it would have.
        if (StopOnSignals::requested() && (checked || checked.error().kind != app::Failure::Kind::interrupted)) {
            StopOnSignals::endBySignal();
        }
        if (!checked) {
            const Said says = said(checked.error());
            err << "vantrel: " << says.sentence << '\n';
            if (checked.error().kind == app::Failure::Kind::interrupted) StopOnSignals::endBySignal();
            exitCode = worseExit(exitCode, says.exitCode);
            // A drive that couldn't be read still has its limited document, as in the list.
            if (arguments.json && !arguments.fullReport) {
                if (const auto unread = app::unreadDrive(machine, name)) documents.push_back(unread->document.toJSON());
            }
            continue;
        }
        if (app::needsCare(checked->read)) exitCode = worseExit(exitCode, exitNeedsCare);
        if (arguments.json && arguments.fullReport) {
            if (auto report = app::fullReport(checked->read)) documents.push_back(std::move(*report));
        } else if (arguments.json) {
            documents.push_back(checked->document.toJSON());
        } else {
            if (!first) out << '\n' << std::string(72, '-') << "\n\n";
            printChecked(*checked, machine.locale, out);
            first = false;
        }
    }
    if (arguments.json) {
        if (arguments.device && documents.size() == 1) {
            out << json::dump(documents.front(), json::Layout::prettySorted) << '\n';
        } else if (!arguments.device) {
            out << json::dump(documents, json::Layout::prettySorted) << '\n';
        }
    }
    return exitCode;
}

}  // namespace cli
