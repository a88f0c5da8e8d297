#include "cli/watch_command.hpp"

#include "app/failure.hpp"
#include "app/shown.hpp"
#include "app/watch_loop.hpp"
#include "cli/exit_codes.hpp"
#include "cli/failure_text.hpp"
#include "cli/signals.hpp"

namespace cli {

using namespace drivekit;

int watchDrives(const Arguments& arguments, Machine& machine, platform::DiskEvents& events,
                const std::function<bool()>& stop, std::ostream& out) {
    if (!arguments.json) out << Watcher::startLine() << std::endl;
    app::watchDrives(machine, events, stop, [&](const Watcher::News& news) {
        if (arguments.json) {
            // One object per line, so a reader of the pipe can take each as it comes.
            out << json::dump(Watcher::toJSON(news), json::Layout::compact) << std::endl;
        } else {
            out << Watcher::line(news, machine.locale) << std::endl;
        }
    });
    return exitOK;
}

int runWatch(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err) {
    if (arguments.help) {
        out << watchUsageText();
        return exitOK;
    }
    app::Failure cant{app::Failure::Kind::cantWatch};
    auto events = machine.openDiskEvents ? machine.openDiskEvents(cant.detail) : nullptr;
    if (!events) {
        if (cant.detail.empty()) cant.detail = "this computer reports no disk events";
        const Said says = said(cant);
        err << "vantrel: " << says.sentence << '\n';
        return says.exitCode;
    }
    const StopOnSignals stop;
    return watchDrives(arguments, machine, *events, [] { return StopOnSignals::requested(); }, out);
}

}  // namespace cli
