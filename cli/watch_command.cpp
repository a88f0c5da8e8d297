#include "cli/watch_command.hpp"

#include "app/failure.hpp"
#include "app/shown.hpp"
#include "app/watch_loop.hpp"
#include "drivekit/health/tier.hpp"
#include "cli/exit_codes.hpp"
#include "cli/failure_text.hpp"
#include "cli/signals.hpp"

namespace cli {

using namespace drivekit;

namespace {

void printLine(const Arguments& arguments, const json::Object& object, const std::string& text, std::ostream& out) {
    // One object per line, so a reader of the pipe can take each as it comes.
    if (arguments.json) {
        out << json::dump(object, json::Layout::compact) << std::endl;
    } else {
        out << text << std::endl;
    }
}

void printChecked(const Arguments& arguments, const std::string& name,
                  const drivekit::Result<app::CheckedDrive, app::Failure>& checked, std::ostream& out) {
    json::Object object = json::Object::object();
    object["bsdName"] = name;
    if (!checked) {
        const Said says = said(checked.error());
        object["event"] = "checkFailed";
        object["problem"] = says.sentence;
        printLine(arguments, object, name + ": " + says.sentence, out);
        return;
    }
    const auto& health = checked->document.health;
    object["event"] = "checked";
    object["document"] = checked->document.toJSON();
    std::string text = name + ": " + std::string(TierText::raw(health.tier));
    if (health.score) text += ", score " + std::to_string(*health.score) + " of 100";
    printLine(arguments, object, text + ". " + health.line, out);
}

// watch --check: each arrival's sentence, then its check's outcome.
int watchAndCheck(const Arguments& arguments, Machine& machine, platform::DiskEvents& events,
                  const std::function<bool()>& stop, std::ostream& out) {
    app::CheckingWatch handlers;
    handlers.onReady = [&] {
        if (!arguments.json) out << Watcher::startLine() << std::endl;
    };
    handlers.onNews = [&](const Watcher::News& news, Watcher::Arrival arrival) {
        printLine(arguments, Watcher::toJSON(news), Watcher::arrivalLine(news, arrival, machine.locale), out);
    };
    handlers.onChecked = [&](const std::string& name, const auto& checked) {
        printChecked(arguments, name, checked, out);
    };
    handlers.onNoHold = [&](const std::string& why) {
        if (!arguments.json) out << "USB drives may mount before their check: " << why << '.' << std::endl;
    };
    app::watchAndCheck(machine, events, stop, handlers);
    return exitOK;
}

}  // namespace

int watchDrives(const Arguments& arguments, Machine& machine, platform::DiskEvents& events,
                const std::function<bool()>& stop, std::ostream& out) {
    if (arguments.checkArrivals) return watchAndCheck(arguments, machine, events, stop, out);
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
