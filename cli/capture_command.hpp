#pragma once
// `vantrel check sdb` for a USB drive that the kernel's driver can't reach the health data
// of (or with `--capture`): the careful sequence that unmounts the drive, takes its USB
// device from the driver, asks the enclosure itself, gives the device back and waits for
// the volumes. Progress lines go to stderr as they come, so stdout stays the report.
//
// The reading is rated by the same rules as a live reading, so a drive gets the same
// verdict whichever way it was read.
//
// SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGPIPE during the sequence only set a flag (see `StopOnSignals`): the
// sequence sends nothing more to the drive, gives the device back through its normal
// path, and the process then ends by the same signal. A second signal gives every claimed
// interface back to the kernel at once and ends the process.
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "cli/ata_live.hpp"
#include "cli/app_names.hpp"
#include "drivekit/usb/captured_usb_drive.hpp"
#include "platform/block_use.hpp"
#include "platform/usb_device.hpp"
#include "platform/volumes.hpp"

namespace cli {

/// While it lives, SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGPIPE set a flag instead of
/// ending the process (a write to a closed pipe then fails with EPIPE instead); the
/// handlers before it come back when it goes. One at a time.
class StopOnSignals {
public:
    StopOnSignals();
    StopOnSignals(const StopOnSignals&) = delete;
    StopOnSignals& operator=(const StopOnSignals&) = delete;
    ~StopOnSignals();

    /// Whether a signal came since construction.
    static bool requested();
    /// The signal that came, 0 for none.
    static int signal();
    /// Ends the process by the signal that came, as it would have ended without us.
    [[noreturn]] static void endBySignal();
};

/// Reads a USB drive by capture. Exit 4 for a drive that isn't on USB or can't be read
/// that way, 5 without root, 6 when the sequence failed, 7 when the drive was found
/// asleep and `wake` isn't set; the sentence on `err`.
std::variant<ATALiveReading, int> readByCapture(std::string_view name, Machine& machine,
                                                std::ostream& err, bool wake);

/// The way `check` reads a SATA or USB disk: live through the kernel, and for a USB drive
/// whose enclosure refuses that, by capture; by capture at once when `capture` is set.
/// A sleeping disk is left asleep unless `wake`.
std::variant<ATALiveReading, int> readATADrive(std::string_view name, Machine& machine,
                                               std::ostream& err, bool capture, bool wake);

}  // namespace cli
