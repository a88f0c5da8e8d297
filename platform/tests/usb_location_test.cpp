#include <array>

#include <gtest/gtest.h>

#include "platform/usb_device.hpp"

namespace platform {
namespace {

std::uint32_t location(std::uint8_t bus, std::initializer_list<std::uint8_t> ports) {
    const std::vector<std::uint8_t> path(ports);
    return usbLocationID(bus, path);
}

TEST(USBLocationID, PortsAboveFifteenShareTheTopDigitAndNeverMeetALowerPort) {
    static_assert(usbLocationID(2, std::array<std::uint8_t, 2>{1, 4}) == 0x02140000u);
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
