#include <array>

#include <gtest/gtest.h>

#include "platform/usb_device.hpp"

namespace platform {
namespace {

std::uint32_t location(std::uint8_t bus, std::initializer_list<std::uint8_t> ports) {
    const std::vector<std::uint8_t> path(ports);
    return usbLocationID(bus, path);
}

TEST(USBLocationID, PutsTheBusOnTopAndOneDigitPerPortBelow) {
    EXPECT_EQ(location(2, {1, 4}), 0x02140000u);
    EXPECT_EQ(location(1, {3}), 0x01300000u);
    EXPECT_EQ(location(3, {}), 0x03000000u);
    EXPECT_EQ(location(0xFF, {1, 2, 3, 4, 5, 6}), 0xFF123456u);
    // Ports past the sixth have no digit left.
    EXPECT_EQ(location(1, {1, 2, 3, 4, 5, 6, 7}), 0x01123456u);
    static_assert(usbLocationID(2, std::array<std::uint8_t, 2>{1, 4}) == 0x02140000u);
}

TEST(USBLocationID, APortAboveFifteenKeepsItsLowDigit) {
    // Such locations can collide; the host refuses to open an ambiguous one.
    EXPECT_EQ(location(1, {17}), location(1, {1}));
}

}  // namespace
}  // namespace platform
