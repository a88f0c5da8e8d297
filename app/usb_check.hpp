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

/// Runs the careful sequence on `steps` wired to this machine (`Checker::check`,
/// `Checker::take`); a failure ends it.
using CaptureRun = std::function<std::optional<drivekit::Checker::Failure>(const drivekit::Checker::USBSteps& steps,
                                                                          const drivekit::Checker::Log& log)>;

/// Takes a USB drive from its kernel driver with this machine's capture platform, as the
/// careful check does, and lets `run` work on it; the drive is given back on every path.
/// Refuses without a capture platform, without root, or for a drive not on USB. Work that
/// failed once `stop` said yes ends `interrupted`; work that finished stands.
std::optional<Failure> withCapture(const drivekit::Drive& drive, Machine& machine, const std::function<bool()>& stop,
                                   const std::function<void(const std::string&)>& progress, const CaptureRun& run);

}  // namespace app
