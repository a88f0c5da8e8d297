#include "app/demo/demo_files.hpp"

#include <unistd.h>

#include <array>

namespace app {

namespace {

// The running program's own file; empty when the kernel won't say.
std::filesystem::path executable() {
    std::array<char, 4096> path{};
    const auto length = ::readlink("/proc/self/exe", path.data(), path.size() - 1);
    if (length <= 0) return {};
    return std::filesystem::path(std::string(path.data(), static_cast<std::size_t>(length)));
}

}  // namespace

std::filesystem::path defaultDemoFile() {
    const auto program = executable();
    if (!program.empty()) {
        const auto installed = program.parent_path().parent_path() / "share" / "vantrel" / "demo" / "machine.json";
        std::error_code error;
        if (std::filesystem::is_regular_file(installed, error)) return installed;
    }
    return std::filesystem::path(VANTREL_DEMO_SOURCE_DIR) / "machine.json";
}

Machine demoMachine(platform::DemoMachine& demo, drivekit::Locale locale) {
    OpenSCSI openSCSI = [&demo](std::string_view name) { return demo.openSCSI(name); };
    Machine machine{demo.sysfs(),        demo.nvme(),    std::move(locale),
                    std::move(openSCSI), &demo.mounts(), &demo.blockProbe(),
                    &demo.volumeSpace(), &demo.clock(),  demo.workingDirectory()};
    machine.benchFiles = &demo.benchFiles();
    return machine;
}

}  // namespace app
