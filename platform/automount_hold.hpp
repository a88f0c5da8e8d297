#pragma once
// Holding the desktop's automount back from USB disks that arrive while they are checked,
// so that the check needs no unmount, and letting each go once its check is over.
#include <cstdint>

namespace platform {

class AutomountHold {
public:
    /// Ends the hold: every disk still held is offered to the desktop again.
    virtual ~AutomountHold() = default;

    /// Lets the disks behind the USB device at `locationID` go: they are offered to the
    /// desktop again, which mounts what it would have mounted on arrival, and a disk that
    /// comes back there (given back by a capture) isn't held.
    virtual void release(std::uint32_t locationID) = 0;
    /// That USB device is gone: a drive plugged in at its place later is held again.
    virtual void forget(std::uint32_t locationID) = 0;

protected:
    AutomountHold() = default;
    AutomountHold(const AutomountHold&) = default;
    AutomountHold& operator=(const AutomountHold&) = default;
};

}  // namespace platform
