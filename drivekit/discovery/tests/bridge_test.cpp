#include "drivekit/discovery/bridge.hpp"

#include <gtest/gtest.h>

#include "drivekit/discovery/drive.hpp"

namespace drivekit {
namespace {

TEST(Bridge, UnknownVendorIsShownByItsIdsInFourCapitalDigits) {
    const auto bridge = Bridge::identify(0x1234, 0x5678);
    EXPECT_EQ(bridge.vendor, "0x1234");
    EXPECT_EQ(bridge.chip, "0x5678");
    EXPECT_EQ(bridge.maker(), std::nullopt);
    EXPECT_EQ(bridge.displayName(), "USB bridge");
    EXPECT_EQ(Bridge::identify(0xABC, 0xF).vendor, "0x0ABC");
    EXPECT_EQ(Bridge::identify(0xABC, 0xF).chip, "0x000F");
}

TEST(Bridge, OfAUSBDriveAndKindTexts) {
    USBInfo usb;
    usb.vendorID = 0x152D;
    usb.productID = 0x0578;
    EXPECT_EQ(bridgeOf(usb).chip, "JMS578");
    for (auto kind : {Bridge::Kind::sata, Bridge::Kind::nvme, Bridge::Kind::unknown}) {
        EXPECT_EQ(BridgeKindText::parse(BridgeKindText::raw(kind)), kind);
    }
    EXPECT_EQ(BridgeKindText::parse("nvme"), std::nullopt);
}

}  // namespace
}  // namespace drivekit
