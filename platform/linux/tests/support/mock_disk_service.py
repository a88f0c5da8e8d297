#!/usr/bin/python3
"""A stand-in for the disk service (udisks2) on a private bus, for the volume tests.

Serves block devices with the Filesystem interface, keeps their mount points, writes each
call to the log as "Unmount sdb1 {}" (the object's last path element, then the options) and
prints "ready" once it owns the service's name.

  --address ADDR        the bus to serve on
  --log FILE            where calls are written, one a line
  --mounted NAME=POINT  a device (its object name, "sdb1", "dm_2d0") mounted at POINT
  --fail NAME=ERROR     Unmount of NAME answers the error ERROR ("DeviceBusy", ...)
  --silent NAME         Unmount of NAME never answers
  --drive NAME=ID       the block device NAME belongs to the drive object ID, which
                        answers PowerOff ("--fail ID=ERROR" makes it refuse)
  --array NAME=ID       the block device NAME is the md array object ID, which answers Stop
"""
import argparse
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

SERVICE = "org.freedesktop.UDisks2"
FILESYSTEM = "org.freedesktop.UDisks2.Filesystem"
BLOCK = "org.freedesktop.UDisks2.Block"
DRIVE = "org.freedesktop.UDisks2.Drive"
MDRAID = "org.freedesktop.UDisks2.MDRaid"
ROOT = "/org/freedesktop/UDisks2/"
ERRORS = "org.freedesktop.UDisks2.Error."
MESSAGES = {
    "DeviceBusy": "Error unmounting {dev}: target is busy",
    "NotAuthorizedCanObtain": "Not authorized to perform operation",
}


class Block(dbus.service.Object):
    def __init__(self, bus, name, point, service):
        super().__init__(bus, ROOT + "block_devices/" + name)
        self.name = name
        self.points = [point] if point else []
        self.service = service

    def note(self, method, options):
        shown = ", ".join(f"{k}={v}" for k, v in sorted(options.items()))
        with open(self.service.log, "a") as out:
            out.write(f"{method} {self.name} {{{shown}}}\n")

    def fail(self, error):
        name = error if "." in error else ERRORS + error
        text = MESSAGES.get(error, error).format(dev="/dev/" + self.name)
        return dbus.exceptions.DBusException(text, name=name)

    @dbus.service.method(FILESYSTEM, in_signature="a{sv}", out_signature="",
                         async_callbacks=("reply", "error"))
    def Unmount(self, options, reply, error):
        self.note("Unmount", options)
        if self.name in self.service.silent:
            return
        if self.name in self.service.failures:
            return error(self.fail(self.service.failures[self.name]))
        if not self.points:
            return error(self.fail("NotMounted"))
        self.points.pop()
        reply()

    @dbus.service.method(FILESYSTEM, in_signature="a{sv}", out_signature="s")
    def Mount(self, options):
        self.note("Mount", options)
        if self.points:
            raise self.fail("AlreadyMounted")
        self.points.append("/media/root/" + self.name)
        return self.points[0]

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, prop):
        links = {"Drive": (self.service.drives, "drives/"), "MDRaid": (self.service.arrays, "mdraid/")}
        if interface == BLOCK and prop in links:
            table, folder = links[prop]
            return dbus.ObjectPath(ROOT + folder + table[self.name] if self.name in table else "/")
        if interface == FILESYSTEM and prop == "MountPoints":
            return dbus.Array([dbus.ByteArray(p.encode() + b"\0") for p in self.points],
                              signature="ay")
        raise dbus.exceptions.DBusException("No such property",
                                            name="org.freedesktop.DBus.Error.InvalidArgs")


class Linked(dbus.service.Object):
    """A drive or an md array: logs "PowerOff ID {}" or "Stop ID {}"."""

    def __init__(self, bus, folder, name, service):
        super().__init__(bus, ROOT + folder + name)
        self.name = name
        self.service = service

    def answer(self, method, options):
        Block.note(self, method, options)
        if self.name in self.service.failures:
            raise Block.fail(self, self.service.failures[self.name])

    @dbus.service.method(DRIVE, in_signature="a{sv}", out_signature="")
    def PowerOff(self, options):
        self.answer("PowerOff", options)

    @dbus.service.method(MDRAID, in_signature="a{sv}", out_signature="")
    def Stop(self, options):
        self.answer("Stop", options)


def pairs(values):
    return dict(value.split("=", 1) for value in values)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--address", required=True)
    parser.add_argument("--log", required=True)
    parser.add_argument("--mounted", action="append", default=[])
    parser.add_argument("--fail", action="append", default=[])
    parser.add_argument("--silent", action="append", default=[])
    parser.add_argument("--drive", action="append", default=[])
    parser.add_argument("--array", action="append", default=[])
    service = parser.parse_args()
    service.failures = pairs(service.fail)
    service.drives = pairs(service.drive)
    service.arrays = pairs(service.array)

    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.bus.BusConnection(service.address)
    blocks = [Block(bus, name, point, service) for name, point in pairs(service.mounted).items()]
    blocks += [Linked(bus, "drives/", name, service) for name in set(service.drives.values())]
    blocks += [Linked(bus, "mdraid/", name, service) for name in set(service.arrays.values())]
    name = dbus.service.BusName(SERVICE, bus, do_not_queue=True)
    print("ready", flush=True)
    GLib.MainLoop().run()
    del blocks, name


if __name__ == "__main__":
    sys.exit(main())
