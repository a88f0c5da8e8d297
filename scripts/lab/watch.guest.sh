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
