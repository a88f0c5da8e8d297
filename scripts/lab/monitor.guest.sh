#!/bin/sh
# Guest side of `vantrel monitor`: the monitor runs in the background while a USB disk is
# plugged in and pulled out through QEMU's monitor; a second monitor started beside it
# must defer to the first. Prints the monitor's log, the readings before and after, and
# the second monitor's answer, between markers compare.py parses.
. /hwlab/lib.sh

# until_count FILE TEXT N: waits up to 30 s for N lines holding TEXT in FILE.
until_count() {
  i=0
  while [ $i -lt 600 ]; do
    [ "$(grep -cF "$2" "$1" 2>/dev/null)" -ge "$3" ] && return 0
    sleep 0.05; i=$((i + 1))
  done
  return 1
}

export XDG_DATA_HOME=/tmp/xdg/data XDG_CONFIG_HOME=/tmp/xdg/config XDG_RUNTIME_DIR=/tmp/xdg/run
mkdir -p "$XDG_RUNTIME_DIR"
readings=$XDG_DATA_HOME/vantrel/readings.json

vantrel monitor >/tmp/monitor.out 2>/tmp/monitor.err &
first=$!
until_count /tmp/monitor.out "pass 1:" 1; echo "first-pass=$?" >/tmp/monitor.steps
# The monitor listens for disks once its udev socket is open.
i=0; while [ $i -lt 600 ] && ! ls -l "/proc/$first/fd" 2>/dev/null | grep -q socket; do sleep 0.05; i=$((i + 1)); done

echo "LAB-BEGIN monitor-second"
timeout 20 vantrel monitor >/tmp/second.out 2>&1; echo "rc=$?"
cat /tmp/second.out
echo "pid=$first"
echo "LAB-END rc=0"

echo "LAB-BEGIN monitor-before"; cat "$readings"; echo; echo "LAB-END rc=0"

passes=$(grep -c "^pass " /tmp/monitor.out)
hwlab_qmp '{"execute":"blockdev-add","arguments":{"driver":"null-co","node-name":"plugged","size":33554432}}'
hwlab_qmp '{"execute":"device_add","arguments":{"driver":"usb-storage","bus":"xhci.0","id":"plugged0","drive":"plugged","serial":"HWLABPLUG0001"}}'
until_count /tmp/monitor.out "pass " $((passes + 2)); echo "plug-passes=$?" >>/tmp/monitor.steps
# Nothing more may come of this burst.
sleep 3
echo "plugged-at=$passes" >>/tmp/monitor.steps

echo "LAB-BEGIN monitor-after"; cat "$readings"; echo; echo "LAB-END rc=0"

passes=$(grep -c "^pass " /tmp/monitor.out)
hwlab_qmp '{"execute":"device_del","arguments":{"id":"plugged0"}}'
until_count /tmp/monitor.out "pass " $((passes + 2)); echo "unplug-passes=$?" >>/tmp/monitor.steps
sleep 3
echo "unplugged-at=$passes" >>/tmp/monitor.steps

kill -TERM $first
wait $first; rc=$?
echo "LAB-BEGIN monitor-log"; cat /tmp/monitor.steps; echo "----"; cat /tmp/monitor.out /tmp/monitor.err; echo "LAB-END rc=$rc"
