#!/usr/bin/env python3
"""Writes tests/data/discovery/laptop: the layouts the QEMU lab can't make, as a laptop
with a discrete Thunderbolt 3 controller shows them on a 6.x kernel. Paths, link targets
and attribute texts follow real machines; only the serial-like values are made up.

  nvme0n1  internal SSD on root port 00:1d.0, PCIe 3.0 x4; EFI, root, and a LUKS
           partition holding an LVM group (dm-0 -> dm-1 "home", dm-2 swap)
  nvme1n1  SSD in a Thunderbolt 3 enclosure: the PCI path runs through the controller's
           downstream port 06:01.0; the NHI 06:00.0 beside it holds domain0 with the
           host router 0-0 and the enclosure's router 0-1, both generation 3
  sda      USB 2.0 card reader with no card (size 0, removable)
  sdb      USB 3 SATA enclosure (ASMedia 174c:55aa) behind a hub, bus 3 path 1.4,
           with an unlabelled, unmounted partition

Run from anywhere; it replaces the folder."""
import os
import shutil

out = os.path.join(os.path.dirname(os.path.abspath(__file__)), "laptop")
shutil.rmtree(out, ignore_errors=True)


def f(path, text):
    p = os.path.join(out, path.lstrip("/"))
    os.makedirs(os.path.dirname(p), exist_ok=True)
    with open(p, "w") as fh:
        fh.write(text + "\n")


def l(path, target):
    p = os.path.join(out, path.lstrip("/"))
    os.makedirs(os.path.dirname(p), exist_ok=True)
    os.symlink(target, p)


def up(path):
    """The relative way from a folder back to /sys/devices/, as the kernel writes it."""
    return "../" * (path.strip("/").count("/") - 1)


def pci(path, speed, width, max_speed, max_width, removable):
    f(path + "/current_link_speed", speed)
    f(path + "/current_link_width", width)
    f(path + "/max_link_speed", max_speed)
    f(path + "/max_link_width", max_width)
    f(path + "/removable", removable)


def disk(name, path, dev, sectors, rotational, removable="0"):
    f(path + "/dev", dev)
    f(path + "/size", str(sectors))
    f(path + "/removable", removable)
    f(path + "/queue/rotational", rotational)
    f(path + "/queue/logical_block_size", "512")
    l("/sys/class/block/" + name, "../../" + path[len("/sys/"):])


def part(name, disk_path, number, dev, sectors):
    path = disk_path + "/" + name
    f(path + "/dev", dev)
    f(path + "/size", str(sectors))
    f(path + "/partition", str(number))
    l("/sys/class/block/" + name, "../../" + path[len("/sys/"):])
    return path


def virtual(name, dev, sectors, dm_name, slaves):
    path = "/sys/devices/virtual/block/" + name
    f(path + "/dev", dev)
    f(path + "/size", str(sectors))
    f(path + "/dm/name", dm_name)
    l("/sys/class/block/" + name, "../../devices/virtual/block/" + name)
    for slave_name, slave_path in slaves:
        l(path + "/slaves/" + slave_name, up(path + "/slaves") + "/".join(slave_path.split("/")[3:]))
        l(slave_path + "/holders/" + name, up(slave_path + "/holders") + "virtual/block/" + name)
    return path


# Internal SSD.
root_port = "/sys/devices/pci0000:00/0000:00:1d.0"
pci(root_port, "8.0 GT/s PCIe", "4", "8.0 GT/s PCIe", "4", "fixed")
fn = root_port + "/0000:3b:00.0"
pci(fn, "8.0 GT/s PCIe", "4", "8.0 GT/s PCIe", "4", "fixed")
ctrl = fn + "/nvme/nvme0"
f(ctrl + "/model", "PM981a NVMe Samsung 512GB               ")
n0 = ctrl + "/nvme0n1"
disk("nvme0n1", n0, "259:0", 1000215216, "0")
l(n0 + "/device", "../../nvme0")
p1 = part("nvme0n1p1", n0, 1, "259:1", 1048576)
p2 = part("nvme0n1p2", n0, 2, "259:2", 104857600)
p3 = part("nvme0n1p3", n0, 3, "259:3", 894306304)
dm0 = virtual("dm-0", "253:0", 894273536, "luks-5c1e", [("nvme0n1p3", p3)])
dm0p = "/sys/devices/virtual/block/dm-0"
virtual("dm-1", "253:1", 860000000, "vg0-home", [("dm-0", dm0p)])
virtual("dm-2", "253:2", 16777216, "vg0-swap", [("dm-0", dm0p)])

# Thunderbolt 3 enclosure with an NVMe SSD.
tb_root = "/sys/devices/pci0000:00/0000:00:1c.4"
pci(tb_root, "8.0 GT/s PCIe", "4", "8.0 GT/s PCIe", "4", "fixed")
up_port = tb_root + "/0000:05:00.0"
pci(up_port, "8.0 GT/s PCIe", "4", "8.0 GT/s PCIe", "4", "fixed")
nhi = up_port + "/0000:06:00.0"
pci(nhi, "2.5 GT/s PCIe", "4", "2.5 GT/s PCIe", "4", "fixed")
f(nhi + "/domain0/0-0/generation", "3")
f(nhi + "/domain0/0-0/vendor_name", "Dell")
f(nhi + "/domain0/0-0/0-1/generation", "3")
f(nhi + "/domain0/0-0/0-1/vendor_name", "Samsung Electronics")
f(nhi + "/domain0/0-0/0-1/device_name", "Portable SSD X5")
l("/sys/bus/thunderbolt/devices/0-0", "../../../devices/pci0000:00/0000:00:1c.4/0000:05:00.0/0000:06:00.0/domain0/0-0")
l("/sys/bus/thunderbolt/devices/0-1", "../../../devices/pci0000:00/0000:00:1c.4/0000:05:00.0/0000:06:00.0/domain0/0-0/0-1")
down = up_port + "/0000:06:01.0"
pci(down, "2.5 GT/s PCIe", "4", "8.0 GT/s PCIe", "4", "fixed")
enc_up = down + "/0000:07:00.0"
pci(enc_up, "8.0 GT/s PCIe", "4", "8.0 GT/s PCIe", "4", "removable")
enc_down = enc_up + "/0000:08:04.0"
pci(enc_down, "8.0 GT/s PCIe", "4", "8.0 GT/s PCIe", "4", "removable")
tfn = enc_down + "/0000:09:00.0"
pci(tfn, "8.0 GT/s PCIe", "4", "8.0 GT/s PCIe", "4", "removable")
tctrl = tfn + "/nvme/nvme1"
f(tctrl + "/model", "Samsung Portable SSD X5                  ")
n1 = tctrl + "/nvme1n1"
disk("nvme1n1", n1, "259:4", 976773168, "0")
l(n1 + "/device", "../../nvme1")
part("nvme1n1p1", n1, 1, "259:5", 976771072)

# USB 2.0 card reader with its slot empty.
rd = "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-3"
f(rd + "/idVendor", "0bda")
f(rd + "/idProduct", "0129")
f(rd + "/busnum", "1")
f(rd + "/devnum", "3")
f(rd + "/devpath", "3")
f(rd + "/speed", "480")
f(rd + "/manufacturer", "Generic")
f(rd + "/product", "USB2.0-CRW")
rdev = rd + "/1-3:1.0/host2/target2:0:0/2:0:0:0"
f(rdev + "/model", "SD/MMC          ")
sda = rdev + "/block/sda"
disk("sda", sda, "8:0", 0, "1", removable="1")
l(sda + "/device", "../../../2:0:0:0")

# USB 3 SATA enclosure behind a hub.
hub = "/sys/devices/pci0000:00/0000:00:14.0/usb3/3-1"
f(hub + "/idVendor", "2109")
f(hub + "/idProduct", "0817")
f(hub + "/busnum", "3")
f(hub + "/devnum", "2")
f(hub + "/devpath", "1")
f(hub + "/speed", "5000")
f(hub + "/product", "USB3.0 Hub             ")
enc = hub + "/3-1.4"
f(enc + "/idVendor", "174c")
f(enc + "/idProduct", "55aa")
f(enc + "/busnum", "3")
f(enc + "/devnum", "5")
f(enc + "/devpath", "1.4")
f(enc + "/speed", "5000")
f(enc + "/manufacturer", "Ugreen")
f(enc + "/product", "ASM1153E")
edev = enc + "/3-1.4:1.0/host3/target3:0:0/3:0:0:0"
f(edev + "/model", "USB3.0 Storage  ")
sdb = edev + "/block/sdb"
disk("sdb", sdb, "8:16", 1953525168, "1")
l(sdb + "/device", "../../../3:0:0:0")
part("sdb1", sdb, 1, "8:17", 1953521664)

# What udev recorded.
def udev(dev, lines):
    f("/run/udev/data/b" + dev, "\n".join("E:" + x for x in lines))

udev("259:0", ["ID_PART_TABLE_TYPE=gpt"])
udev("259:1", ["ID_FS_LABEL=ESP", "ID_FS_LABEL_ENC=ESP", "ID_FS_TYPE=vfat", "ID_FS_USAGE=filesystem",
               "ID_PART_ENTRY_TYPE=c12a7328-f81f-11d2-ba4b-00a0c93ec93b"])
udev("259:2", ["ID_FS_LABEL=fedora", "ID_FS_LABEL_ENC=fedora", "ID_FS_TYPE=ext4", "ID_FS_USAGE=filesystem",
               "ID_PART_ENTRY_TYPE=0fc63daf-8483-4772-8e79-3d69d8477de4"])
udev("259:3", ["ID_FS_TYPE=crypto_LUKS", "ID_FS_USAGE=crypto",
               "ID_PART_ENTRY_TYPE=0fc63daf-8483-4772-8e79-3d69d8477de4"])
udev("253:0", ["ID_FS_TYPE=LVM2_member", "ID_FS_USAGE=raid"])
udev("253:1", ["ID_FS_LABEL=home", "ID_FS_LABEL_ENC=home", "ID_FS_TYPE=ext4", "ID_FS_USAGE=filesystem"])
udev("253:2", ["ID_FS_TYPE=swap", "ID_FS_USAGE=other"])
udev("259:4", ["ID_PART_TABLE_TYPE=gpt"])
udev("259:5", ["ID_FS_LABEL=Projects_2024", "ID_FS_LABEL_ENC=Projects\\x202024", "ID_FS_TYPE=exfat",
               "ID_FS_USAGE=filesystem", "ID_PART_ENTRY_TYPE=ebd0a0a2-b9e5-4433-87c0-68b6b72699c7"])
udev("8:16", ["ID_PART_TABLE_TYPE=dos"])
udev("8:17", ["ID_PART_ENTRY_TYPE=0x83"])

f("/proc/self/mountinfo", "\n".join([
    "22 1 259:2 / / rw,relatime shared:1 - ext4 /dev/nvme0n1p2 rw,seclabel",
    "23 22 0:21 / /proc rw,nosuid,nodev,noexec,relatime shared:5 - proc proc rw",
    "24 22 0:22 / /sys rw,nosuid,nodev,noexec,relatime shared:6 - sysfs sysfs rw,seclabel",
    "60 22 259:1 / /boot/efi rw,relatime shared:30 - vfat /dev/nvme0n1p1 rw,fmask=0077,dmask=0077",
    "61 22 253:1 / /home rw,relatime shared:31 - ext4 /dev/mapper/vg0-home rw,seclabel",
    "90 22 0:45 / /tmp rw,nosuid,nodev shared:40 - tmpfs tmpfs rw,seclabel",
    "95 22 259:5 / /media/ann/Projects\\0402024 rw,nosuid,nodev,relatime shared:50 - exfat /dev/nvme1n1p1 rw,uid=1000",
    "96 22 259:2 /var/lib/containers /var/lib/containers rw,relatime shared:1 - ext4 /dev/nvme0n1p2 rw",
]))
