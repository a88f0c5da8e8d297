#include "cli/scan_command.hpp"

#include <unistd.h>

#include <algorithm>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>

#include "app/scan/scan_run.hpp"
#include "app/shown.hpp"
#include "cli/exit_codes.hpp"
#include "cli/failure_text.hpp"
#include "cli/signals.hpp"

namespace cli {
namespace {

using drivekit::surface_scan::Mode;
using drivekit::surface_scan::Result;

constexpr std::string_view usage =
    "Usage: vantrel scan DEVICE [--quick|--full] [--capture] [--json]\n"
    "  --capture  read a USB drive by taking it from its kernel driver (root; its volumes are\n"
    "             unmounted for the scan and mounted again after)\n";

std::string duration(double seconds) {
    const auto whole = static_cast<long long>(seconds + 0.5);
    if (whole >= 3600) return drivekit::text::format("%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
    return drivekit::text::format("%lld:%02lld", whole / 60, whole % 60);
}

std::string progressLine(const Result& r) {
    const double mbps = r.seconds > 0 ? static_cast<double>(r.bytesRead) / r.seconds / 1e6 : 0;
    std::string left = "--:--";
    if (r.readsDone > 0 && r.readsPlanned > r.readsDone && r.seconds > 0) {
        left = duration(r.seconds / static_cast<double>(r.readsDone) * static_cast<double>(r.readsPlanned - r.readsDone));
    }
    return drivekit::text::format("\r%5.1f%%  %7.1f MB/s  %lld unreadable  %lld slow  %s left ", r.fraction() * 100,
                                  mbps, static_cast<long long>(r.unreadableCount()),
                                  static_cast<long long>(r.slowReads), left.c_str());
}

void printTable(const app::ScanRun::Outcome& outcome, std::ostream& out) {
    const Result& r = *outcome.result;
    const double mbps = r.seconds > 0 ? static_cast<double>(r.bytesRead) / r.seconds / 1e6 : 0;
    out << "Drive        /dev/" << outcome.kernelName << '\n'
        << "Mode         " << drivekit::surface_scan::modeName(r.mode) << '\n'
        << "Reads        " << r.readsDone << " of " << r.readsPlanned
        << (r.reads ? " with " + drivekit::surface_scan::text(*r.reads) : std::string()) << '\n'
        << "Read         " << drivekit::text::format("%.1f GB in %s, %.1f MB/s", static_cast<double>(r.bytesRead) / 1e9,
                                                     duration(r.seconds).c_str(), mbps)
        << '\n'
        << "Unreadable   " << r.unreadableCount() << '\n';
    for (const std::uint64_t lba : r.unreadable) out << "  block " << lba << '\n';
    out << "Slow reads   " << r.slowReads << drivekit::text::format(" (slowest %.0f ms)", r.slowestMs) << '\n';
    if (r.stopped) out << "Stopped      " << *r.stopped << '\n';
    // The scan's cost to this program, from its samples of one a second.
    const auto& cost = outcome.usage;
    if (!cost.cpu.empty()) {
        double sum = 0;
        for (const double share : cost.cpu) sum += share;
        const auto peak = *std::max_element(cost.memory.begin(), cost.memory.end());
        out << "Own cost     "
            << drivekit::text::format("%.1f%% of a core on average, %.0f MB of memory at most",
                                      sum / static_cast<double>(cost.cpu.size()), static_cast<double>(peak) / 1e6)
            << '\n';
    }
}

}  // namespace

int runScanCommand(const std::vector<std::string_view>& args, Machine& machine, std::ostream& out,
                   std::ostream& err) {
    Mode mode = Mode::full;
    bool json = false;
    bool capture = false;
    std::optional<std::string_view> device;
    for (const std::string_view arg : args) {
        if (arg == "--help" || arg == "-h") {
            out << usage;
            return exitOK;
        }
        if (arg == "--quick") {
            mode = Mode::quick;
        } else if (arg == "--full") {
            mode = Mode::full;
        } else if (arg == "--json") {
            json = true;
        } else if (arg == "--capture") {
            capture = true;
        } else if (arg.starts_with("-") || device) {
            err << "vantrel: Unknown argument for scan: " << arg << ".\n" << usage;
            return exitUsage;
        } else {
            device = arg;
        }
    }
    if (!device) {
        err << "vantrel: scan needs a device, such as sda.\n" << usage;
        return exitUsage;
    }

    if (!machine.clock) {
        err << "vantrel: this computer has no clock to time a scan by.\n";
        return exitReadFailed;
    }
    const auto environment = [](const char* key) -> std::optional<std::string> {
        const char* value = std::getenv(key);
        return value ? std::optional<std::string>(value) : std::nullopt;
    };
    platform::FileStore& files = platform::systemFiles();
    // As a user who isn't root, the service scans and this program saves what it read.
    const bool live = ::isatty(STDERR_FILENO) == 1;
    // The progress line is redrawn in place; a step of the capture starts on a line of its own.
    bool midLine = false;
    const app::ScanRun::Platform platform{machine.sysfs,
                                          *machine.clock,
                                          machine.openSCSI,
                                          machine.openBlockReads,
                                          app::ScanStore::dataFolder(environment),
                                          files,
                                          machine.procFiles.get(),
                                          machine.serviceScan,
                                          capture ? &machine : nullptr,
                                          [&](const std::string& line) {
                                              if (midLine) err << '\n';
                                              midLine = false;
                                              err << line << std::endl;
                                          }};
    // A scan by capture holds a USB device: a second signal gives it back at once.
    const StopOnSignals signals(capture && machine.capture ? machine.capture->giveBackNow : nullptr);
    const auto outcome = app::ScanRun::run(
        platform, *device, mode, [] { return StopOnSignals::requested(); },
        [&](const Result& r) {
            if (!live) return;
            err << progressLine(r) << std::flush;
            midLine = true;
        });
    if (midLine) err << '\n';

    if (const auto failure = app::ScanRun::failureOf(outcome)) {
        const Said says = said(*failure);
        err << "vantrel: " << says.sentence << '\n';
        // Stopped before the drive was taken, or while it was: ended as `check --capture` is.
        if (failure->kind == app::Failure::Kind::interrupted) StopOnSignals::endBySignal();
        return says.exitCode;
    }
    const Result& r = *outcome.result;
    if (json) {
        out << drivekit::json::dump(app::toJson(app::ScanAnswer{r, outcome.usage})) << '\n';
    } else {
        printTable(outcome, out);
    }
    if (outcome.saveFailure) err << "vantrel: " << *outcome.saveFailure << '\n';
    if (r.unreadableCount() > 0) return exitNeedsCare;
    if (r.readsDone == 0 && !r.cancelled) return exitReadFailed;
    return exitOK;
}

}  // namespace cli
