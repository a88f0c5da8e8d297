#include "drivekit/discovery/bridge.hpp"

#include <gtest/gtest.h>

#include "drivekit/discovery/drive.hpp"

namespace drivekit {
namespace {

TEST(Bridge, KnownChipsByTheirPairOfIds) {
    EXPECT_EQ(Bridge::identify(0x174C, 0x235C),
              (Bridge{"ASMedia", "ASM235CM", Bridge::Kind::sata}));
    EXPECT_EQ(Bridge::identify(0x174C, 0x55AA),
              (Bridge{"ASMedia", "ASM1051/1053/1153", Bridge::Kind::sata}));
    EXPECT_EQ(Bridge::identify(0x152D, 0x0583), (Bridge{"JMicron", "JMS583", Bridge::Kind::nvme}));
    EXPECT_EQ(Bridge::identify(0x0BDA, 0x9210), (Bridge{"Realtek", "RTL9210", Bridge::Kind::nvme}));
    EXPECT_EQ(Bridge::identify(0x0BDA, 0x9210).displayName(), "Realtek RTL9210 bridge");
    EXPECT_FALSE(Bridge::identify(0x174C, 0x2362).chipUnknown());
}

TEST(Bridge, KnownMakerWithAnUnknownChip) {
    const auto bridge = Bridge::identify(0x174C, 0x0001);
    EXPECT_EQ(bridge.vendor, "ASMedia");
    EXPECT_EQ(bridge.chip, "0x0001");
    EXPECT_TRUE(bridge.chipUnknown());
    EXPECT_EQ(bridge.maker(), "ASMedia");
    EXPECT_EQ(bridge.displayName(), "ASMedia bridge");
    // A maker known only by its vendor id, never in the chip table.
    EXPECT_EQ(Bridge::identify(0x2109, 0x0715).displayName(), "VIA Labs bridge");
}

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
    EXPECT_EQ(BridgeKindText::raw(Bridge::Kind::nvme), "NVMe");
    EXPECT_EQ(BridgeKindText::parse("nvme"), std::nullopt);
}

}  // namespace
}  // namespace drivekit
