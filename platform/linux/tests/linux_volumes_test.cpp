#include "platform/linux/linux_volumes.hpp"

#include <sys/mount.h>
#include <unistd.h>

#include <fstream>
#include <future>
#include <memory>
#include <set>

#include <gtest/gtest.h>

#include "platform/tests/support/doubles.hpp"

namespace platform {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

// sdb with two partitions; a LUKS container (dm-0) opened on sdb2. sda is another disk.
doubles::MapSysfs tree() {
    doubles::MapSysfs sysfs;
    sysfs.disk("sda", "8:0", {"sda1"});
    sysfs.disk("sdb", "8:16", {"sdb1", "sdb2"});
    sysfs.files["/sys/class/block/sda1/dev"] = "8:1";
    sysfs.files["/sys/class/block/sdb1/dev"] = "8:17";
    sysfs.files["/sys/class/block/sdb2/dev"] = "8:18";
    sysfs.files["/sys/class/block/dm-0/dev"] = "253:0";
    sysfs.folders["/sys/class/block/sdb/sdb2/holders"] = {"dm-0"};
    sysfs.folders["/sys/class/block/sdb2/holders"] = {"dm-0"};
    sysfs.folders["/sys/class/block/dm-0/holders"] = {};
    return sysfs;
}

class Volumes : public ::testing::Test {
protected:
    Volumes() {
        mounts.table = {
            {8, 1, "/", "/", "ext4", "/dev/sda1", "rw", "rw"},
            {8, 17, "/", "/media/lab/Photos", "vfat", "/dev/sdb1", "rw,nosuid,nodev,relatime",
             "rw,uid=1000,gid=1000,fmask=0022,dmask=0022,codepage=437"},
            {253, 0, "/", "/media/lab/Vault", "ext4", "/dev/mapper/vault", "rw,relatime", "rw,seclabel"},
            {0, 45, "/", "/media/lab/Vault/snap", "btrfs", "/dev/sdb1", "ro", "ro,subvol=/snap"},
        };
        calls.unmount = [this](const std::string& target) {
            done.push_back("umount " + target);
            if (busy.count(target) > 0) return EBUSY;
            std::erase_if(mounts.table, [&](const Mount& m) { return m.mountPoint == target; });
            return 0;
        };
        // A held folder is its index here; where it lies is fixed when it is held.
        calls.holdFolder = [this](const std::string& point) {
            const std::string folder = point.substr(0, point.rfind('/'));
            for (const auto& link : links) {
                if (folder == link || folder.starts_with(link + "/")) return -ELOOP;
            }
            held.push_back(folder);
            return static_cast<int>(held.size() - 1);
        };
        calls.mountAt = [this](int folder, const std::string& name, const std::string& source,
                               const std::string& type, unsigned long flags, const std::string& data) {
            const std::string target = held.at(static_cast<std::size_t>(folder)) + "/" + name;
            if (links.count(target) > 0) return ELOOP;
            done.push_back("mount " + source + " " + target + " " + type + " " +
                           std::to_string(flags) + (data.empty() ? "" : " " + data));
            return 0;
        };
        calls.release = [this](int) { ++released; };
        calls.writeAttribute = [this](const std::string& path, const std::string& value) {
            done.push_back("write " + value + " " + path);
            return busy.count(path) > 0 ? EBUSY : 0;
        };
    }

    doubles::MapSysfs sysfs = tree();
    doubles::TableMounts mounts;
    MountCalls calls;
    std::set<std::string> busy;
    std::set<std::string> links;  // mount points a user replaced by a link
    std::vector<std::string> held;
    int released = 0;
    Lines done;
};

TEST_F(Volumes, FindsEveryMountOfTheDiskInnermostFirst) {
    const auto found = mountsOfDisk("sdb", sysfs, mounts.table);
    ASSERT_EQ(found.size(), 3u);
    // By source where the device number is anonymous (btrfs), by number otherwise.
    EXPECT_EQ(found[0].mountPoint, "/media/lab/Vault/snap");
    EXPECT_EQ(found[0].source, "sdb1");
    EXPECT_EQ(found[1].source, "dm-0");
    EXPECT_EQ(found[2].source, "sdb1");
    EXPECT_TRUE(mountsOfDisk("sdc", sysfs, mounts.table).empty());
}

TEST_F(Volumes, UnmountsAndMountsBackUnderTheNewName) {
    LinuxVolumes volumes(sysfs, mounts, calls);
    EXPECT_TRUE(volumes.unmountWhole("sdb", 30));
    EXPECT_EQ(done, (Lines{"umount /media/lab/Vault/snap", "umount /media/lab/Vault",
                           "umount /media/lab/Photos"}));
    EXPECT_EQ(mounts.table.size(), 1u);

    // The drive came back as sdc; the desktop already mounted one volume.
    done.clear();
    mounts.table.push_back({8, 33, "/", "/media/lab/Photos", "vfat", "/dev/sdc1", "rw", "rw"});
    volumes.mountWhole("sdc");
    EXPECT_EQ(done, (Lines{"mount /dev/dm-0 /media/lab/Vault ext4 " + std::to_string(MS_RELATIME),
                           "mount /dev/sdc1 /media/lab/Vault/snap btrfs " +
                               std::to_string(MS_RDONLY) + " subvol=/snap"}));
    EXPECT_EQ(released, 3);
    // Nothing is remembered twice.
    done.clear();
    volumes.mountWhole("sdc");
    EXPECT_TRUE(done.empty());
}

TEST_F(Volumes, MountsBackWithItsOptionsAndNeverThroughALink) {
    LinuxVolumes volumes(sysfs, mounts, calls);
    ASSERT_TRUE(volumes.unmountWhole("sdb", 30));
    // While the drive was away a user put a link where the vault's folder was.
    links.insert("/media/lab/Vault");
    done.clear();
    const auto refused = volumes.mountWhole("sdb");
    // Neither the vault nor the snapshot inside it is mounted through the link, and each
    // is said at once.
    ASSERT_EQ(refused.size(), 2u);
    EXPECT_NE(refused[0].find("wasn't mounted back at /media/lab/Vault"), std::string::npos) << refused[0];
    EXPECT_EQ(done, (Lines{"mount /dev/sdb1 /media/lab/Photos vfat " +
                               std::to_string(MS_NOSUID | MS_NODEV | MS_RELATIME) +
                               " uid=1000,gid=1000,fmask=0022,dmask=0022,codepage=437"}));
}

TEST_F(Volumes, ARefusalStopsAndIsReported) {
    LinuxVolumes volumes(sysfs, mounts, calls);
    busy.insert("/media/lab/Vault");
    const auto refused = volumes.unmountWhole("sdb", 30);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().kind, UnmountFailure::Kind::refused);
    EXPECT_EQ(refused.error().code, EBUSY);
    EXPECT_NE(refused.error().reason.find("busy"), std::string::npos);
    EXPECT_EQ(done.size(), 2u);
    // What went is mounted back, with its flags.
    done.clear();
    volumes.mountWhole("sdb");
    EXPECT_EQ(done, (Lines{"mount /dev/sdb1 /media/lab/Vault/snap btrfs " + std::to_string(MS_RDONLY) +
                           " subvol=/snap"}));

    EXPECT_EQ(volumes.unmountWhole("sdz", 30).error().kind, UnmountFailure::Kind::noDisk);
}

TEST_F(Volumes, AnUnmountThatHangsTimesOut) {
    // The hanging call keeps only shared state, so it may end after the test.
    auto gate = std::make_shared<std::promise<void>>();
    MountCalls hanging = calls;
    hanging.unmount = [wait = gate->get_future().share()](const std::string&) {
        wait.wait();
        return 0;
    };
    LinuxVolumes volumes(sysfs, mounts, hanging);
    const auto failure = volumes.unmountWhole("sdb", 0.01);
    gate->set_value();
    ASSERT_FALSE(failure);
    EXPECT_EQ(failure.error().kind, UnmountFailure::Kind::timeout);
}

TEST(FileHolders, NamesEachProcessByItsFirstHoldOnTheVolume) {
    const fs::path proc = fs::temp_directory_path() / ("vantrel-proc-" + std::to_string(::getpid()));
    fs::remove_all(proc);
    const auto process = [&](int pid, const std::string& comm) {
        fs::create_directories(proc / std::to_string(pid) / "fd");
        std::ofstream(proc / std::to_string(pid) / "comm") << comm << "\n";
        return proc / std::to_string(pid);
    };
    fs::create_symlink("/media/lab", process(77, "Web Content") / "cwd");
    const auto vim = process(4242, "vim");
    fs::create_symlink("/home/ann", vim / "cwd");
    fs::create_symlink("/media/lab/a.txt", vim / "fd" / "3");
    fs::create_symlink("/media/lab/b.txt", vim / "fd" / "4");
    std::ofstream(process(300, "player") / "maps")
        << "7f00-7f10 r--p 00000000 08:11 12 /usr/lib/libc.so.6\n"
        << "7f20-7f30 r--p 00000000 08:11 13 /media/lab/song.flac (deleted)\n";
    fs::create_symlink("/media/laboratory/x", process(500, "other") / "cwd");
    fs::create_directories(proc / "self");
    // Names no pid can be: skipped, never an exception out of the scan.
    fs::create_directories(proc / "99999999999999999999");
    fs::create_directories(proc / "0");

    const LinuxFileHolders holders(proc);
    const auto held = holders.holding({"/media/lab"});
    fs::remove_all(proc);
    ASSERT_EQ(held.size(), 3u);
    EXPECT_EQ(held[0], (FileHolder{77, "Web Content", "/media/lab", true}));
    EXPECT_EQ(held[1], (FileHolder{300, "player", "/media/lab/song.flac", false}));
    EXPECT_EQ(held[2].pid, 4242);
    EXPECT_EQ(held[2].path.rfind("/media/lab/", 0), 0u);
    EXPECT_TRUE(holders.holding({}).empty());
}

// Without the disk service: an array stopped through its state, a USB disk let go by its
// USB device (the port goes off), another disk by its SCSI device; an NVMe drive has
// neither and is refused.
TEST_F(Volumes, ArraysStopAndDisksGoThroughTheirOwnSysfsFiles) {
    const std::string usb = "/sys/devices/pci0000:00/0000:00:01.0/usb2/2-2";
    sysfs.folders["/sys/class/block/md0/md"] = {};
    sysfs.files[usb + "/idVendor"] = "46f4";
    sysfs.files[usb + "/remove"] = "";
    sysfs.folders[usb + "/2-2:1.0/host2/target2:0:0/2:0:0:0/block/sdc"] = {};
    sysfs.files["/sys/class/block/sda/device/delete"] = "";
    sysfs.folders["/sys/class/block/nvme0n1"] = {};
    struct Linked final : Sysfs {
        const doubles::MapSysfs& tree;
        std::string usb;
        explicit Linked(const doubles::MapSysfs& t, std::string u) : tree(t), usb(std::move(u)) {}
        std::optional<std::string> read(std::string_view p) const override { return tree.read(p); }
        std::vector<std::string> list(std::string_view p) const override { return tree.list(p); }
        bool exists(std::string_view p) const override { return p == "/sys/class/block/sdc" || tree.exists(p); }
        std::optional<std::string> readLink(std::string_view p) const override { return tree.readLink(p); }
        std::optional<std::string> resolve(std::string_view p) const override {
            if (p == "/sys/class/block/sdc") return usb + "/2-2:1.0/host2/target2:0:0/2:0:0:0/block/sdc";
            return tree.resolve(p);
        }
    } linked(sysfs, usb);
    LinuxVolumes volumes(linked, mounts, calls);

    EXPECT_TRUE(volumes.stopArray("md0", 30));
    EXPECT_TRUE(volumes.stopArray("md1", 30));  // gone already
    EXPECT_TRUE(volumes.powerOff("sdc", 30));
    EXPECT_TRUE(volumes.powerOff("sda", 30));
    EXPECT_EQ(volumes.powerOff("nvme0n1", 30).error().code, EOPNOTSUPP);
    busy.insert("/sys/class/block/md0/md/array_state");
    EXPECT_EQ(volumes.stopArray("md0", 30).error().code, EBUSY);
    EXPECT_EQ(done, (Lines{"write clear /sys/class/block/md0/md/array_state", "write 1 " + usb + "/remove",
                           "write 1 /sys/class/block/sda/device/delete",
                           "write clear /sys/class/block/md0/md/array_state"}));
}

}  // namespace
}  // namespace platform
