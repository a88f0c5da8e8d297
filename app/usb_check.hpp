#pragma once
// The careful USB check wired to this machine: the Checker's steps over the machine's
// capture platform, its progress lines, the lab's hold, and its outcome rated like a live
// reading. Internal to the core: front ends call `checkDrive`.
#include "app/drive_check.hpp"
#include "app/failure.hpp"
#include "app/machine.hpp"
#include "app/summary_builder.hpp"
#include "drivekit/core/result.hpp"
#include "drivekit/usb/checker.hpp"

namespace app {

/// Reads a USB drive by taking it from its kernel driver. The reading's method is the
/// hand-over's, its source names the bridge.
drivekit::Result<SummaryBuilder::Reading, Failure> readByCapture(const drivekit::Drive& drive,
                                                                 Machine& machine,
                                                                 const CheckRequest& request);

/// The careful check's reading of a USB drive, not yet rated: what the privileged service
/// hands back to a caller, which rates it as it would a reading of its own. Without root,
/// asks the machine's service when it has one.
drivekit::Result<drivekit::Checker::Reading, Failure> captureReading(
    const drivekit::Drive& drive, Machine& machine, bool wake, const std::function<bool()>& stop,
    const std::function<void(const std::string&)>& progress);

}  // namespace app
