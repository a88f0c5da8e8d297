// Who holds files on a volume, read from a /proc tree: one process whose short name and
// memory map come from the input (first line: comm; the rest: maps), its working folder
// and one open file pointing where the input's last line says.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "platform/linux/linux_volumes.hpp"

namespace {

const std::filesystem::path& procRoot() {
    static const std::filesystem::path root = [] {
        // Memory-backed where there is one: the tree is rewritten on every input.
        const std::filesystem::path shm = "/dev/shm";
        auto made = (std::filesystem::is_directory(shm) ? shm : std::filesystem::temp_directory_path()) /
                    ("vantrel-proc-fuzz-" + std::to_string(::getpid()));
        std::filesystem::create_directories(made / "4242" / "fd");
        return made;
    }();
    return root;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto firstBreak = text.find('\n');
    const std::string_view comm = text.substr(0, firstBreak);
    const std::string_view maps =
        firstBreak == std::string_view::npos ? std::string_view() : text.substr(firstBreak + 1);
    const auto lastBreak = text.rfind('\n');
    std::string target(lastBreak == std::string_view::npos ? text : text.substr(lastBreak + 1));
    target.erase(std::remove(target.begin(), target.end(), '\0'), target.end());
    if (target.empty()) target = "/";

    const auto process = procRoot() / "4242";
    std::ofstream(process / "comm", std::ios::binary | std::ios::trunc) << comm;
    std::ofstream(process / "maps", std::ios::binary | std::ios::trunc) << maps;
    std::error_code ignored;
    std::filesystem::remove(process / "cwd", ignored);
    std::filesystem::remove(process / "fd" / "3", ignored);
    std::filesystem::create_symlink(target, process / "fd" / "3", ignored);
    std::filesystem::create_symlink(target, process / "cwd", ignored);

    const platform::LinuxFileHolders holders(procRoot());
    for (const auto& holder : holders.holding({"/media/usb", "/mnt"})) {
        if (holder.pid != 4242) std::abort();
    }
    return 0;
}
