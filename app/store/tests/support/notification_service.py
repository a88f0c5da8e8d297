#!/usr/bin/python3
"""A stand-in for the desktop's notification service on a private bus, for the note tests.

Answers Notify with a new number (or the one it replaces), writes each call to the log as
one JSON object a line {"id", "replaces", "title", "body", "urgency"} and prints "ready"
once it owns the service's name.

  --address ADDR   the bus to serve on
  --log FILE       where calls are written
"""
import argparse
import json
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

SERVICE = "org.freedesktop.Notifications"
PATH = "/org/freedesktop/Notifications"


class Notifications(dbus.service.Object):
    def __init__(self, bus, log):
        super().__init__(bus, PATH)
        self.log = log
        self.last = 0

    @dbus.service.method(SERVICE, in_signature="susssasa{sv}i", out_signature="u")
    def Notify(self, app, replaces, icon, title, body, actions, hints, timeout):
        if replaces:
            number = int(replaces)
        else:
            self.last += 1
            number = self.last
        record = {"id": number, "replaces": int(replaces), "app": str(app), "title": str(title),
                  "body": str(body), "urgency": int(hints.get("urgency", -1))}
        with open(self.log, "a") as out:
            out.write(json.dumps(record) + "\n")
        return number


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--address", required=True)
    parser.add_argument("--log", required=True)
    args = parser.parse_args()
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.bus.BusConnection(args.address)
    service = Notifications(bus, args.log)
    name = dbus.service.BusName(SERVICE, bus, do_not_queue=True)
    print("ready", flush=True)
    GLib.MainLoop().run()
    del service, name


if __name__ == "__main__":
    sys.exit(main())
