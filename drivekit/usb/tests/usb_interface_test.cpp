#include "drivekit/usb/usb_interface.hpp"

#include <gtest/gtest.h>

#include "drivekit/discovery/discovery.hpp"
#include "platform/linux/linux_block_use.hpp"
#include "platform/linux/linux_sysfs.hpp"

namespace drivekit {
namespace {

using Lines = std::vector<std::string>;
const std::string reader = std::string(VANTREL_TEST_DATA) + "/discovery/reader";

TEST(USBInterface, EveryCardOfAReaderOnPortSixteenAndTheDisksOwnLUN) {
    const platform::LinuxSysfs sysfs(reader);
    const auto second = USBInterface::of("sdd", sysfs);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->interfaceName, "2-16:1.0");
    EXPECT_EQ(second->disks, (Lines{"sdd", "sdc"}));
    const std::array<std::uint8_t, 1> port16{16};
    EXPECT_EQ(second->target, (platform::USBTarget{platform::usbLocationID(2, port16), 2, 7, 0, 1}));
    EXPECT_EQ(second->target.locationID, Discovery::locationID(2, "16"));

    // The stick on port 1 of the same bus is alone on its interface, and not confused
    // with the reader.
    const auto stick = USBInterface::of("sde", sysfs);
    ASSERT_TRUE(stick);
    EXPECT_EQ(stick->disks, (Lines{"sde"}));
    EXPECT_EQ(stick->target.lun, 0);
    EXPECT_NE(stick->target.locationID, second->target.locationID);
    EXPECT_FALSE(USBInterface::of("dm-3", sysfs));
}

TEST(USBInterface, StackedDevicesAreNamedWithWhatToCloseFirst) {
    const platform::LinuxSysfs sysfs(reader);
    const auto holders = USBInterface::holders({"sdd", "sdc"}, sysfs);
    ASSERT_EQ(holders.size(), 2u);
    EXPECT_EQ(USBInterface::holderSentence(holders[0]),
              "/dev/sdd1 holds the unlocked encrypted volume luks-card. Lock it first (`cryptsetup "
              "close luks-card`) and try again: Vantrel never closes it itself, since opening it "
              "again needs your passphrase.");
    EXPECT_EQ(USBInterface::holderSentence(holders[1]),
              "/dev/sdd2 belongs to the active LVM volume group vg-cards. Deactivate it first "
              "(`vgchange -an vg-cards`) and try again.");

    const platform::LinuxBlockUse use(reader);
    EXPECT_EQ(use.activeSwaps(), (Lines{"sdc2"}));  // the swap file is not a device
    EXPECT_EQ(USBInterface::swapSentence("sdc2"),
              "/dev/sdc2 is in use as swap. Turn it off first (`swapoff /dev/sdc2`) and try again.");
}

}  // namespace
}  // namespace drivekit
