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

TEST(USBLocationID, PortsAboveFifteenShareTheTopDigitAndNeverMeetALowerPort) {
    EXPECT_EQ(location(1, {1}), 0x01100000u);
    EXPECT_EQ(location(1, {9}), 0x01900000u);
    EXPECT_EQ(location(1, {15}), 0x01F00000u);
    EXPECT_EQ(location(1, {16}), 0x01F00000u);
    EXPECT_EQ(location(1, {31}), 0x01F00000u);
    // Port 17 must not pass for port 1 (a different, possibly mounted disk) nor port 16
    // for the end of the path.
    EXPECT_NE(location(1, {17}), location(1, {1}));
    EXPECT_NE(location(1, {16, 2}), location(1, {2}));
    // A deep hub chain: six digits, the seventh port is left out.
    EXPECT_EQ(location(4, {16, 4, 3, 2, 1, 7, 9}), 0x04F43217u);
}

}  // namespace
}  // namespace platform
