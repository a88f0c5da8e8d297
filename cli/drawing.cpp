#include "cli/drawing.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

#ifndef VANTREL_DRAWING_FROM_BIN
#define VANTREL_DRAWING_FROM_BIN "../libexec/vantrel/vantrel-draw"
#endif
#ifndef VANTREL_DESKTOP_FROM_BIN
#define VANTREL_DESKTOP_FROM_BIN "../libexec/vantrel/vantrel-desktop"
#endif

#include "cli/exit_codes.hpp"

namespace cli {

namespace {
DrawingCommand linked = nullptr;
}  // namespace

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

}  // namespace

int handOverToDrawing(char** argv, std::ostream& err) {
    const auto helper = part("vantrel-draw", VANTREL_DRAWING_FROM_BIN, "cli");
    std::cout.flush();
    ::execv(helper.c_str(), argv);
    err << "vantrel: reports and cards are drawn by " << helper.string() << ", which couldn't be started: "
        << std::strerror(errno) << ".\n";
    return exitNotSupported;
}

bool asksForDesktop(const std::vector<std::string_view>& args) {
    const auto window = [](std::string_view arg) {
        return arg == "--demo" || arg.starts_with("--demo=") || arg.starts_with("vantrel://") || arg == "--login" ||
               arg == "--close-main-after-launch";
    };
    return args.empty() || (args.size() <= 3 && std::all_of(args.begin(), args.end(), window));
}

int handOverToDesktop(char** argv, std::ostream& err) {
    const auto desktop = part("vantrel-desktop", VANTREL_DESKTOP_FROM_BIN, "desktop");
    std::cout.flush();
    ::execv(desktop.c_str(), argv);
    err << "vantrel: the window is " << desktop.string() << ", which couldn't be started: " << std::strerror(errno)
        << ". The commands work without it: vantrel --help.\n";
    return exitNotSupported;
}

}  // namespace cli
