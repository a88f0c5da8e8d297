#pragma once
// USB capture at the level of transfers. A USBHost finds a USB device by its location ID
// and opens it; the USBDevice it hands out is the program's exclusive hold on that device
// once an interface is claimed: control and bulk transfers with time-outs, endpoint halt
// clearing, alternate settings, bulk streams for USB Attached SCSI, and memory the USB
// stack can move data into without a copy.
//
// Claiming an interface takes it away from the kernel driver that serves it (the disk
// disappears); giving it back re-attaches that driver, which brings the disk back.
// Implementations give the interface back in their destructor on every path, so a device
// can't be left without its driver by an early return or an exception.
//
// The program reads only: nothing here writes to the medium, and the transfers the
// callers make are command wrappers and class requests, never data-out phases.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/result.hpp"

namespace platform {

/// Why a USB operation failed.
struct USBError {
    enum class Kind {
        timeout,       // the transfer didn't finish within its time-out
        stall,         // the endpoint answered STALL (it is halted until cleared)
        gone,          // the device was unplugged, or reset and enumerated afresh
        notPermitted,  // the system refused for want of privilege
        busy,          // another driver or program holds what was asked for
        notFound,      // no such device, interface, endpoint or descriptor
        overflow,      // the device sent more than the buffer holds
        notSupported,  // not offered on this device, link or system (streams on High-Speed)
        cancelled,     // an asynchronous transfer was cancelled before it finished
        other,
    };
    Kind kind = Kind::other;
    /// The platform's own return code (a negative libusb error on Linux); logs show it
    /// as "0x%08X".
    std::int32_t code = 0;
    /// The platform's sentence for the code, such as "Pipe error".
    std::string description;

    bool operator==(const USBError&) const = default;
};

/// What a transfer moved, and why it stopped short when it did. A transfer that failed
/// may still have moved some bytes first, so a transfer reports both rather than a
/// Result: the bytes that came before a stall or a time-out are part of the answer.
struct USBTransfer {
    std::size_t transferred = 0;
    std::optional<USBError> error;

    bool ok() const noexcept { return !error; }
};

/// The eight-byte setup of a control request, less the length (the data buffer's size).
/// The direction is bit 7 of `requestType`.
struct USBControlRequest {
    std::uint8_t requestType = 0;
    std::uint8_t request = 0;
    std::uint16_t value = 0;
    std::uint16_t index = 0;
};

/// A transfer buffer. Memory from `USBDevice::deviceMemory` is mapped for the USB stack
/// so that large reads go without a copy; it may be used only while its device lives.
class USBBuffer {
public:
    virtual ~USBBuffer() = default;
    virtual std::span<std::uint8_t> bytes() = 0;

protected:
    USBBuffer() = default;
    USBBuffer(const USBBuffer&) = default;
    USBBuffer& operator=(const USBBuffer&) = default;
};

/// Ordinary zero-filled memory, for when the stack offers none of its own.
class HeapUSBBuffer final : public USBBuffer {
public:
    explicit HeapUSBBuffer(std::size_t length) : bytes_(length, 0) {}
    std::span<std::uint8_t> bytes() override { return bytes_; }

private:
    std::vector<std::uint8_t> bytes_;
};

/// An opened USB device. Every call blocks its thread until the operation ends or its
/// time-out passes, except `submitStreamTransfer`, whose completion runs later on a
/// thread of the platform. A device is used from one thread at a time.
class USBDevice {
public:
    /// Gives a claimed interface back and re-attaches its kernel driver.
    virtual ~USBDevice() = default;

    /// The bus number and device address the system knows the device by, to confirm
    /// that the device opened is still the one a drive was found on; nothing when the
    /// platform can't tell.
    virtual std::optional<std::pair<std::uint8_t, std::uint8_t>> busAndAddress() const {
        return std::nullopt;
    }

    // Configuration and interfaces

    /// The whole descriptor of the active configuration (wTotalLength bytes, the
    /// interface, endpoint and class-specific descriptors in device order); nothing
    /// when the device has no active configuration.
    virtual std::optional<std::vector<std::uint8_t>> configurationDescriptor() = 0;

    /// Makes `value` the active configuration. Asking for the one already active
    /// succeeds without touching the device: changing configuration under the drivers of
    /// other interfaces would take them away too.
    virtual Result<void, USBError> setConfiguration(std::uint8_t value) = 0;

    /// Takes interface `number` away from its kernel driver and claims it for this
    /// program. `seize` is the last resort of a caller whose plain claims kept failing:
    /// the kernel swaps the drivers in one step instead of detaching first. On failure
    /// nothing stays detached. One interface is claimed at a time.
    virtual Result<void, USBError> claimInterface(std::uint8_t number, bool seize) = 0;

    /// The alternate setting the claimed interface stands on; nothing before a claim.
    virtual std::optional<std::uint8_t> alternateSetting() = 0;

    /// Switches the claimed interface to another alternate setting.
    virtual Result<void, USBError> selectAlternateSetting(std::uint8_t alternate) = 0;

    /// Gives the claimed interface back and re-attaches the kernel driver it was taken
    /// from, or the one matching it now; the driver then sets the alternate it wants.
    /// Harmless when nothing is claimed or it was already given back.
    virtual void releaseInterface() = 0;

    // Transfers

    /// A request on the default control pipe; `data` is read into or sent from by the
    /// direction of `request.requestType`, and its size is wLength.
    virtual USBTransfer controlTransfer(const USBControlRequest& request,
                                        std::span<std::uint8_t> data, double timeoutSeconds) = 0;

    /// A synchronous bulk transfer; the direction is bit 7 of `endpoint` (0x81 reads).
    virtual USBTransfer bulkTransfer(std::uint8_t endpoint, std::span<std::uint8_t> data,
                                     double timeoutSeconds) = 0;

    /// Clears a halted endpoint on the host side and the device side (CLEAR_FEATURE
    /// ENDPOINT_HALT), which also resets its data toggle.
    virtual Result<void, USBError> clearHalt(std::uint8_t endpoint) = 0;

    /// A port reset. The device enumerates again and may come back as a new device, in
    /// which case this object answers `gone` from then on.
    virtual Result<void, USBError> reset() = 0;

    // Bulk streams (USB 3)

    /// Allocates streams 1 to `count` on each of `endpoints`; returns how many the host
    /// controller and device could give, which may be fewer. `notSupported` on a link
    /// without streams.
    virtual Result<std::uint32_t, USBError> allocateStreams(
        std::uint32_t count, std::span<const std::uint8_t> endpoints) = 0;

    /// Frees the streams of `endpoints`.
    virtual Result<void, USBError> freeStreams(std::span<const std::uint8_t> endpoints) = 0;

    /// Queues a transfer on stream `streamID` of a bulk endpoint. `completion` runs once,
    /// on a platform thread, when it finishes, fails or is cancelled; `data` must stay
    /// valid until then. An error here means nothing was queued and `completion` won't run.
    virtual Result<void, USBError> submitStreamTransfer(
        std::uint8_t endpoint, std::uint32_t streamID, std::span<std::uint8_t> data,
        std::function<void(const USBTransfer&)> completion) = 0;

    /// Asks the stack to cancel every queued transfer of that stream. It returns at once;
    /// each cancelled transfer's completion runs later with `cancelled`.
    virtual Result<void, USBError> cancelStreamTransfers(std::uint8_t endpoint,
                                                          std::uint32_t streamID) = 0;

    // Memory

    /// A buffer of `length` bytes that the USB stack maps for zero-copy transfers, zero
    /// filled. `notSupported` when the stack has none; ordinary memory serves then.
    virtual Result<std::unique_ptr<USBBuffer>, USBError> deviceMemory(
        std::size_t length) = 0;

protected:
    USBDevice() = default;
    USBDevice(const USBDevice&) = default;
    USBDevice& operator=(const USBDevice&) = default;
};

/// Which device, interface and logical unit a capture takes: the location finds the
/// device; the bus number and device address, when known, confirm it before anything is
/// claimed (a device replugged at the same place gets a new address); the interface is
/// the one the disk hangs under, and the LUN the disk's own behind it (a card reader's
/// second slot is LUN 1).
struct USBTarget {
    std::uint32_t locationID = 0;
    std::optional<std::uint8_t> busNumber;
    std::optional<std::uint8_t> deviceAddress;
    std::optional<std::uint8_t> interfaceNumber;
    std::uint8_t lun = 0;

    bool operator==(const USBTarget&) const = default;
};

/// The machine's USB devices.
class USBHost {
public:
    virtual ~USBHost() = default;

    /// Whether this process may take devices from their drivers: the effective user is
    /// the superuser.
    virtual bool privileged() const = 0;

    /// Opens the device at `locationID` (see `usbLocationID`) without claiming anything,
    /// so its disk stays with the kernel until an interface is claimed. `notFound` when
    /// no device is there, and also when more than one answers to the location, since
    /// opening a guess could take the wrong drive.
    virtual Result<std::unique_ptr<USBDevice>, USBError> open(std::uint32_t locationID) = 0;

protected:
    USBHost() = default;
    USBHost(const USBHost&) = default;
    USBHost& operator=(const USBHost&) = default;
};

/// The location ID of a USB device: the bus number in the top eight bits, then one
/// hexadecimal digit per port on the path from the root hub, left aligned (bus 2, ports
/// 1.4 -> 0x02140000). Six ports fit; deeper ones are left out. A port above 15 (root
/// hubs of large xHCI controllers have them) takes the digit F: such locations can
/// collide with each other, never with a port below 15, and a host refuses to open a
/// location more than one device answers to. Discovery and the USB host both use this
/// one function, so the device a drive names is the device that gets opened.
constexpr std::uint32_t usbLocationID(std::uint8_t bus,
                                      std::span<const std::uint8_t> ports) noexcept {
    std::uint32_t location = static_cast<std::uint32_t>(bus) << 24;
    int shift = 20;
    for (const std::uint8_t port : ports) {
        if (shift < 0) break;
        const std::uint32_t digit = port > 0x0Fu ? 0x0Fu : port;
        location |= digit << shift;
        shift -= 4;
    }
    return location;
}

}  // namespace platform
