#include "platform/linux/linux_sysfs.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace platform {
namespace {

namespace fs = std::filesystem;

// A small tree laid out as the kernel lays out a SATA disk, in a fresh temp folder.
class LinuxSysfsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        root_ = fs::temp_directory_path() /
                ("vantrel-sysfs-" + std::to_string(::getpid()) + "-" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(root_);
        const std::string disk =
            "sys/devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0";
        write(disk + "/model", "Samsung SSD 870 \n");
        write(disk + "/block/sda/stat", "     52        0     2144\n");
        write(disk + "/block/sda/sda1/partition", "1\n");
        write(disk + "/block/sda/uevent", "MAJOR=8\nMINOR=0\nDEVNAME=sda\n\n");
        fs::create_directories(root_ / disk / "block/sda/holders");
        fs::create_directories(root_ / "sys/devices/virtual/block/dm-0");
        link("../../../../../../../../../virtual/block/dm-0", disk + "/block/sda/holders/dm-0");
        link("../../../0:0:0:0", disk + "/block/sda/device");
        link("../../devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda",
             "sys/class/block/sda");
        link("../../../bus/scsi", disk + "/subsystem");
        link("/sys/class/block/sda", "sys/block/sda");  // absolute: taken from the root
        link("../../../../../../../../../..", "sys/class/block/up");
        link("gone", "sys/class/block/dangling");
        link("loop-b", "sys/class/block/loop-a");
        link("loop-a", "sys/class/block/loop-b");
    }
    void TearDown() override { fs::remove_all(root_); }

    void write(const std::string& path, const std::string& text) {
        fs::create_directories((root_ / path).parent_path());
        std::ofstream(root_ / path) << text;
    }
    void link(const std::string& target, const std::string& path) {
        fs::create_directories((root_ / path).parent_path());
        fs::create_symlink(target, root_ / path);
    }

    fs::path root_;
};

constexpr const char* diskPath =
    "/sys/devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda";

TEST_F(LinuxSysfsTest, AnswersThroughLinksAndNothingForWhatIsMissing) {
    const LinuxSysfs sysfs(root_);
    // Only the one newline goes; the model's padding stays for the caller to trim.
    EXPECT_EQ(sysfs.read("/sys/class/block/sda/device/model"), "Samsung SSD 870 ");
    EXPECT_EQ(sysfs.read("/sys/class/block/sda"), std::nullopt);  // a folder
    EXPECT_EQ(sysfs.read("/sys/class/block/dangling"), std::nullopt);
    EXPECT_EQ(sysfs.read("sys/class/block/sda/stat"), std::nullopt);  // relative

    EXPECT_EQ(sysfs.list("/sys/class/block"), (std::vector<std::string>{"dangling", "loop-a", "loop-b", "sda", "up"}));
    EXPECT_EQ(sysfs.list("/sys/class/block/sda/holders"), std::vector<std::string>{"dm-0"});
    EXPECT_TRUE(sysfs.list("/sys/class/block/sda/stat").empty());

    EXPECT_TRUE(sysfs.exists("/sys/class/block/sda/sda1/partition"));
    EXPECT_FALSE(sysfs.exists("/sys/class/block/dangling"));
    EXPECT_FALSE(sysfs.exists("/sys/class/block/loop-a"));

    EXPECT_EQ(sysfs.readLink("/sys/class/block/sda/device/subsystem"), "../../../bus/scsi");
    EXPECT_EQ(sysfs.readLink("/sys/class/block/dangling"), "gone");
    EXPECT_EQ(sysfs.readLink("/sys/class/block/sda/stat"), std::nullopt);
}

TEST_F(LinuxSysfsTest, ResolveStaysInsideTheTree) {
    const LinuxSysfs sysfs(root_);
    EXPECT_EQ(sysfs.resolve("/sys/class/block/sda"), diskPath);
    EXPECT_EQ(sysfs.resolve("/sys/class/block/sda/holders/dm-0"),
              "/sys/devices/virtual/block/dm-0");
    // ".." after a link is taken from the link's target, as the kernel does.
    EXPECT_EQ(sysfs.resolve("/sys/class/block/sda/../../block"),
              "/sys/devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block");
    // Climbing past the top ends at the top of the tree, never at the host's folders.
    EXPECT_EQ(sysfs.resolve("/sys/class/block/up"), "/");
    EXPECT_EQ(sysfs.resolve("/../../sys/class"), "/sys/class");
    EXPECT_EQ(sysfs.resolve("/sys/class/block/dangling"), std::nullopt);
    EXPECT_EQ(sysfs.resolve("/sys/class/block/loop-a"), std::nullopt);
    EXPECT_EQ(sysfs.resolve(""), std::nullopt);
}

TEST_F(LinuxSysfsTest, SystemRootUsesHostPathsAsTheyAre) {
    // The same tree seen through the real root: paths are the host's own.
    const LinuxSysfs sysfs;
    const auto canonicalRoot = fs::canonical(root_).string();
    EXPECT_EQ(sysfs.read(canonicalRoot + "/sys/class/block/sda/device/model"), "Samsung SSD 870 ");
    EXPECT_EQ(sysfs.resolve(canonicalRoot + "/sys/class/block/sda"), canonicalRoot + diskPath);

    // A root given through a link or with a trailing slash is the same tree.
    const LinuxSysfs trailing(root_.string() + "/");
    EXPECT_EQ(trailing.resolve("/sys/class/block/sda"), diskPath);
}

}  // namespace
}  // namespace platform
