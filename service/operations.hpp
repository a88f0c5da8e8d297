#pragma once
// What the service does for a decoded request, without the bus: find the drive the
// request names among the whole disks discovery shows, build the command block for the
// operation, send it, and turn the answer or the failure into a reply. Runs on a worker
// thread; blocks while the drive answers.
#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "app/machine.hpp"
#include "app/service/protocol.hpp"
#include "drivekit/core/result.hpp"
#include "drivekit/discovery/drive.hpp"
#include "drivekit/scan/surface_scan.hpp"
#include "drivekit/usb/checker.hpp"

namespace service {

/// A D-Bus error: its name and message.
struct ErrorReply {
    std::string name;
    std::string message;

    bool operator==(const ErrorReply&) const = default;
};

/// The answer of a method: bytes (`ay`) or a text (`s`).
using Answer = std::variant<drivekit::Bytes, std::string>;

/// The careful check of one USB drive: its reading, or why there is none. `stop` turns
/// true when the caller went away; the check then gives the drive back and ends.
using USBCheck = std::function<drivekit::Result<drivekit::Checker::Reading, app::Failure>(
    const drivekit::Drive& drive, const std::function<bool()>& stop, const drivekit::Checker::Log& log)>;

/// The careful check over the machine's own capture platform.
USBCheck machineUSBCheck(app::Machine& machine);

/// A surface scan of one USB drive taken from its kernel driver exactly as the careful
/// check takes it, given back on every path: what it read, or why it didn't scan. `steps`
/// gets the capture's lines ("Unmounting sdb…") as they come.
using USBScan = std::function<drivekit::Result<app::ScanAnswer, app::Failure>(
    const drivekit::Drive& drive, drivekit::surface_scan::Mode mode, const std::function<bool()>& stop,
    const drivekit::surface_scan::Progress& progress, const drivekit::Checker::Log& steps)>;

/// The scan by capture over the machine's own capture platform.
USBScan machineUSBScan(app::Machine& machine);

namespace Operations {

/// The drive a request names, when discovery shows it as a whole disk of the kind the
/// operation reads; nothing for a request that names no drive.
drivekit::Result<std::optional<drivekit::Drive>, ErrorReply> findDrive(const app::Machine& machine,
                                                                       const app::ServiceProtocol::Request& request);

/// How the service takes a USB drive: for its health, and for a scan.
struct USBWork {
    USBCheck check;
    USBScan scan;
};

/// Carries out the request on the drive `findDrive` gave. A scan tells what it read so far
/// to `scanProgress`, and a scan by capture its steps to `scanSteps`. The look at a scan's
/// progress and its cancel aren't operations on a drive: the bus object answers them from
/// the scan it runs for the caller.
drivekit::Result<Answer, ErrorReply> perform(app::Machine& machine, const app::ServiceProtocol::Request& request,
                                             const std::optional<drivekit::Drive>& drive, const USBWork& usb,
                                             const std::function<bool()>& stop,
                                             const drivekit::surface_scan::Progress& scanProgress = {},
                                             const drivekit::Checker::Log& scanSteps = {});

}  // namespace Operations

}  // namespace service
