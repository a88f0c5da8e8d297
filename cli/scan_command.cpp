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

void printTable(const app::ScanRun::Outcome& outcome, std::ostream& out) {
    const Result& r = *outcome.result;
    for (const auto& row : app::ScanWording::resultRows(outcome.kernelName, r, outcome.usage)) {
        out << drivekit::text::format("%-13s", row.label.c_str()) << row.value << '\n';
        if (row.blocksFollow) {
            for (const std::uint64_t lba : r.unreadable) out << "  block " << lba << '\n';
        }
    }
}

}  // namespace

int runScanCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
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
                                          demo ? app::ScanStore::dataFolder(environment) / "demo" : app::ScanStore::dataFolder(environment),
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
            err << '\r' << app::ScanWording::progressLine(r) << std::flush;
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
