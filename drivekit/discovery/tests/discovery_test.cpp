#include "drivekit/discovery/discovery.hpp"
#include "platform/usb_device.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

#include "platform/linux/linux_block_probe.hpp"
#include "platform/linux/linux_mounts.hpp"
#include "platform/linux/linux_sysfs.hpp"

namespace drivekit {
namespace {

// A machine from a fixture tree: sysfs, the mount table and udev's records, read through
// the real Linux implementations.
struct FixtureMachine {
    explicit FixtureMachine(const std::string& name)
        : sysfs(root(name)), mounts(root(name)), probe(root(name)) {}

    Discovery::Sources sources(std::string workingDirectory = "/root") const {
        return {sysfs, mounts, probe, std::move(workingDirectory), Locale{"en_US"}};
    }
    std::vector<Drive> drives(std::string workingDirectory = "/root") const {
        return Discovery::allDrives(sources(std::move(workingDirectory)));
    }
    Drive drive(std::string_view name, std::string workingDirectory = "/root") const {
        auto found = Discovery::drive(name, sources(std::move(workingDirectory)));
        EXPECT_TRUE(found) << name;
        return found.value_or(Drive{});
    }

    static std::string root(const std::string& name) {
        return std::string(VANTREL_TEST_DATA) + "/" + name;
    }

    platform::LinuxSysfs sysfs;
    platform::LinuxMounts mounts;
    platform::LinuxBlockProbe probe;
};

std::vector<std::string> namesOf(const std::vector<Drive>& drives) {
    std::vector<std::string> names;
    for (const auto& d : drives) names.push_back(d.bsdName);
    return names;
}

Volume volume(std::string bsdName, std::optional<std::string> name,
              std::optional<std::string> mountPoint, std::optional<std::string> fileSystem) {
    return Volume{
        std::move(bsdName), std::move(name), std::move(mountPoint), std::move(fileSystem)};
}

// "sdd1 'Backup Disk' at /media/lab/Backup Disk (ext2)", so that a failure reads well.
std::vector<std::string> described(const std::vector<Volume>& volumes) {
    std::vector<std::string> lines;
    for (const auto& v : volumes) {
        lines.push_back(v.bsdName + " '" + v.name.value_or("-") + "' at " +
                        v.mountPoint.value_or("-") + " (" + v.fileSystem.value_or("-") + ")");
    }
    return lines;
}

// ---- The lab: a real kernel's layout of NVMe, AHCI, three USB disks and an SD card ----

class LabMachine : public ::testing::Test {
  protected:
    FixtureMachine lab{"discovery/lab"};
};

TEST_F(LabMachine, OnlyPhysicalDisksAreDrivesInNaturalOrder) {
    // Dropped: loop0-7 (kernel-made), md0 and dm-0 (sets on the drives), vda (virtio),
    // and every partition.
    EXPECT_EQ(namesOf(lab.drives()),
              (std::vector<std::string>{"mmcblk0", "nvme0n1", "sda", "sdb", "sdc", "sdd"}));
    for (const auto* name :
         {"vda", "loop0", "md0", "dm-0", "sda1", "nvme0n1p2", "nosuch", "../sda"}) {
        EXPECT_EQ(Discovery::drive(name, lab.sources()), std::nullopt) << name;
    }
}

TEST_F(LabMachine, InternalNVMeHoldingTheStartupVolume) {
    const auto nvme = lab.drive("nvme0n1");
    EXPECT_EQ(nvme.transport, Transport::internalNVMe);
    EXPECT_EQ(nvme.sizeBytes, 64 * 1024 * 1024);
    EXPECT_EQ(nvme.isSolidState, true);
    // QEMU's root-complex endpoint reports its link speed as "Unknown".
    EXPECT_EQ(nvme.link, std::nullopt);
    EXPECT_EQ(described(nvme.volumes), described({
                                           volume("nvme0n1p1", "EFI", "/boot/efi", "vfat"),
                                           volume("nvme0n1p2", "system", "/", "ext2"),
                                       }));
    EXPECT_TRUE(nvme.hostsBootVolume);
    EXPECT_FALSE(nvme.hostsCurrentDirectory);
}

TEST_F(LabMachine, SATADiskWithAMirrorHalfAndAnEncryptedPartition) {
    const auto sata = lab.drive("sda");
    EXPECT_EQ(sata.transport, Transport::sata);
    EXPECT_EQ(sata.isSolidState, false);
    // The member and the LUKS container have no name or mount point; what is stacked on
    // them does, each right after the partition it lies on.
    EXPECT_EQ(described(sata.volumes), described({
                                           volume("md0", "mirrorfs", "/srv", "ext2"),
                                           volume("dm-0", "home", "/home", "ext2"),
                                       }));
    EXPECT_TRUE(sata.isRAIDMember);
    RAIDInfo mirror;
    mirror.setName = "mirror";
    mirror.level = "Mirror";
    mirror.status = "Online";
    mirror.memberStatus = "Online";
    mirror.memberCount = 2;
    mirror.setBSDName = "md0";
    EXPECT_EQ(sata.raid, mirror);
}

TEST_F(LabMachine, USBDisksOfBothTransports) {
    // usb-storage with a file system on the whole disk, not mounted.
    const auto stick = lab.drive("sdc");
    EXPECT_EQ(stick.transport, Transport::usb);
    ASSERT_TRUE(stick.usb);
    EXPECT_EQ(stick.usb->locationID, 0x02100000u);
    ASSERT_TRUE(stick.link);
    EXPECT_EQ(stick.link->current, "USB 5 Gb/s");
    EXPECT_EQ(stick.link->ceilingMBps, 450);
    EXPECT_EQ(described(stick.volumes), described({volume("sdc", "STICK", std::nullopt, "vfat")}));

    // UAS, the other half of the mirror: an MBR partition of type 0xfd.
    const auto uas = lab.drive("sdb");
    EXPECT_EQ(uas.usb->locationID, 0x02300000u);
    ASSERT_TRUE(uas.raid);
    EXPECT_EQ(uas.raid->setBSDName, "md0");
    EXPECT_EQ(described(uas.volumes), described({volume("md0", "mirrorfs", "/srv", "ext2")}));

    // Bulk-Only with a label that has a blank, mounted where the desktop mounts it.
    const auto bot = lab.drive("sdd");
    EXPECT_EQ(described(bot.volumes),
              described({volume("sdd1", "Backup Disk", "/media/lab/Backup Disk", "ext2")}));
    EXPECT_EQ(Discovery::displayName(bot), (Discovery::DisplayName{"BOT DISK", true}));
    EXPECT_TRUE(captureBlockers(bot).empty());
}

TEST_F(LabMachine, WorkingFolderOnAVolumeOrOnTheRAIDSet) {
    const auto flags = [&](const std::string& cwd) {
        std::vector<std::string> hosting;
        for (const auto& d : lab.drives(cwd)) {
            if (d.hostsCurrentDirectory) hosting.push_back(d.bsdName);
        }
        return hosting;
    };
    // On the mirror: both members hold it.
    EXPECT_EQ(flags("/srv/data"), (std::vector<std::string>{"sda", "sdb"}));
    // On the encrypted volume: only the SATA disk; the UAS disk is a member of a set the
    // folder isn't on.
    EXPECT_EQ(flags("/home/lab"), (std::vector<std::string>{"sda"}));
    EXPECT_EQ(flags("/media/lab/Backup Disk/photos"), (std::vector<std::string>{"sdd"}));
    // A plain text prefix, on purpose: "/srv" covers "/srvx" too.
    EXPECT_EQ(flags("/srvx"), (std::vector<std::string>{"sda", "sdb"}));
    // The root file system: the boot flag speaks for it, not this one.
    EXPECT_TRUE(flags("/root").empty());
    // Not knowing the folder counts as on the set for RAID members.
    EXPECT_EQ(flags(""), (std::vector<std::string>{"sda", "sdb"}));

    const auto uas = lab.drive("sdb", "/srv");
    EXPECT_EQ(captureBlockers(uas),
              (std::vector<std::string>{"it is a member of a software RAID set",
                                        "it holds the folder you are working in"}));
}

TEST_F(LabMachine, StackedDevicesAndExternalDrives) {
    EXPECT_EQ(Discovery::stackedOn("sda", lab.sysfs), (std::vector<std::string>{"md0", "dm-0"}));
    EXPECT_EQ(Discovery::stackedOn("sdb", lab.sysfs), (std::vector<std::string>{"md0"}));
    EXPECT_TRUE(Discovery::stackedOn("nvme0n1", lab.sysfs).empty());
    EXPECT_EQ(namesOf(Discovery::externalDrives(lab.sources())),
              (std::vector<std::string>{"mmcblk0", "sda", "sdb", "sdc", "sdd"}));
}

// ---- A laptop: PCIe links, a Thunderbolt 3 enclosure, LUKS with LVM, USB behind a hub ----

class LaptopMachine : public ::testing::Test {
  protected:
    FixtureMachine laptop{"discovery/laptop"};
};

TEST_F(LaptopMachine, InternalSSDWithItsLinkAndStackedVolumes) {
    const auto ssd = laptop.drive("nvme0n1", "/home/ann/src");
    ASSERT_TRUE(ssd.link);
    EXPECT_EQ(ssd.link->supported, "PCIe 3.0 \u00D74");
    EXPECT_EQ(ssd.link->capable, std::nullopt);
    EXPECT_EQ(ssd.link->ceilingMBps, 3743);
    // The root file system's first mount, not its later bind mount; the LVM volume inside
    // the LUKS container; neither the container, the group nor the swap space.
    EXPECT_EQ(described(ssd.volumes), described({
                                          volume("nvme0n1p1", "ESP", "/boot/efi", "vfat"),
                                          volume("nvme0n1p2", "fedora", "/", "ext4"),
                                          volume("dm-1", "home", "/home", "ext4"),
                                      }));
    EXPECT_TRUE(ssd.hostsBootVolume);
    EXPECT_TRUE(ssd.hostsCurrentDirectory);
    EXPECT_FALSE(ssd.isRAIDMember);  // an LVM group is no RAID set
    // Topmost first: the logical volumes before the container they lie in.
    EXPECT_EQ(Discovery::stackedOn("nvme0n1", laptop.sysfs),
              (std::vector<std::string>{"dm-1", "dm-2", "dm-0"}));
}

TEST_F(LaptopMachine, ThunderboltEnclosureIsExternalNVMeCappedByItsTunnel) {
    const auto ssd = laptop.drive("nvme1n1");
    EXPECT_EQ(ssd.transport, Transport::externalNVMe);
    ASSERT_TRUE(ssd.link);
    EXPECT_EQ(ssd.link->ceilingMBps, 2800);  // Thunderbolt 3, below the 3743 of the lanes
    EXPECT_EQ(
        described(ssd.volumes),
        described({volume("nvme1n1p1", "Projects 2024", "/media/ann/Projects 2024", "exfat")}));
    EXPECT_EQ(Discovery::displayName(ssd),
              (Discovery::DisplayName{"Samsung Portable SSD X5", true}));
    EXPECT_EQ(namesOf(Discovery::externalDrives(laptop.sources())),
              (std::vector<std::string>{"nvme1n1", "sdb"}));
}

TEST_F(LaptopMachine, USBEnclosureBehindAHubIsNamedAfterItsMaker) {
    const auto usb = laptop.drive("sdb");
    ASSERT_TRUE(usb.usb);
    EXPECT_EQ(usb.usb->locationID, 0x03140000u);  // bus 3, ports 1 then 4
    EXPECT_TRUE(usb.volumes.empty());  // one partition, no file system, not mounted
    EXPECT_EQ(Discovery::displayName(usb), (Discovery::DisplayName{"Ugreen enclosure", false}));
}

TEST(Discovery, MultipathNamespaceIsOneDriveOnItsFirstController) {
    const platform::LinuxSysfs sysfs(VANTREL_TEST_DATA "/sysfs-nvme");
    const platform::LinuxMounts mounts("/nonexistent-root");
    const platform::LinuxBlockProbe probe("/nonexistent-root");
    const Discovery::Sources sources{sysfs, mounts, probe, "/", Locale{}};
    // nvme2c1n1 and nvme2c2n1 are the hidden paths of nvme2n1.
    const auto drives = Discovery::allDrives(sources);
    ASSERT_EQ(namesOf(drives), (std::vector<std::string>{"nvme0n1", "nvme2n1"}));
    EXPECT_EQ(drives[1].transport, Transport::internalNVMe);
    EXPECT_EQ(drives[1].model, "QEMU NVMe Ctrl");
}

// ---- Hosts the lab can't emulate, in a tree made for each test ----

class BuiltMachine : public ::testing::Test {
  protected:
    void SetUp() override {
        root_ = std::filesystem::temp_directory_path() /
                ("vantrel-discovery-" + std::to_string(::getpid()) + "-" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(root_);
    }
    void TearDown() override { std::filesystem::remove_all(root_); }

    void write(const std::string& path, const std::string& text) {
        const auto file = root_ / path.substr(1);
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << text << "\n";
    }
    // A whole disk at a device path: its class link, size, and "device" link to the folder
    // two up (the SCSI device or NVMe controller) unless told otherwise.
    void disk(const std::string& name, const std::string& path, bool deviceLink = true) {
        write(path + "/size", "16384");
        write(path + "/dev", "8:" + std::to_string(next_++));
        std::filesystem::create_directories(root_ / "sys/class/block");
        std::filesystem::create_symlink(path, root_ / "sys/class/block" / name);
        if (deviceLink) {
            const auto up = path.substr(0, path.rfind('/'));
            std::filesystem::create_symlink(up.substr(0, up.rfind('/')),
                                            root_ / path.substr(1) / "device");
        }
    }
    void pciLink(const std::string& path, const std::string& speed, int width,
                 const std::string& maxSpeed, int maxWidth) {
        write(path + "/current_link_speed", speed);
        write(path + "/current_link_width", std::to_string(width));
        write(path + "/max_link_speed", maxSpeed);
        write(path + "/max_link_width", std::to_string(maxWidth));
    }
    std::vector<Drive> drives() const {
        const platform::LinuxSysfs sysfs(root_);
        const platform::LinuxMounts mounts(root_);
        const platform::LinuxBlockProbe probe(root_);
        return Discovery::allDrives({sysfs, mounts, probe, "/", Locale{}});
    }

    std::filesystem::path root_;
    int next_ = 0;
};

TEST_F(BuiltMachine, VirtualInterfacesAndDisksWithoutHardwareAreDropped) {
    disk("sdx",
         "/sys/devices/pseudo_0/adapter0/host2/target2:0:0/2:0:0:0/block/sdx");  // scsi_debug
    disk("xvda", "/sys/devices/vbd-51712/block/xvda");                           // Xen
    disk("sdh",
         "/sys/devices/LNXSYSTM:00/LNXSYBUS:00/ACPI0004:00/VMBUS:00/"
         "f8b3781b-1e82-4818-a1c3-63d806ec15bb/host0/target0:0:0/0:0:0:0/block/sdh");
    disk("zd0", "/sys/devices/virtual/block/zd0", false);  // a ZFS volume: no device link
    const std::string image = "/sys/devices/pci0000:00/0000:00:1f.2/ata2/host1/target1:0:0/1:0:0:0";
    disk("sdy", image + "/block/sdy");
    write(image + "/model", "Disk Image      ");
    disk("sdz", "/sys/devices/pci0000:00/0000:00:1f.2/ata3/host2/target2:0:0/2:0:0:0/block/sdz");
    EXPECT_EQ(namesOf(drives()), (std::vector<std::string>{"sdz"}));
}

TEST_F(BuiltMachine, LinksOfControllersAndSlowUSB) {
    // An NVMe drive of PCIe 4.0 x4 running at 3.0 x2.
    const std::string fn = "/sys/devices/pci0000:00/0000:00:1b.0/0000:02:00.0";
    pciLink(fn, "8.0 GT/s PCIe", 2, "16.0 GT/s PCIe", 4);
    disk("nvme0n1", fn + "/nvme/nvme0/nvme0n1");
    // A SAS disk on an HBA: "Other", and the walk finds the HBA's link.
    const std::string hba = "/sys/devices/pci0000:00/0000:00:03.0/0000:03:00.0";
    pciLink(hba, "8 GT/s", 8, "8 GT/s", 8);  // the older kernels' spelling
    disk("sdi", hba + "/host1/port-1:0/end_device-1:0/target1:0:0/1:0:0:0/block/sdi");
    // eMMC on the board: no SD card, and no walk to the host's link.
    const std::string emmc = "/sys/devices/pci0000:00/0000:00:1a.0";
    pciLink(emmc, "2.5 GT/s PCIe", 1, "2.5 GT/s PCIe", 1);
    disk("mmcblk0", emmc + "/mmc_host/mmc0/mmc0:0001/block/mmcblk0");
    write(emmc + "/mmc_host/mmc0/mmc0:0001/type", "MMC");
    write(emmc + "/mmc_host/mmc0/mmc0:0001/name", "DA4064");
    // A full-speed stick with a blank model, and a stick whose speed is no speed a USB link
    // has (the conversion to bits per second once overflowed on it).
    const std::string usb = "/sys/devices/pci0000:00/0000:00:14.0/usb1";
    for (const auto& [port, speed] : {std::pair{"1-1", "12"}, std::pair{"1-2", "3333333333333333334"}}) {
        write(usb + "/" + port + "/idVendor", "090c");
        write(usb + "/" + port + "/product", "Flash Disk");
        write(usb + "/" + port + "/speed", speed);
    }
    disk("sda", usb + "/1-1/1-1:1.0/host4/target4:0:0/4:0:0:0/block/sda");
    write(usb + "/1-1/1-1:1.0/host4/target4:0:0/4:0:0:0/model", "                ");
    disk("sdb", usb + "/1-2/1-2:1.0/host5/target5:0:0/5:0:0:0/block/sdb");

    const auto found = drives();
    ASSERT_EQ(namesOf(found),
              (std::vector<std::string>{"mmcblk0", "nvme0n1", "sda", "sdb", "sdi"}));
    const auto& emmcDrive = found[0];
    EXPECT_EQ(emmcDrive.transport, Transport::other);
    EXPECT_EQ(emmcDrive.model, "DA4064");
    EXPECT_EQ(emmcDrive.link, std::nullopt);

    const auto& nvme = found[1];
    ASSERT_TRUE(nvme.link);
    EXPECT_EQ(nvme.link->current, "PCIe 3.0 \u00D72");
    EXPECT_EQ(nvme.link->capable, "PCIe 4.0 \u00D74");
    EXPECT_EQ(nvme.link->supported, "PCIe 4.0 \u00D74");
    EXPECT_EQ(nvme.link->ceilingMBps, 1871);
    EXPECT_EQ(nvme.isSolidState, std::nullopt);  // no medium reported
    EXPECT_EQ(nvme.model, "Unknown drive");

    EXPECT_EQ(found[2].link->current, "USB 12 Mb/s");
    EXPECT_EQ(found[2].link->ceilingMBps, 1);
    EXPECT_EQ(found[2].model, "Flash Disk");  // the USB product stands in for a blank model
    EXPECT_EQ(found[3].link, std::nullopt);   // no speed, no PCI Express link above it

    EXPECT_EQ(found[4].transport, Transport::other);
    ASSERT_TRUE(found[4].link);
    EXPECT_EQ(found[4].link->current, "PCIe 3.0 \u00D78");
}

// ---- Pure rules ----

TEST(DiscoveryNames, PartitionSuffixRule) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"sda1", "sda"},
        {"nvme0n1p2", "nvme0n1"},
        {"mmcblk0p1", "mmcblk0"},
        {"md0p1", "md0"},
        {"nvme10n12", "nvme10n12"},
        {"dm-0", "dm-0"},
        {"disk4", "disk"},
        {"", ""},
    };
    for (const auto& [name, disk] : cases) EXPECT_EQ(Discovery::wholeDiskName(name), disk) << name;
}

TEST(DiscoveryNames, NaturalOrder) {
    std::vector<std::string> names{"sdb",  "nvme10n1", "sda10", "nvme2n1",
                                   "sda2", "SDC",      "sda",   "sdaa"};
    std::sort(names.begin(), names.end(),
              [](const auto& a, const auto& b) { return Discovery::naturalLess(a, b); });
    EXPECT_EQ(names, (std::vector<std::string>{"nvme2n1", "nvme10n1", "sda", "sda2", "sda10",
                                               "sdaa", "sdb", "SDC"}));
    EXPECT_FALSE(Discovery::naturalLess("disk2", "disk2"));
    // Equal but for leading zeros still have an order, both ways consistent.
    EXPECT_NE(Discovery::naturalLess("a01", "a1"), Discovery::naturalLess("a1", "a01"));
}

TEST(DiscoveryNames, USBLocationIsTheHostsOwnForEveryPort) {
    // The device path read from sysfs must give the location the USB host computes from
    // libusb's port list, or the capture would open another device.
    for (const int port : {1, 9, 15, 16, 31}) {
        const std::array<std::uint8_t, 2> ports{2, static_cast<std::uint8_t>(port)};
        EXPECT_EQ(Discovery::locationID(3, "2." + std::to_string(port)),
                  platform::usbLocationID(3, ports))
            << "port " << port;
    }
    const std::array<std::uint8_t, 7> deep{1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(Discovery::locationID(1, "1.2.3.4.5.6.7"), platform::usbLocationID(1, deep));
    EXPECT_EQ(Discovery::locationID(2, "0"), 0x02000000u);    // a root hub
    EXPECT_EQ(Discovery::locationID(2, "1.x"), 0x02100000u);  // stops at the damage
}

Drive externalDisk(std::string model, std::vector<Volume> volumes = {}) {
    Drive drive;
    drive.bsdName = "sdb";
    drive.model = std::move(model);
    drive.transport = Transport::usb;
    drive.volumes = std::move(volumes);
    return drive;
}

TEST(DiscoveryDisplayName, FallsFromModelToVolumeToEnclosure) {
    EXPECT_EQ(Discovery::displayName(externalDisk("Crucial X9 Pro")),
              (Discovery::DisplayName{"Crucial X9 Pro", true}));

    // A volume mounted where users mount first, then an unmounted one; a volume mounted
    // elsewhere doesn't name the drive.
    const auto spare = volume("sdb3", "Spare", std::nullopt, "ext4");
    const auto data = volume("sdb2", "Photos", "/media/a/Photos", "exfat");
    EXPECT_EQ(Discovery::displayName(externalDisk("USB Storage", {spare, data})),
              (Discovery::DisplayName{"Photos", false}));
    EXPECT_EQ(Discovery::displayName(externalDisk(
                  "USB Storage", {volume("sdb1", "srv", "/srv", "ext4"), spare})),
              (Discovery::DisplayName{"Spare", false}));
    EXPECT_EQ(Discovery::displayName(
                  externalDisk("USB Storage", {volume("sdb1", "srv", "/srv", "ext4")})),
              (Discovery::DisplayName{"External drive", false}));
}

}  // namespace
}  // namespace drivekit
