#pragma once
// USB capture on Linux through libusb-1.0 and the kernel's usbfs.
//
// Capturing is claiming the mass-storage interface after detaching the kernel driver
// from it (usb-storage or uas); the disk behind it goes away while the program holds it.
// Giving it back is releasing the interface and attaching the kernel driver again, after
// which the kernel finds the disk afresh. LinuxUSBDevice does the giving back in its
// destructor on every path, and restores the alternate setting it found, so that the
// driver probes the interface as it was.
//
// Opening devices and detaching drivers needs root. One libusb context serves the whole
// process; it is never torn down, so that a device that lives until the process ends
// (a capture whose streams couldn't be closed) can still be given back at exit. A
// thread for asynchronous completions starts with the first stream transfer.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/usb_device.hpp"

namespace platform {

/// A libusb error code (LIBUSB_ERROR_PIPE, ...) as a USBError, with libusb's sentence.
USBError libusbError(int code);

/// The kernel's name of a USB device in sysfs: "2-1.4" for bus 2, ports 1 and 4.
std::string usbSysfsName(std::uint8_t bus, std::span<const std::uint8_t> ports);

/// From the kernel's "descriptors" file (the device descriptor, then each configuration
/// whole): the configuration whose bConfigurationValue is `value`.
std::optional<std::vector<std::uint8_t>> configurationFromDescriptors(
    std::span<const std::uint8_t> descriptors, std::uint8_t value);

class LinuxUSBHost final : public USBHost {
public:
    LinuxUSBHost() = default;

    /// The effective user is root.
    bool privileged() const override;

    /// Looks through the devices libusb lists for the one whose bus and port path give
    /// `locationID`, and opens it.
    Result<std::unique_ptr<USBDevice>, USBError> open(std::uint32_t locationID) override;
};

}  // namespace platform
