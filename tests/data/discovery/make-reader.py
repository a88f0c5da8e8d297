#!/usr/bin/env python3
"""Writes tests/data/discovery/reader: a USB card reader with two cards on root-hub port 16
of a large xHCI controller (bus 2, devpath "16", device address 7), as a 6.x kernel shows it.

  sdc  LUN 0: sdc1 vfat, sdc2 active swap (/proc/swaps)
  sdd  LUN 1: sdd1 an unlocked LUKS mapping (dm-3 "luks-card"), sdd2 an active LVM
       volume in the group "vg-cards" (dm-4 "vg--cards-photos")
  sde  a stick on port 1 of the same bus, alone on its interface

Run from anywhere; it replaces the folder."""
import os
import shutil

out = os.path.join(os.path.dirname(os.path.abspath(__file__)), "reader")
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
    return "../" * (path.strip("/").count("/") - 1)


def usb(path, bus, devnum, devpath, vendor, product):
    f(path + "/busnum", str(bus))
    f(path + "/devnum", str(devnum))
    f(path + "/devpath", devpath)
    f(path + "/idVendor", vendor)
    f(path + "/idProduct", product)
    f(path + "/speed", "480")


def disk(name, path, dev, sectors):
    f(path + "/dev", dev)
    f(path + "/size", str(sectors))
    f(path + "/removable", "1")
    l("/sys/class/block/" + name, "../../" + path[len("/sys/"):])


def part(name, disk_path, number, dev):
    path = disk_path + "/" + name
    f(path + "/dev", dev)
    f(path + "/size", "1000")
    f(path + "/partition", str(number))
    l("/sys/class/block/" + name, "../../" + path[len("/sys/"):])
    return path


def mapper(name, dev, dm_name, uuid, slave_name, slave_path):
    path = "/sys/devices/virtual/block/" + name
    f(path + "/dev", dev)
    f(path + "/dm/name", dm_name)
    f(path + "/dm/uuid", uuid)
    l("/sys/class/block/" + name, "../../devices/virtual/block/" + name)
    l(path + "/slaves/" + slave_name, up(path + "/slaves") + "/".join(slave_path.split("/")[3:]))
    l(slave_path + "/holders/" + name, up(slave_path + "/holders") + "virtual/block/" + name)


xhci = "/sys/devices/pci0000:00/0000:00:14.0/usb2"
reader = xhci + "/2-16"
usb(reader, 2, 7, "16", "0bda", "0158")
intf = reader + "/2-16:1.0"
f(intf + "/bInterfaceNumber", "00")
f(intf + "/bInterfaceClass", "08")
for lun, name, major in ((0, "sdc", 32), (1, "sdd", 48)):
    sdev = intf + "/host4/target4:0:0/4:0:0:%d" % lun
    dpath = sdev + "/block/" + name
    disk(name, dpath, "8:%d" % major, 31116288)
    l(dpath + "/device", "../../../4:0:0:%d" % lun)
    p1 = part(name + "1", dpath, 1, "8:%d" % (major + 1))
    p2 = part(name + "2", dpath, 2, "8:%d" % (major + 2))
    if name == "sdd":
        mapper("dm-3", "253:3", "luks-card", "CRYPT-LUKS2-0f3c-luks-card", "sdd1", p1)
        mapper("dm-4", "253:4", "vg--cards-photos", "LVM-k2bQ0c", "sdd2", p2)

stick = xhci + "/2-1"
usb(stick, 2, 3, "1", "0781", "5581")
f(stick + "/2-1:1.0/bInterfaceNumber", "00")
sdev = stick + "/2-1:1.0/host5/target5:0:0/5:0:0:0"
disk("sde", sdev + "/block/sde", "8:64", 60063744)
part("sde1", sdev + "/block/sde", 1, "8:65")

f("/proc/swaps", "\n".join([
    "Filename\t\t\t\tType\t\tSize\t\tUsed\t\tPriority",
    "/dev/sdc2                               partition\t1048572\t\t0\t\t-2",
    "/swapfile                               file\t\t1048572\t\t0\t\t-3",
]))
