#include "cli/drawing.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string_view>

#ifndef VANTREL_DRAWING_FROM_BIN
#define VANTREL_DRAWING_FROM_BIN "../libexec/vantrel/vantrel-draw"
#endif
#ifndef VANTREL_BUS_FROM_BIN
#define VANTREL_BUS_FROM_BIN "../libexec/vantrel/vantrel-bus"
#endif
#ifndef VANTREL_DESKTOP_FROM_BIN
#define VANTREL_DESKTOP_FROM_BIN "../libexec/vantrel/vantrel-desktop"
#endif

#include "cli/exit_codes.hpp"

namespace cli {

namespace {
DrawingCommand linked = nullptr;
const BusParts* linkedBus = nullptr;
}  // namespace

void setBusParts(const BusParts* parts) { linkedBus = parts; }

const BusParts* busParts() { return linkedBus; }

bool asksForBus(const std::vector<std::string_view>& args, bool root, bool (*diskService)()) {
    const bool demo = std::any_of(args.begin(), args.end(), [](auto arg) { return arg.starts_with("--demo"); });
    const std::size_t at = !args.empty() && args.front().starts_with("--demo") ? 1 : 0;
    if (args.size() <= at) return false;
    const std::string_view command = args[at];
    if (command == "monitor" || command == "history" || command == "selftest" || command == "eject" ||
        command == "mount") {
        return true;
    }
    if (demo) return false;
    const bool reads = command == "list" || command == "check" || command == "scan" || command == "writes" ||
                       command == "bench" || command == "watch";
    const bool asksHelp = std::any_of(args.begin(), args.end(), [](auto arg) { return arg == "--help" || arg == "-h"; });
    if (!reads || asksHelp) return false;
    // What takes a USB drive from its driver unmounts through the disk service where it runs.
    const bool captures = command == "check" || command == "watch" ||
                          (command == "scan" && std::find(args.begin(), args.end(), "--capture") != args.end());
    return !root || (captures && diskService());
}

bool diskServiceInstalled() {
    for (const char* path : {"/usr/share/dbus-1/system-services/org.freedesktop.UDisks2.service",
                             "/usr/libexec/udisks2/udisksd", "/usr/lib/udisks2/udisksd"}) {
        if (::access(path, F_OK) == 0) return true;
    }
    return false;
}

void setDrawing(DrawingCommand command) { linked = command; }

DrawingCommand drawing() { return linked; }

bool asksForDrawing(const std::vector<std::string_view>& args) {
    const std::size_t at = !args.empty() && args.front().starts_with("--demo") ? 1 : 0;
    return args.size() > at && (args[at] == "report" || args[at] == "card");
}

namespace {

// Beside this program in the build tree (the build folder of its own part); in
// libexec/vantrel once installed. Both found from /proc/self/exe, never from the
// environment, so root runs only its own parts.
std::filesystem::path part(const char* name, const char* fromBin, const char* buildFolder) {
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto folder = error ? std::filesystem::path() : self.parent_path();
    for (const auto& candidate : {folder / name, folder / ".." / buildFolder / name}) {
        if (std::filesystem::is_regular_file(candidate, error)) return candidate.lexically_normal();
    }
    return (folder / fromBin).lexically_normal();
}

// Replaces this process by the part `helper` with the same words; returns only when it
// couldn't start, after saying so: "vantrel: <what> <helper>, which couldn't be started: <why>."
int handOver(const std::filesystem::path& helper, std::string_view what, std::string_view after, char** argv,
             std::ostream& err) {
    std::cout.flush();
    ::execv(helper.c_str(), argv);
    err << "vantrel: " << what << ' ' << helper.string() << ", which couldn't be started: " << std::strerror(errno)
        << '.' << after << '\n';
    return exitNotSupported;
}

}  // namespace

int handOverToDrawing(char** argv, std::ostream& err) {
    return handOver(part("vantrel-draw", VANTREL_DRAWING_FROM_BIN, "cli"), "reports and cards are drawn by", "",
                    argv, err);
}

int handOverToBus(char** argv, std::ostream& err) {
    return handOver(part("vantrel-bus", VANTREL_BUS_FROM_BIN, "cli"), "this command runs in", "", argv, err);
}

bool asksForDesktop(const std::vector<std::string_view>& args) {
    const auto window = [](std::string_view arg) {
        return arg == "--demo" || arg.starts_with("--demo=") || arg.starts_with("vantrel://") || arg == "--login" ||
               arg == "--close-main-after-launch";
    };
    return args.empty() || (args.size() <= 3 && std::all_of(args.begin(), args.end(), window));
}

int handOverToDesktop(char** argv, std::ostream& err) {
    return handOver(part("vantrel-desktop", VANTREL_DESKTOP_FROM_BIN, "desktop"), "the window is",
                    " The commands work without it: vantrel --help.", argv, err);
}

}  // namespace cli
