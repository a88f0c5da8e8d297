#include "cli/drawing.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

#ifndef VANTREL_DRAWING_FROM_BIN
#define VANTREL_DRAWING_FROM_BIN "../libexec/vantrel/vantrel-draw"
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

int handOverToDrawing(char** argv, std::ostream& err) {
    // Beside this program in the build tree; in libexec/vantrel once installed. Both found
    // from /proc/self/exe, never from the environment, so root runs only its own parts.
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto folder = error ? std::filesystem::path() : self.parent_path();
    std::filesystem::path helper = folder / "vantrel-draw";
    if (!std::filesystem::is_regular_file(helper, error)) {
        helper = (folder / VANTREL_DRAWING_FROM_BIN).lexically_normal();
    }
    std::cout.flush();
    ::execv(helper.c_str(), argv);
    err << "vantrel: reports and cards are drawn by " << helper.string() << ", which couldn't be started: "
        << std::strerror(errno) << ".\n";
    return exitNotSupported;
}

}  // namespace cli
