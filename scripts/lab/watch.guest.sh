#!/bin/sh
# Guest side of `vantrel watch`: two watchers (text and --json) run in the background while
# a USB disk is plugged in and pulled out through QEMU's monitor; then SIGTERM ends them.
# Prints what each wrote, between markers compare.py parses. The disk is a new
# usb-storage device on a null block node, so no image is needed on the host.
. /hwlab/lib.sh

# until_in FILE TEXT: waits up to 30 s for TEXT in FILE.
until_in() {
  i=0
  while [ $i -lt 600 ]; do grep -qF "$2" "$1" 2>/dev/null && return 0; sleep 0.05; i=$((i + 1)); done
  return 1
}

vantrel watch >/tmp/watch.out 2>/tmp/watch.err &
text=$!
vantrel watch --json >/tmp/watch.json 2>/tmp/watch-json.err &
json=$!
until_in /tmp/watch.out "Watching for drives"
# The JSON watcher prints no greeting: it is listening once its monitor socket is open.
i=0; while [ $i -lt 600 ] && ! ls -l "/proc/$json/fd" 2>/dev/null | grep -q socket; do sleep 0.05; i=$((i + 1)); done
before=$(ls /sys/block)

echo "LAB-BEGIN watch-plug"
hwlab_qmp '{"execute":"blockdev-add","arguments":{"driver":"null-co","node-name":"plugged","size":33554432}}'
hwlab_qmp '{"execute":"device_add","arguments":{"driver":"usb-storage","bus":"xhci.0","id":"plugged0","drive":"plugged","serial":"HWLABPLUG0001"}}'
until_in /tmp/watch.out " connected: "; echo "seen=$?"
until_in /tmp/watch.json '"connected"'; echo "seen-json=$?"
echo "LAB-END rc=0"

disk=""
for b in $(ls /sys/block); do echo "$before" | grep -qx "$b" || disk=$b; done
echo "LAB-BEGIN watch-disk"; echo "disk=$disk"; echo "LAB-END rc=0"

echo "LAB-BEGIN watch-unplug"
hwlab_qmp '{"execute":"device_del","arguments":{"id":"plugged0"}}'
until_in /tmp/watch.out " disconnected."; echo "seen=$?"
until_in /tmp/watch.json '"disconnected"'; echo "seen-json=$?"
echo "LAB-END rc=0"

kill -TERM $text $json
wait $text; trc=$?
wait $json; jrc=$?
echo "LAB-BEGIN watch-text"; cat /tmp/watch.out /tmp/watch.err; echo "LAB-END rc=$trc"
echo "LAB-BEGIN watch-json"; cat /tmp/watch.json /tmp/watch-json.err; echo "LAB-END rc=$jrc"

# `vantrel watch --check`: a USB disk plugged in is held from udisks2 by a runtime udev rule
# (its add event carries UDISKS_IGNORE=1), checked, then let go (a change event without it).
# udev's own monitor records what udisks2 would have seen.
udevadm monitor --udev --property --subsystem-match=block >/tmp/udev.log 2>&1 &
mon=$!
vantrel watch --check >/tmp/check.out 2>&1 &
chk=$!
until_in /tmp/check.out "Watching for drives"
before=$(ls /sys/block)
echo "LAB-BEGIN check-rule"; cat /run/udev/rules.d/90-vantrel-hold.rules; echo "LAB-END rc=$?"
hwlab_qmp '{"execute":"blockdev-add","arguments":{"driver":"null-co","node-name":"plugged1","size":33554432}}'
hwlab_qmp '{"execute":"device_add","arguments":{"driver":"usb-storage","bus":"xhci.0","id":"plugged1","drive":"plugged1","serial":"HWLABPLUG0002"}}'
until_in /tmp/check.out "Checking before it mounts"
# The check's outcome is the line after the arrival's.
i=0; while [ $i -lt 600 ] && [ "$(wc -l </tmp/check.out)" -lt 3 ]; do sleep 0.05; i=$((i + 1)); done
sleep 2
disk=""
for b in $(ls /sys/block); do echo "$before" | grep -qx "$b" || disk=$b; done
kill -TERM $chk; wait $chk; crc=$?
echo "LAB-BEGIN check-disk"; echo "disk=$disk"; echo "LAB-END rc=0"
echo "LAB-BEGIN check-text"; cat /tmp/check.out; echo "LAB-END rc=$crc"
echo "LAB-BEGIN check-rule-after"; ls /run/udev/rules.d/; echo "LAB-END rc=0"
sleep 0.5; kill $mon
echo "LAB-BEGIN check-udev"; grep -E '^(UDEV |ACTION=|DEVNAME=|UDISKS_IGNORE=)' /tmp/udev.log; echo "LAB-END rc=0"
hwlab_qmp '{"execute":"device_del","arguments":{"id":"plugged1"}}' >/dev/null
