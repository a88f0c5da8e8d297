#pragma once
// Where the store's passes read drives: the application core's one read of every drive,
// adapted to the store's DriveSource. The one place to change when that read changes.
#include "app/read_all.hpp"
#include "app/store/drive_store.hpp"
#include "platform/block_counters.hpp"

namespace app {

/// Reads every shown drive with `context` (which must outlive the source). Disks that
/// sleep are left asleep unless `context.wake` says otherwise.
DriveSource driveSource(ReadContext context);

/// The sampler's counters of a disk from `reader`, which must outlive it. Allocates
/// nothing once the reader has seen the disk.
std::function<std::optional<IOStats>(const std::string& bsdName)> ioStatsFrom(platform::BlockCounterReader& reader);

}  // namespace app
