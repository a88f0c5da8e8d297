#!/usr/bin/python3
"""A stand-in StatusNotifierWatcher on a private bus (--address), for the tray icon's test.

Says a host is registered (without one, programs fall back to an old-style tray), prints
"ready", then one JSON line per registered item: its status, tooltip, icon (width and the
ARGB of the pixel in the top band of the largest pixmap) and menu labels; with --activate
it then asks the item to Activate and prints "activated".
"""
import argparse
import json
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
INTROSPECTION = """<node>
 <interface name="org.kde.StatusNotifierWatcher">
  <method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
  <method name="RegisterStatusNotifierHost"><arg name="service" type="s" direction="in"/></method>
  <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  <property name="ProtocolVersion" type="i" access="read"/>
 </interface>
 <interface name="org.freedesktop.DBus.Properties">
  <method name="Get"><arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="out"/></method>
  <method name="GetAll"><arg type="s" direction="in"/><arg type="a{sv}" direction="out"/></method>
 </interface>
 <interface name="org.freedesktop.DBus.Introspectable">
  <method name="Introspect"><arg type="s" direction="out"/></method>
 </interface>
</node>"""


def labels(layout):
    """Labels of a dbusmenu layout (id, properties, children), depth first."""
    _, properties, children = layout
    out = []
    if "label" in properties:
        out.append(str(properties["label"]))
    for child in children:
        out.extend(labels(child))
    return out


def top_band_pixel(pixmaps):
    width, height, data = max(pixmaps, key=lambda p: int(p[0]) * int(p[1]))
    width, height = int(width), int(height)
    offset = (max(1, height // 8) * width + width // 2) * 4
    return width, bytes(bytearray(data[offset:offset + 4])).hex()


class Watcher(dbus.service.Object):
    def __init__(self, bus, activate):
        super().__init__(bus, "/StatusNotifierWatcher")
        self.bus = bus
        self.activate = activate
        self.items = []

    @dbus.service.method(WATCHER, in_signature="s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender=None):
        # An item names either its bus name or its object path.
        name, path = (sender, service) if service.startswith("/") else (service, "/StatusNotifierItem")
        self.items.append(name + path)
        GLib.idle_add(self.record, name, path)

    @dbus.service.method(WATCHER, in_signature="s")
    def RegisterStatusNotifierHost(self, service):
        pass

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, prop):
        return self.GetAll(interface)[prop]

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return {"RegisteredStatusNotifierItems": dbus.Array(self.items, signature="s"),
                "IsStatusNotifierHostRegistered": True,
                "ProtocolVersion": dbus.Int32(0)}

    # Qt reads IsStatusNotifierHostRegistered through an interface it introspects, so the
    # properties have to be declared here as well as answered.
    @dbus.service.method(dbus.INTROSPECTABLE_IFACE, out_signature="s")
    def Introspect(self):
        return INTROSPECTION

    def record(self, name, path):
        item = self.bus.get_object(name, path)
        props = dbus.Interface(item, dbus.PROPERTIES_IFACE).GetAll(ITEM)
        tooltip = props.get("ToolTip", ("", [], "", ""))
        record = {"status": str(props.get("Status", "")),
                  "tooltip": str(tooltip[2]) + ("\n" + str(tooltip[3]) if str(tooltip[3]) else "")}
        if props.get("IconPixmap"):
            width, argb = top_band_pixel(props["IconPixmap"])
            record["icon"] = {"width": width, "topBand": argb}
        menu_path = props.get("Menu")
        if menu_path:
            menu = dbus.Interface(self.bus.get_object(name, menu_path), MENU)
            _, layout = menu.GetLayout(0, -1, dbus.Array([], signature="s"))
            record["menu"] = labels(layout)
        print(json.dumps(record), flush=True)
        if self.activate:
            dbus.Interface(item, ITEM).Activate(dbus.Int32(10), dbus.Int32(10))
            print("activated", flush=True)
        return False


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--address", required=True)
    parser.add_argument("--activate", action="store_true")
    args = parser.parse_args()
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.bus.BusConnection(args.address)
    watcher = Watcher(bus, args.activate)
    bus.request_name(WATCHER)
    print("ready", flush=True)
    GLib.MainLoop().run()
    return watcher


if __name__ == "__main__":
    sys.exit(0 if main() else 1)
