#pragma once
// Watching drives come and go, for every front end: the drives present at the start, then
// the news of each disk event, until a stop request. A watcher that checks reads each drive
// as it arrives, a USB drive before the desktop mounts it.
#include <cstdint>
#include <functional>
#include <string>

#include "app/drive_check.hpp"
#include "app/machine.hpp"
#include "drivekit/usb/watcher.hpp"
#include "platform/disk_events.hpp"

namespace app {

/// Hands each arrival and departure to `onNews` until `stop` says so (asked every half
/// second and after each interrupted wait).
void watchDrives(const Machine& machine, platform::DiskEvents& events, const std::function<bool()>& stop,
                 const std::function<void(const drivekit::Watcher::News&)>& onNews);

/// What a checking watcher does with a drive that arrived: a USB drive is checked before it
/// mounts when this process may take it (root) and nothing makes it unsafe to take; any
/// other drive is checked when it can be read (with root, not an SD card).
drivekit::Watcher::Arrival arrivalOf(const drivekit::Drive& drive, bool privileged);

struct CheckingWatch {
    /// Watching has begun, the hold in place: a drive plugged in from now on is held.
    std::function<void()> onReady;
    /// Each arrival with what is done about it, and each departure (`report`).
    std::function<void(const drivekit::Watcher::News&, drivekit::Watcher::Arrival)> onNews;
    /// The check of a drive that arrived, once it is over.
    std::function<void(const std::string& bsdName, const drivekit::Result<CheckedDrive, Failure>&)> onChecked;
    /// Why USB drives can't be held back from mounting (said once, at the start).
    std::function<void(const std::string& why)> onNoHold;
};

/// Watches as `watchDrives` does, and checks each drive that arrives, one at a time. While
/// it runs, USB drives that arrive are held back from the desktop's automount (the
/// machine's hold) until their check is over. A capture takes a disk away and gives it
/// back: that departure and return within a few seconds of its check aren't news.
void watchAndCheck(Machine& machine, platform::DiskEvents& events, const std::function<bool()>& stop,
                   const CheckingWatch& handlers);

}  // namespace app
