#pragma once
// Watching drives come and go, for every front end: the drives present at the start, then
// the news of each disk event, until a stop request.
#include <functional>

#include "app/machine.hpp"
#include "drivekit/usb/watcher.hpp"
#include "platform/disk_events.hpp"

namespace app {

/// Hands each arrival and departure to `onNews` until `stop` says so (asked every half
/// second and after each interrupted wait).
void watchDrives(const Machine& machine, platform::DiskEvents& events, const std::function<bool()>& stop,
                 const std::function<void(const drivekit::Watcher::News&)>& onNews);

}  // namespace app
