#include "cli/cli.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include <unistd.h>

#include "app/linux/linux_machine.hpp"
#include "app/demo/demo_files.hpp"
#include "app/shown.hpp"
#include "cli/arguments.hpp"
#include "cli/bench_command.hpp"
#include "cli/check_command.hpp"
#include "cli/eject_command.hpp"
#include "cli/exit_codes.hpp"
#include "cli/list_command.hpp"
#include "cli/printable_stream.hpp"
#include "cli/drawing.hpp"
#include "cli/readings_command.hpp"
#include "cli/scan_command.hpp"
#include "cli/watch_command.hpp"
#include "cli/writes_command.hpp"

namespace cli {

namespace {

// Only a front end that started without vantrel-bus gets here with such a command.
int withoutBus(std::string_view command, std::ostream& err) {
    err << "vantrel: " << command << " runs in vantrel-bus, which this program doesn't include.\n";
    return exitNotSupported;
}

int runParsed(const ParseResult& parsed, Machine& machine, std::ostream& out, std::ostream& err) {
    if (!parsed.arguments) {
        err << "vantrel: " << parsed.error << '\n';
        return exitUsage;
    }
    const Arguments& arguments = *parsed.arguments;
    switch (arguments.command) {
        case Command::help:
            out << usageText();
            return exitOK;
        case Command::version:
            out << "vantrel " << drivekit::version() << '\n';
            return exitOK;
        case Command::check:
            return runCheck(arguments, machine, out, err);
        case Command::selftest:
            if (const BusParts* bus = busParts()) return bus->selftest(arguments, machine, out, err);
            return withoutBus("selftest", err);
        case Command::list:
            return runList(arguments, machine, out, err);
        case Command::watch:
            return runWatch(arguments, machine, out, err);
        case Command::none:
            break;
    }
    err << "vantrel: " << usageText();
    return exitUsage;
}

// What a script reads must have arrived: an output that couldn't be written (stdout on
// a full disk) turns any outcome into a failure.
int outputChecked(int code) {
    errno = 0;
    std::cout.flush();
    if (std::cout) return code;
    const int error = errno;
    std::cerr << "vantrel: couldn't write the output"
              << (error != 0 ? std::string(": ") + std::strerror(error) : std::string()) << ".\n";
    return exitOutputFailed;
}

// Commands that parse their own words and read the store's files, so --demo keeps them
// apart from this computer's.
// scan, writes, bench, eject and mount parse their own arguments.
bool parsesOwnArguments(std::string_view command) {
    return command == "scan" || command == "writes" || command == "bench" || command == "eject" ||
           command == "mount";
}

bool isStoreCommand(std::string_view command) {
    return command == "monitor" || command == "history" || command == "report" || command == "card" ||
           command == "readings";
}

}  // namespace

int runDemo(const std::vector<std::string_view>& args, const std::string& file, std::ostream& out,
            std::ostream& err) {
    auto loaded = platform::DemoMachine::load(file.empty() ? app::defaultDemoFile() : std::filesystem::path(file));
    if (!loaded) {
        err << "vantrel: " << drivekit::text::printable(loaded.error()) << '\n';
        return exitUsage;
    }
    Machine machine = app::demoMachine(*loaded.value(), drivekit::Locale::current());
    return run(args, machine, out, err);
}

int run(const std::vector<std::string_view>& args, Machine& machine, std::ostream& out, std::ostream& err) {
    // The store's commands parse their own options; --demo keeps their files apart.
    const bool demo = !args.empty() && args.front().starts_with("--demo");
    if (args.size() > (demo ? 1u : 0u)) {
        const std::vector<std::string_view> rest(args.begin() + (demo ? 2 : 1), args.end());
        const auto command = args[demo ? 1 : 0];
        PrintableStream printableErr(err, true);
        if (command == "monitor" || command == "history") {
            const BusParts* bus = busParts();
            if (!bus) return withoutBus(command, printableErr);
            if (command == "monitor") {
                PrintableStream printableOut(out, true);
                return bus->monitor(rest, machine, demo, printableOut, printableErr);
            }
            const bool json = std::find(rest.begin(), rest.end(), "--json") != rest.end();
            PrintableStream printableOut(out, !json);
            return bus->history(rest, machine, demo, printableOut, printableErr);
        }
        // Files and documents, written as they are: no terminal filter on their bytes.
        if (command == "report" || command == "card") {
            if (const auto draw = drawing()) return draw(command, rest, machine, demo, out, printableErr);
            printableErr << "vantrel: " << command << " is drawn by vantrel-draw, which this program doesn't include.\n";
            return exitNotSupported;
        }
        if (command == "readings") return runReadingsCommand(rest, demo, out, printableErr);
    }
    const std::size_t first = demo ? 1 : 0;
    const std::string_view command = args.size() > first ? args[first] : std::string_view();
    const bool ownArguments = parsesOwnArguments(command);
    const ParseResult parsed = ownArguments ? ParseResult{} : parseArguments(args);
    // Everything but a JSON document passes through the terminal filter: strings from
    // drives, file systems and processes are printed in many places, and this is the one
    // place all of them go through.
    const bool json = ownArguments ? std::find(args.begin(), args.end(), "--json") != args.end()
                                   : parsed.arguments && parsed.arguments->json;
    PrintableStream printableOut(out, !json);
    PrintableStream printableErr(err, true);
    if (ownArguments) {
        const std::vector<std::string_view> rest(args.begin() + static_cast<std::ptrdiff_t>(first) + 1, args.end());
        if (command == "writes") return runWritesCommand(rest, machine, printableOut, printableErr);
        if (command == "bench") return runBenchCommand(rest, machine, demo, printableOut, printableErr);
        if (command == "eject") return runEjectCommand(rest, machine, printableOut, printableErr);
        if (command == "mount") return runMountCommand(rest, machine, printableOut, printableErr);
        return runScanCommand(rest, machine, demo, printableOut, printableErr);
    }
    return runParsed(parsed, machine, printableOut, printableErr);
}

int main(int argc, char** argv) {
    std::vector<std::string_view> args;
    for (int i = 1; i < argc; ++i) args.emplace_back(argv[i]);
    if (asksForDesktop(args)) return handOverToDesktop(argv, std::cerr);
    if (drawing() == nullptr && asksForDrawing(args)) return handOverToDrawing(argv, std::cerr);
    if (busParts() == nullptr && asksForBus(args, ::geteuid() == 0, diskServiceInstalled)) {
        return handOverToBus(argv, std::cerr);
    }
    if (args.size() > 1 && args.front().starts_with("--demo") &&
        (isStoreCommand(args[1]) || parsesOwnArguments(args[1]))) {
        const auto file = args.front() == "--demo" ? std::string() : std::string(args.front().substr(7));
        return outputChecked(runDemo(args, file, std::cout, std::cerr));
    }
    if (const auto parsed = parseArguments(args); parsed.arguments && parsed.arguments->demo) {
        return outputChecked(runDemo(args, *parsed.arguments->demo, std::cout, std::cerr));
    }
    const auto computer =
        busParts() ? busParts()->machine() : std::make_unique<app::LinuxMachine>(app::LinuxMachine::Bus{});
    Machine& machine = computer->machine();
    CapturePlatform& capture = *machine.capture;
#ifdef VANTREL_TEST_HOOKS
    if (const char* hold = std::getenv("VANTREL_TEST_HOLD_AFTER")) capture.holdAfter = hold;
#endif
    // A run killed while it held a USB drive left the drive without its driver; any
    // privileged start gives it back, so the drive returns without a replug.
    if (capture.usb.privileged()) {
        for (const auto& line : capture.recoverOrphans()) {
            std::cerr << "vantrel: " << drivekit::text::printable(line) << '\n';
        }
    }
    return outputChecked(run(args, machine, std::cout, std::cerr));
}

}  // namespace cli
