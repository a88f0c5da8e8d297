#include "app/watch_loop.hpp"

#include <map>
#include <memory>

#include "drivekit/usb/checker.hpp"

namespace app {

using namespace drivekit;

namespace {

constexpr std::chrono::milliseconds lookEvery{500};
// At most this long after a check that took the disk (the window closes when it is back):
// long enough for a capture's give-back (usb-storage waits a second before it scans the
// disk again) and the kernel's look at its partitions.
constexpr std::chrono::seconds settleAfterCheck{15};

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

Watcher::Arrival arrivalOf(const Drive& drive, bool privileged) {
    if (drive.transport == Transport::usb) {
        if (!drive.usb || !Checker::unsafeReasons(drive).empty()) return Watcher::Arrival::report;
        return privileged ? Watcher::Arrival::checkBeforeMount : Watcher::Arrival::needsRoot;
    }
    if (!privileged || drive.transport == Transport::sdCard) return Watcher::Arrival::report;
    return Watcher::Arrival::check;
}

void watchAndCheck(Machine& machine, platform::DiskEvents& events, const std::function<bool()>& stop,
                   const CheckingWatch& handlers) {
    const bool privileged = machine.capture && machine.capture->usb.privileged();
    std::unique_ptr<platform::AutomountHold> hold;
    if (privileged && machine.holdAutomount) {
        std::string why;
        hold = machine.holdAutomount(why);
        if (!hold && handlers.onNoHold) handlers.onNoHold(why);
    }
    if (handlers.onReady) handlers.onReady();
    const auto now = [&machine] {
        return machine.clock ? machine.clock->steadyNow() : std::chrono::steady_clock::now();
    };
    // USB locations checked lately (until when their comings and goings are the check's
    // own), and the location of each USB disk checked, by kernel name.
    std::map<std::uint32_t, std::chrono::steady_clock::time_point> settling;
    std::map<std::string, std::uint32_t, std::less<>> locationOf;
    const auto settlingAt = [&](std::uint32_t location) {
        const auto it = settling.find(location);
        return it != settling.end() && now() < it->second;
    };

    watchDrives(machine, events, stop, [&](const Watcher::News& news) {
        if (news.kind == Watcher::News::Kind::disconnected) {
            if (const auto it = locationOf.find(news.bsdName); it != locationOf.end()) {
                if (settlingAt(it->second)) return;
                if (hold) hold->forget(it->second);
                locationOf.erase(it);
            }
            handlers.onNews(news, Watcher::Arrival::report);
            return;
        }
        const Drive& drive = *news.drive;
        if (drive.usb && settlingAt(drive.usb->locationID)) {
            // Back from its check: from now on a departure is the user's.
            locationOf[news.bsdName] = drive.usb->locationID;
            settling.erase(drive.usb->locationID);
            return;
        }
        const Watcher::Arrival arrival = arrivalOf(drive, privileged);
        handlers.onNews(news, arrival);
        if (arrival != Watcher::Arrival::checkBeforeMount && arrival != Watcher::Arrival::check) return;

        CheckRequest request{news.bsdName};
        request.stop = stop;
        const auto checked = checkDrive(machine, request);
        if (arrival == Watcher::Arrival::checkBeforeMount) {
            const std::uint32_t location = drive.usb->locationID;
            locationOf[news.bsdName] = location;
            // Only a capture (or a failed one) takes the disk away; a live read leaves it.
            if (!checked || checked->read.reading.method == ReadMethod::ataSMARTHandOver) {
                settling[location] = now() + settleAfterCheck;
            }
            // Mounting is allowed from here on, whatever the check found.
            if (hold) hold->release(location);
        }
        handlers.onChecked(news.bsdName, checked);
    });
}

}  // namespace app
