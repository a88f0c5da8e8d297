#!/usr/bin/python3
"""A stand-in StatusNotifierWatcher on a private bus, for the tray icon's test.

Owns org.kde.StatusNotifierWatcher, says a host is registered (without one, programs
fall back to an old-style tray), prints "ready", and for each item that registers
prints one JSON line: the service and path it registered with, its id, title, status,
tooltip, its icon (width, height and the ARGB colour of the pixel at the middle of the
top edge's band, the largest pixmap given) and its menu (labels of the layout's items,
from com.canonical.dbusmenu). Then, if --activate, asks the item to Activate and prints
"activated".

  --address ADDR   the bus to serve on
  --activate       call Activate on each item once it is recorded
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
    x, y = width // 2, max(1, height // 8)
    offset = (y * width + x) * 4
    argb = bytes(bytearray(data[offset:offset + 4]))
    return width, height, argb.hex()


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
        record = {"service": name, "path": path, "id": str(props.get("Id", "")),
                  "title": str(props.get("Title", "")), "status": str(props.get("Status", "")),
                  "iconName": str(props.get("IconName", ""))}
        tooltip = props.get("ToolTip")
        if tooltip is not None:
            record["tooltip"] = str(tooltip[2]) + ("\n" + str(tooltip[3]) if str(tooltip[3]) else "")
        pixmaps = props.get("IconPixmap", [])
        if pixmaps:
            width, height, argb = top_band_pixel(pixmaps)
            record["icon"] = {"width": width, "height": height, "topBand": argb, "sizes": len(pixmaps)}
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
