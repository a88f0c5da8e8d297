#include "cli/watch_command.hpp"

#include "cli/capture_command.hpp"
#include "cli/exit_codes.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "drivekit/usb/watcher.hpp"
#include "platform/linux/linux_udev_monitor.hpp"

namespace cli {

using namespace drivekit;

namespace {

constexpr std::chrono::milliseconds lookEvery{500};

// Discovery without a mount table or probe still tells drives apart; volumes are then
// unknown, which a line about an arrival can do without.
struct NoMounts final : platform::Mounts {
    std::vector<platform::Mount> list() const override { return {}; }
};
struct NoProbe final : platform::BlockProbe {
    platform::BlockContent probe(std::string_view, unsigned, unsigned) const override { return {}; }
};

}  // namespace

int watchDrives(const Arguments& arguments, Machine& machine, platform::DiskEvents& events,
                const std::function<bool()>& stop, std::ostream& out) {
    const NoMounts noMounts;
    const NoProbe noProbe;
    const Discovery::Sources sources{machine.sysfs, machine.mounts ? *machine.mounts : noMounts,
                                     machine.probe ? *machine.probe : noProbe,
                                     machine.workingDirectory, machine.locale};
    std::vector<std::string> present;
    for (const auto& drive : Discovery::allDrives(sources)) present.push_back(drive.bsdName);
    Watcher watcher([&sources](std::string_view name) { return Discovery::drive(name, sources); },
                    present);
    if (!arguments.json) out << Watcher::startLine() << std::endl;
    while (!stop()) {
        for (const auto& event : events.wait(lookEvery)) {
            const auto news = watcher.handle(event);
            if (!news) continue;
            if (arguments.json) {
                // One object per line, so a reader of the pipe can take each as it comes.
                out << json::dump(Watcher::toJSON(*news), json::Layout::compact) << std::endl;
            } else {
                out << Watcher::line(*news, machine.locale) << std::endl;
            }
        }
    }
    return exitOK;
}

int runWatch(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err) {
    if (arguments.help) {
        out << watchUsageText();
        return exitOK;
    }
    std::string why;
    auto monitor = platform::LinuxUdevMonitor::open(why);
    if (!monitor) {
        err << "vantrel: can't watch for drives: " << why << ".\n";
        return exitReadFailed;
    }
    const StopOnSignals stop;
    return watchDrives(arguments, machine, *monitor, [] { return StopOnSignals::requested(); }, out);
}

}  // namespace cli
