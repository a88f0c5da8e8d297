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

}  // namespace

std::optional<std::string> kernelName(std::string_view device) {
    if (device.starts_with("/dev/")) device.remove_prefix(5);
    if (device.empty() || device.find('/') != std::string_view::npos || device.starts_with(".")) {
        return std::nullopt;
    }
    return std::string(device);
}

ParseResult parseArguments(const std::vector<std::string_view>& args) {
    if (args.empty()) return failure("No command given. " + usageText());
    const auto command = args.front();
    const std::vector<std::string_view> rest(args.begin() + 1, args.end());
    if (command == "--help" || command == "-h" || command == "help") {
        return {Arguments{Command::help, {}, false, false}, {}};
    }
    if (command == "--version") return {Arguments{Command::version, {}, false, false}, {}};
    if (command == "check") return parseCheck(rest);
    return failure("Unknown command: " + std::string(command) + ". Run vantrel --help for the commands.");
}

std::string usageText() {
    return "Usage: vantrel COMMAND [OPTIONS]\n"
           "\n"
           "Commands:\n"
           "  check [DEVICE] [--json]   health of one drive, or of every NVMe drive\n"
           "\n"
           "Options:\n"
           "  --help                    this text; after a command, that command's help\n"
           "  --version                 the program's version\n";
}

std::string checkUsageText() {
    return "Usage: vantrel check [DEVICE] [--json]\n"
           "\n"
           "Reads a drive's own health data and rates it: tier, score, findings, forecast\n"
           "and the raw health-log rows. DEVICE is a kernel name such as nvme0n1 or a path\n"
           "such as /dev/nvme0n1; without it, every NVMe drive of this computer is checked.\n"
           "Reading health data needs root.\n"
           "\n"
           "  --json   print the health report as JSON (an array without DEVICE)\n"
           "\n"
           "Exit codes: 0 healthy or worth watching, 1 needs care, 2 bad command line,\n"
           "3 no such device, 4 no readable health data, 5 needs root, 6 read failed.\n";
}

}  // namespace cli
