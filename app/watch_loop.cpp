#include "app/watch_loop.hpp"

#include "app/drive_check.hpp"

namespace app {

using namespace drivekit;

namespace {

constexpr std::chrono::milliseconds lookEvery{500};

}  // namespace

void watchDrives(const Machine& machine, platform::DiskEvents& events, const std::function<bool()>& stop,
                 const std::function<void(const Watcher::News&)>& onNews) {
    const Discovery::Sources sources = sourcesOf(machine);
    std::vector<std::string> present;
    for (const auto& drive : Discovery::allDrives(sources)) present.push_back(drive.bsdName);
    Watcher watcher([&sources](std::string_view name) { return Discovery::drive(name, sources); }, present);
    while (!stop()) {
        for (const auto& event : events.wait(lookEvery)) {
            if (const auto news = watcher.handle(event)) onNews(*news);
        }
    }
}

}  // namespace app
