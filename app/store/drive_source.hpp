#pragma once
// Where the store's passes read drives: the application core's one read of every drive,
// adapted to the store's DriveSource. The one place to change when that read changes.
#include "app/read_all.hpp"
#include "app/store/drive_store.hpp"

namespace app {

/// Reads every shown drive with `context` (which must outlive the source). Disks that
/// sleep are left asleep unless `context.wake` says otherwise.
DriveSource driveSource(ReadContext context);

}  // namespace app
