#include "platform/linux/linux_usb_device.hpp"

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
