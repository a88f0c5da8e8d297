#include "platform/linux/linux_mounts.hpp"

#include <gtest/gtest.h>

namespace platform {
namespace {

// From a desktop: optional fields of varying count, a btrfs subvolume, escapes in paths.
constexpr std::string_view desktop =
    "22 1 0:31 /@ / rw,relatime shared:1 - btrfs /dev/nvme0n1p2 rw,ssd,subvol=/@\n"
    "23 22 0:21 / /proc rw,nosuid,nodev,noexec,relatime shared:5 - proc proc rw\n"
    "60 22 259:1 / /boot/efi rw,relatime shared:30 - vfat /dev/nvme0n1p1 rw,fmask=0077\n"
    "95 22 8:17 / /media/ann/My\\040Passport rw,nosuid shared:50 master:7 - exfat /dev/sdb1 rw\n"
    "96 22 8:33 / /mnt/tab\\011and\\134slash rw - ext4 /dev/sdc1 rw\n"
    "97 22 253:1 /srv /srv/bind rw,relatime - ext4 /dev/mapper/vg0-home rw\n";

TEST(LinuxMountsParse, RealLinesInOrder) {
    const auto mounts = LinuxMounts::parse(desktop);
    ASSERT_EQ(mounts.size(), 6u);
    EXPECT_EQ(mounts[0], (Mount{0, 31, "/@", "/", "btrfs", "/dev/nvme0n1p2", "rw,relatime",
                                "rw,ssd,subvol=/@"}));
    EXPECT_EQ(mounts[2], (Mount{259, 1, "/", "/boot/efi", "vfat", "/dev/nvme0n1p1", "rw,relatime",
                                "rw,fmask=0077"}));
    // Two optional fields before the separator.
    EXPECT_EQ(mounts[3].mountPoint, "/media/ann/My Passport");
    EXPECT_EQ(mounts[3].source, "/dev/sdb1");
    // No optional field at all; tab and backslash escapes.
    EXPECT_EQ(mounts[4].mountPoint, "/mnt/tab\tand\\slash");
    EXPECT_EQ(mounts[5].root, "/srv");
}

TEST(LinuxMountsParse, DamagedLinesAreSkipped) {
    const auto mounts = LinuxMounts::parse(
        "garbage\n"
        "30 1 8:1 / /a rw shared:1 ext4 /dev/sda1 rw\n"  // no "-"
        "31 1 8x1 / /b rw - ext4 /dev/sda1 rw\n"         // bad device numbers
        "32 1 8:1 / /c rw -\n"                           // nothing after "-"
        "\n"
        "33 1 8:2 / /d\\04 rw - ext4 /dev/sda2 rw");  // short escape, no newline at end
    ASSERT_EQ(mounts.size(), 1u);
    EXPECT_EQ(mounts[0].mountPoint, "/d\\04");
    EXPECT_TRUE(LinuxMounts::parse("").empty());
}

}  // namespace
}  // namespace platform
