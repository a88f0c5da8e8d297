#include "platform/linux/linux_usb_device.hpp"

#include <libusb.h>

#include <gtest/gtest.h>

namespace platform {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(LinuxUSB, NamesDevicesAsSysfsDoes) {
    const Bytes ports = {1, 4};
    EXPECT_EQ(usbSysfsName(2, ports), "2-1.4");
    const Bytes one = {3};
    EXPECT_EQ(usbSysfsName(10, one), "10-3");
}

TEST(LinuxUSB, MapsLibusbErrorsToKinds) {
    EXPECT_EQ(libusbError(LIBUSB_ERROR_PIPE).kind, USBError::Kind::stall);
    EXPECT_EQ(libusbError(LIBUSB_ERROR_PIPE).code, -9);
    EXPECT_EQ(libusbError(LIBUSB_ERROR_PIPE).description, "Pipe error");
    EXPECT_EQ(libusbError(LIBUSB_ERROR_TIMEOUT).kind, USBError::Kind::timeout);
    EXPECT_EQ(libusbError(LIBUSB_ERROR_ACCESS).kind, USBError::Kind::notPermitted);
    EXPECT_EQ(libusbError(LIBUSB_ERROR_NO_DEVICE).kind, USBError::Kind::gone);
    EXPECT_EQ(libusbError(LIBUSB_ERROR_BUSY).kind, USBError::Kind::busy);
    EXPECT_EQ(libusbError(LIBUSB_ERROR_NOT_SUPPORTED).kind, USBError::Kind::notSupported);
    EXPECT_EQ(libusbError(LIBUSB_ERROR_IO).kind, USBError::Kind::other);
}

// The kernel's "descriptors" file: the device descriptor, then each configuration whole.
TEST(LinuxUSB, PicksTheActiveConfigurationFromTheKernelsDescriptors) {
    Bytes file(18, 0);
    file[0] = 18;
    file[1] = 1;
    const Bytes first = {9, 2, 18, 0, 1, 1, 0, 0x80, 50, 9, 4, 0, 0, 0, 8, 6, 0x50, 0};
    const Bytes second = {9, 2, 18, 0, 1, 2, 0, 0x80, 50, 9, 4, 0, 0, 0, 8, 6, 0x62, 0};
    file.insert(file.end(), first.begin(), first.end());
    file.insert(file.end(), second.begin(), second.end());

    EXPECT_EQ(configurationFromDescriptors(file, 1), first);
    EXPECT_EQ(configurationFromDescriptors(file, 2), second);
    EXPECT_FALSE(configurationFromDescriptors(file, 3));
    // Cut short: the part that is there.
    const Bytes cut(file.begin(), file.end() - 4);
    EXPECT_EQ(configurationFromDescriptors(cut, 2)->size(), 14u);
    EXPECT_FALSE(configurationFromDescriptors(Bytes(10, 0), 1));
}

}  // namespace
}  // namespace platform
