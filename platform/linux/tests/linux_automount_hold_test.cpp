#include "platform/linux/linux_automount_hold.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace platform {
namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// A sysfs tree with a USB disk (sdb, with a partition, behind 2-1) and a SATA disk (sda),
// and the folder of udev's runtime rules.
class AutomountHold : public ::testing::Test {
protected:
    AutomountHold() {
        root = fs::temp_directory_path() / ("vantrel-automount-hold-" + std::to_string(::getpid()));
        fs::remove_all(root);
        disk("sdb", "devices/pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0/host2/target2:0:0/2:0:0:0/block/sdb");
        disk("sdb1", "devices/pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0/host2/target2:0:0/2:0:0:0/block/sdb/sdb1");
        disk("sda", "devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block/sda");
        paths.rulesFile = root / "run/udev/rules.d/90-vantrel-hold.rules";
        paths.sysRoot = root / "sys";
        paths.reloadRules = [this] { ++reloads; };
        paths.pid = 4242;
    }
    ~AutomountHold() override { fs::remove_all(root); }

    void disk(const std::string& name, const std::string& device) {
        fs::create_directories(root / "sys" / device);
        std::ofstream(root / "sys" / device / "uevent") << "";
        fs::create_directories(root / "sys/class/block");
        fs::create_directory_symlink(root / "sys" / device, root / "sys/class/block" / name);
    }
    std::string uevent(const std::string& name) { return contents(root / "sys/class/block" / name / "uevent"); }

    fs::path root;
    LinuxAutomountHold::Paths paths;
    int reloads = 0;
};

TEST_F(AutomountHold, HoldsUSBDisksUntilReleasedAndLetsEveryOneGoAtTheEnd) {
    std::string why;
    auto hold = LinuxAutomountHold::open(why, paths);
    ASSERT_TRUE(hold) << why;
    const std::string held = contents(paths.rulesFile);
    EXPECT_NE(held.find("TEST!=\"/proc/4242\", GOTO=\"vantrel_hold_end\""), std::string::npos) << held;
    EXPECT_NE(held.find("ACTION==\"add\", ENV{UDISKS_IGNORE}=\"1\""), std::string::npos) << held;
    EXPECT_EQ(reloads, 1);
    EXPECT_EQ(uevent("sdb"), "") << "holding offers nothing again";

    // Released: the port is an exception before the hold, and its disk and partition (only
    // theirs) are offered to udev again with the new rule in place.
    hold->release(0x02100000);
    const std::string released = contents(paths.rulesFile);
    const auto exception = released.find("DEVPATH==\"*/2-1/*\", GOTO=\"vantrel_hold_end\"");
    ASSERT_NE(exception, std::string::npos) << released;
    EXPECT_LT(exception, released.find("UDISKS_IGNORE"));
    EXPECT_EQ(reloads, 2);
    EXPECT_EQ(uevent("sdb"), "change");
    EXPECT_EQ(uevent("sdb1"), "change");
    EXPECT_EQ(uevent("sda"), "");

    // Gone from that port: the next drive there is held again.
    hold->forget(0x02100000);
    EXPECT_EQ(contents(paths.rulesFile), held);

    hold.reset();
    EXPECT_FALSE(fs::exists(paths.rulesFile));
    EXPECT_EQ(uevent("sda"), "") << "only USB disks were ever held";
}

TEST_F(AutomountHold, NamesTheUSBDeviceOfALocationAndSaysWhyItCantHold) {
    EXPECT_EQ(LinuxAutomountHold::usbDeviceName(0x02140000), "2-1.4");
    EXPECT_EQ(LinuxAutomountHold::usbDeviceName(0x0A100000), "10-1");

    // A file where the rules folder should be: no hold, and why.
    fs::create_directories(root / "run/udev");
    std::ofstream(root / "run/udev/rules.d") << "";
    std::string why;
    EXPECT_FALSE(LinuxAutomountHold::open(why, paths));
    EXPECT_NE(why.find("rules.d"), std::string::npos) << why;
}

}  // namespace
}  // namespace platform
