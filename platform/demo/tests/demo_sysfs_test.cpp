// The in-memory sysfs must walk links exactly as the kernel's tree does, or discovery
// over the demo machine would follow a different path than on real hardware.
#include "platform/demo/demo_sysfs.hpp"

#include <gtest/gtest.h>

namespace {

using platform::DemoSysfs;

DemoSysfs smallTree() {
    DemoSysfs sysfs;
    const std::string disk =
        "/sys/devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block/sda";
    EXPECT_TRUE(sysfs.addFile(disk + "/size", "3907029168\n"));
    EXPECT_TRUE(sysfs.addFile(disk + "/queue/rotational", "1"));
    EXPECT_TRUE(
        sysfs.addFile("/sys/devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/model",
                      "ST2000DM008-2FR1"));
    EXPECT_TRUE(sysfs.addLink(disk + "/device", "../../../0:0:0:0"));
    EXPECT_TRUE(sysfs.addLink(
        "/sys/class/block/sda",
        "../../devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block/sda"));
    EXPECT_TRUE(sysfs.addLink("/sys/class/block/abs", "/sys/class/block/sda"));
    EXPECT_TRUE(sysfs.addLink("/sys/class/block/gone", "../../devices/nowhere"));
    EXPECT_TRUE(sysfs.addLink("/sys/loop/a", "b"));
    EXPECT_TRUE(sysfs.addLink("/sys/loop/b", "a"));
    return sysfs;
}

TEST(DemoSysfs, FollowsRelativeAndAbsoluteLinksLikeTheKernelTree) {
    const DemoSysfs sysfs = smallTree();
    EXPECT_EQ(sysfs.read("/sys/class/block/sda/size"), "3907029168");  // one newline dropped
    EXPECT_EQ(sysfs.read("/sys/class/block/sda/device/model"), "ST2000DM008-2FR1");
    EXPECT_EQ(sysfs.read("/sys/class/block/abs/queue/rotational"), "1");
    EXPECT_EQ(sysfs.resolve("/sys/class/block/sda"),
              "/sys/devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block/sda");
    EXPECT_EQ(sysfs.resolve("/sys/class/block/sda/device/../../.."),
              "/sys/devices/pci0000:00/0000:00:17.0/ata1");
    EXPECT_EQ(sysfs.readLink("/sys/class/block/sda/device"), "../../../0:0:0:0");
    EXPECT_EQ(sysfs.readLink("/sys/class/block/sda/size"), std::nullopt);
    EXPECT_EQ(sysfs.resolve("/../../sys/class/block/abs"), sysfs.resolve("/sys/class/block/sda"));
}

TEST(DemoSysfs, MissingDanglingAndCyclicPathsAnswerNothing) {
    const DemoSysfs sysfs = smallTree();
    EXPECT_FALSE(sysfs.exists("/sys/class/block/gone"));  // a dangling link counts as absent
    EXPECT_EQ(sysfs.readLink("/sys/class/block/gone"), "../../devices/nowhere");
    EXPECT_EQ(sysfs.read("/sys/loop/a"), std::nullopt);
    EXPECT_EQ(sysfs.resolve("/sys/loop/a"), std::nullopt);
    EXPECT_EQ(sysfs.read("/sys/class/block"), std::nullopt);  // a folder isn't a file
    EXPECT_EQ(sysfs.read("/sys/class/block/sda/size/more"), std::nullopt);
    EXPECT_TRUE(sysfs.list("/sys/class/block/sda/size").empty());
    EXPECT_EQ(sysfs.read("sys/class/block/sda/size"), std::nullopt);  // relative
}

TEST(DemoSysfs, ListsByByteOrderAndRefusesOverlappingEntries) {
    DemoSysfs sysfs = smallTree();
    EXPECT_EQ(sysfs.list("/sys/class/block"), (std::vector<std::string>{"abs", "gone", "sda"}));
    EXPECT_FALSE(sysfs.addFile("/sys/class/block/sda", "x"));      // taken by a link
    EXPECT_FALSE(sysfs.addFile("/sys/class/block/sda/new", "x"));  // inside a link
    EXPECT_FALSE(sysfs.addFile("/sys/class/block/sda/../x", "x"));
    EXPECT_FALSE(sysfs.addFolder("/sys/loop/a/inside"));
    EXPECT_TRUE(sysfs.addFolder("/sys/bus/usb/drivers/uas"));
    EXPECT_TRUE(sysfs.exists("/sys/bus/usb/drivers/uas"));
    EXPECT_TRUE(sysfs.list("/sys/bus/usb/drivers/uas").empty());
}

}  // namespace
