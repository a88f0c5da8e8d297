#include "cli/arguments.hpp"

#include <algorithm>

namespace cli {

namespace {

ParseResult failure(std::string sentence) { return {std::nullopt, std::move(sentence)}; }

ParseResult parseCheck(const std::vector<std::string_view>& rest) {
    Arguments parsed;
    parsed.command = Command::check;
    for (const auto arg : rest) {
        if (arg == "--json") {
            parsed.json = true;
        } else if (arg == "--json=report") {
            parsed.json = true;
            parsed.fullReport = true;
        } else if (arg == "--capture") {
            parsed.capture = true;
        } else if (arg == "--wake") {
            parsed.wake = true;
        } else if (arg == "--help" || arg == "-h") {
            parsed.help = true;
        } else if (arg.starts_with("-")) {
            return failure("Unknown option for check: " + std::string(arg) + ".");
        } else if (parsed.device) {
            return failure("check takes one device; got a second one: " + std::string(arg) + ".");
        } else {
            auto name = kernelName(arg);
            if (!name) return failure("Not a device name: " + std::string(arg) + ". Give a name such as nvme0n1 or /dev/nvme0n1.");
            parsed.device = std::move(*name);
        }
    }
    return {parsed, {}};
}

ParseResult parseSelfTest(const std::vector<std::string_view>& rest) {
    Arguments parsed;
    parsed.command = Command::selftest;
    for (const auto arg : rest) {
        if (arg == "--json") {
            parsed.json = true;
        } else if (arg == "--abort") {
            parsed.abort = true;
        } else if (arg == "--wait") {
            parsed.wait = true;
        } else if (arg == "--cancel") {
            parsed.cancel = true;
        } else if (arg == "--help" || arg == "-h") {
            parsed.help = true;
        } else if (arg.starts_with("-")) {
            return failure("Unknown option for selftest: " + std::string(arg) + ".");
        } else if (!parsed.device) {
            auto name = kernelName(arg);
            if (!name) return failure("Not a device name: " + std::string(arg) + ". Give a name such as sda or /dev/sda.");
            parsed.device = std::move(*name);
        } else if (parsed.start) {
            return failure("selftest takes one test; got a second one: " + std::string(arg) + ".");
        } else if (arg == "short") {
            parsed.start = drivekit::SelfTest::Kind::short_;
        } else if (arg == "extended") {
            parsed.start = drivekit::SelfTest::Kind::extended;
        } else {
            return failure("Unknown self-test: " + std::string(arg) + ". Give short or extended.");
        }
    }
    if (!parsed.device && !parsed.help) return failure("selftest needs a device, such as sda.");
    if (parsed.abort && !parsed.start) return failure("--abort goes with a test to start: short or extended.");
    if (parsed.cancel && (parsed.start || parsed.wait)) return failure("--cancel ends a test; it takes no test to start and no --wait.");
    return {parsed, {}};
}

// Commands about every drive (list, watch): --json and --help, no device; list also
// takes --wake and --wide, watch --check.
ParseResult parseAllDrives(Command command, std::string_view word, const std::vector<std::string_view>& rest) {
    Arguments parsed;
    parsed.command = command;
    for (const auto arg : rest) {
        if (arg == "--json") {
            parsed.json = true;
        } else if (command == Command::list && arg == "--wake") {
            parsed.wake = true;
        } else if (command == Command::list && arg == "--wide") {
            parsed.wide = true;
        } else if (command == Command::watch && arg == "--check") {
            parsed.checkArrivals = true;
        } else if (arg == "--help" || arg == "-h") {
            parsed.help = true;
        } else if (arg.starts_with("-")) {
            return failure("Unknown option for " + std::string(word) + ": " + std::string(arg) + ".");
        } else {
            return failure(std::string(word) + " takes no device; got " + std::string(arg) + ".");
        }
    }
    return {parsed, {}};
}

}  // namespace

std::optional<std::string> kernelName(std::string_view device) {
    if (device.starts_with("/dev/")) device.remove_prefix(5);
    if (device.empty() || device.find('/') != std::string_view::npos || device.starts_with(".")) {
        return std::nullopt;
    }
    return std::string(device);
}

ParseResult parseArguments(const std::vector<std::string_view>& args) {
    // --demo leads the command line, so that it can pick the machine before anything runs.
    if (!args.empty() && (args.front() == "--demo" || args.front().starts_with("--demo="))) {
        const auto demo = args.front();
        std::string file = demo == "--demo" ? std::string() : std::string(demo.substr(7));
        if (demo != "--demo" && file.empty()) return failure("--demo= needs a file: --demo=machine.json.");
        ParseResult parsed = parseArguments({args.begin() + 1, args.end()});
        if (parsed.arguments) parsed.arguments->demo = std::move(file);
        return parsed;
    }
    if (args.empty()) return failure("No command given. " + usageText());
    const auto command = args.front();
    const std::vector<std::string_view> rest(args.begin() + 1, args.end());
    if (command == "--help" || command == "-h" || command == "help") {
        return {Arguments{Command::help, {}, false, false}, {}};
    }
    if (command == "--version") return {Arguments{Command::version, {}, false, false}, {}};
    if (command == "check") return parseCheck(rest);
    if (command == "selftest") return parseSelfTest(rest);
    if (command == "list") return parseAllDrives(Command::list, command, rest);
    if (command == "watch") return parseAllDrives(Command::watch, command, rest);
    return failure("Unknown command: " + std::string(command) + ". Run vantrel --help for the commands.");
}

std::string usageText() {
    return "Usage: vantrel COMMAND [OPTIONS]\n"
           "       vantrel [--demo]          the window: every drive, its pages and the settings\n"
           "       vantrel --login           in the tray only, as the open-at-login entry starts it\n"
           "\n"
           "Commands:\n"
           "  list [--json] [--wake]    every drive with its health tier, score and line\n"
           "  check [DEVICE] [--json]   health of one drive, or of every NVMe drive\n"
           "  selftest DEVICE [short|extended] [--wait] [--json]\n"
           "                            start a drive's own self-test, or follow it\n"
           "  watch [--check] [--json]  print drives as they are plugged in and removed\n"
           "  scan DEVICE [--quick|--full] [--json]   read the whole drive for bad blocks\n"
           "  writes [--since 24h|7d|30d] [--json]   the programs that write the most\n"
           "  bench DIRECTORY [--json]  four speed tests on a temporary file in the folder\n"
           "  monitor [--once]          watch every drive, keep its readings, log each change\n"
           "  history DEVICE [--json]   a drive's kept readings and the forecast they give\n"
           "  report DEVICE [--format pdf|png|json] [--full-serial] [-o FILE]\n"
           "                            the drive's Health report, to share\n"
           "  card DEVICE [--benchmark|--scan] [-o FILE.png]\n"
           "                            the Disk Health card, or of the last benchmark or scan\n"
           "  readings --csv [-o FILE]  every kept reading of every drive as CSV\n"
           "  eject DEVICE              unmount a drive (a RAID set whole) and power it off\n"
           "  mount DEVICE              mount a drive's volumes again\n"
           "\n"
           "Options:\n"
           "  --demo[=FILE] COMMAND     run the command on a described demo machine instead of\n"
           "                            this computer: FILE, or the one installed with vantrel;\n"
           "                            a description that can't be used exits with 2\n"
           "  --help                    this text; after a command, that command's help\n"
           "  --version                 the program's version\n";
}

std::string checkUsageText() {
    return "Usage: vantrel check [DEVICE] [--capture] [--wake] [--json | --json=report]\n"
           "\n"
           "Reads a drive's own health data and rates it: tier, score, findings, forecast\n"
           "and the raw health-log rows. DEVICE is a kernel name such as nvme0n1 or sda, or\n"
           "a path such as /dev/nvme0n1; without it, every NVMe drive of this computer is\n"
           "checked. SATA and USB drives (sda) are read live through ATA pass-through: the\n"
           "SMART attributes, the self-test log and the drive's own SMART status. Then\n"
           "the drive's summary and its health data rows. Any drive vantrel list shows can\n"
           "be checked. Reading health data needs root.\n"
           "\n"
           "A USB enclosure that refuses pass-through through the kernel's driver is read\n"
           "by taking its USB device from the driver for a few seconds: its volumes are\n"
           "unmounted, the enclosure is asked directly, and the device is given back and\n"
           "its volumes mounted again. Progress goes to stderr. Ctrl-C gives it back too.\n"
           "\n"
           "  --capture      read a USB drive that way even when the driver passes requests on\n"
           "  --wake         read a SATA or USB hard drive that sleeps too; without it, a\n"
           "                 sleeping disk is only asked whether it sleeps, and left so\n"
           "  --json         print the drive's health document (an array without DEVICE)\n"
           "  --json=report  print the full rated report instead: the raw health-log rows,\n"
           "                 the attribute table, the self-test log and the SMART status\n"
           "\n"
           "Exit codes: 0 healthy or worth watching, 1 needs care, 2 bad command line,\n"
           "3 no such device, 4 no readable health data, 5 needs root, 6 read failed,\n"
           "7 asleep and left so.\n";
}

std::string listUsageText() {
    return "Usage: vantrel list [--json] [--wake] [--wide]\n"
           "\n"
           "Lists every drive of this computer, one line each: its name, device, kind,\n"
           "health tier, score out of 100 and one line on its health. NVMe, SATA and USB\n"
           "drives are read live; a drive whose health can't be read (an SD card, or without\n"
           "root) is listed as limited. Reading health data needs root.\n"
           "\n"
           "  --json   print the health document of each drive, as an array (empty: [])\n"
           "  --wake   read hard drives that sleep too; without it they are listed as asleep\n"
           "  --wide   show model names and lines whole; without it, rows fit 100 columns\n"
           "\n"
           "Exit codes: 0 listed, 1 a drive needs care, 2 bad command line, 3 no drives.\n";
}

std::string watchUsageText() {
    return "Usage: vantrel watch [--check] [--json]\n"
           "\n"
           "Watches for drives being plugged in and removed, and prints one line for each,\n"
           "until Ctrl-C. Drives attached when it starts are not reported.\n"
           "\n"
           "  --check  check each drive as it arrives; a USB drive is held back from the\n"
           "           desktop's automount until its check is over (needs root)\n"
           "  --json   one JSON object per line: {\"event\": \"connected\", \"bsdName\": ...}\n"
           "\n"
           "Exit codes: 0 ended by Ctrl-C, 2 bad command line, 6 no device events.\n";
}

std::string selfTestUsageText() {
    return "Usage: vantrel selftest DEVICE [short|extended [--abort]] [--wait] [--json]\n"
           "       vantrel selftest DEVICE --cancel\n"
           "\n"
           "With short or extended, asks a SATA or USB drive (such as sda) to start its own\n"
           "self-test; the drive runs it in the background, minutes for a short test, hours\n"
           "for an extended one. Without a test, shows whether one is running and how far it\n"
           "got, and the drive's self-test log. Needs root.\n"
           "\n"
           "  --abort   start the test even while another runs: the drive ends that one\n"
           "  --wait    follow the test (the one started, or the one running) to its end,\n"
           "            looking every 10 seconds, and exit with its outcome; Ctrl-C stops\n"
           "            following, not the test\n"
           "  --cancel  ask the drive to end the test under way\n"
           "  --json    print the progress and the log as JSON\n"
           "\n"
           "Exit codes: 0 done (with --wait: the test passed), 1 with --wait: the test found a\n"
           "fault, 2 bad command line, 3 no such device, 4 no self-tests on this drive, 5 needs\n"
           "root, 6 the drive didn't start (or end) the test, 8 a test is running (without\n"
           "--abort), 11 with --wait: the test ended without a verdict (cancelled or\n"
           "interrupted), or no test was running to follow.\n";
}

}  // namespace cli
