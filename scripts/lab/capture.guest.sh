#!/bin/sh
# Guest side of the careful USB check: vantrel takes each USB disk from its kernel driver,
# talks to the enclosure itself and gives it back. Prints, between markers compare.py
# parses, what vantrel said and whether the disk and its driver came back. Runs the parts
# whose devices the lab attached: usb-bot, usb-uas (QEMU's own disks, which refuse ATA
# pass-through) and usbredir0 (the bridge, with the kernel told to refuse pass-through).
. /hwlab/lib.sh

with_stderr() { echo "LAB-BEGIN $1"; shift; "$@" 2>&1; echo "LAB-END rc=$?"; }
block() { echo "LAB-BEGIN $1"; shift; "$@"; echo "LAB-END rc=$?"; }

# The disk of a lab label, waiting up to 20 s for it (usb-storage waits 1 s before it
# scans a disk it was given back).
disk_back() {
  i=0
  while [ $i -lt 80 ]; do
    d=$(hwlab_disk_of "$1" 2>/dev/null)
    [ -n "$d" ] && [ -e "/sys/class/block/$d" ] && { echo "$d"; return 0; }
    sleep 0.25; i=$((i + 1))
  done
  return 1
}

# The driver bound to the mass-storage interface under a disk's USB device.
driver_of_label() {
  for intf in /sys/bus/usb/devices/*:*; do
    [ "$(cat "$intf/bInterfaceClass" 2>/dev/null)" = "08" ] || continue
    drv=""; [ -e "$intf/driver" ] && drv=$(basename "$(readlink -f "$intf/driver")")
    echo "$(basename "$intf") $drv"
  done
}

captured() {
  label=$1 d=$2
  with_stderr "$label-capture" vantrel check --capture "$d"
  back=$(disk_back "$label")
  echo "LAB-BEGIN $label-back"; echo "disk=${back:-none} size=$(cat /sys/class/block/${back:-none}/size 2>/dev/null)"
  driver_of_label; echo "LAB-END rc=0"
}

for label in usb-bot usb-uas; do
  d=$(hwlab_disk_of $label 2>/dev/null)
  [ -n "$d" ] || continue
  echo "LAB-BEGIN $label-before"; echo "disk=$d size=$(cat /sys/class/block/$d/size)"
  echo "inquiry=$(cat /sys/class/block/$d/device/vendor) $(cat /sys/class/block/$d/device/model)"; echo "LAB-END rc=0"
  captured "$label" "$d"
done

# The kill test, on the Bulk-Only disk: SIGKILL while vantrel holds the device, then any
# privileged start of vantrel gives the interface back to its driver.
d=$(hwlab_disk_of usb-bot 2>/dev/null)
if [ -n "$d" ]; then
  vantrel check --capture "$d" >/tmp/killed.log 2>&1 &
  pid=$!
  i=0
  while [ -e "/sys/class/block/$d" ] && [ $i -lt 400 ]; do sleep 0.05; i=$((i + 1)); done
  kill -9 $pid 2>/dev/null; wait $pid 2>/dev/null
  sleep 0.5
  echo "LAB-BEGIN kill-orphaned"; driver_of_label; ls /sys/class/block; cat /tmp/killed.log; echo "LAB-END rc=0"
  with_stderr kill-next-start vantrel --version
  back=$(disk_back usb-bot)
  echo "LAB-BEGIN kill-back"; echo "disk=${back:-none}"; driver_of_label; echo "LAB-END rc=0"
fi

bridge=$(hwlab_disk_of usbredir0 2>/dev/null)
if [ -n "$bridge" ]; then
  echo "quirks: $(cat /sys/module/usb_storage/parameters/quirks 2>/dev/null)"
  block bridge-smartctl-refused smartctl -d sat -i -j "/dev/$bridge"
  with_stderr bridge-fallback-text vantrel check "$bridge"
  bridge=$(disk_back usbredir0)
  echo "LAB-BEGIN bridge-fallback-json"; vantrel check "$bridge" --json=report 2>/tmp/fallback.err; rc=$?
  echo "LAB-END rc=$rc"; with_stderr bridge-fallback-progress cat /tmp/fallback.err
  bridge=$(disk_back usbredir0)
  # Asleep behind a bridge the kernel won't pass requests through: the capture asks the
  # drive whether it sleeps and nothing else, and gives it back. Once given back, the
  # kernel's own scan of the partition table reads the disk (after usb-storage's 1 s
  # delay), which wakes it as it would any drive: the count is taken before that.
  hwlab_host satbridge-standby on >/dev/null
  echo "LAB-WOKEN capture-before $(hwlab_host satbridge-woken)"
  vantrel check "$bridge" >/tmp/asleep.out 2>&1 &
  pid=$!
  i=0
  while [ $i -lt 240 ] && ! grep -q "Giving the device back" /tmp/asleep.out; do sleep 0.25; i=$((i + 1)); done
  echo "LAB-WOKEN capture-given-back $(hwlab_host satbridge-woken)"
  wait $pid; rc=$?
  echo "LAB-BEGIN bridge-asleep"; cat /tmp/asleep.out; echo "LAB-END rc=$rc"
  hwlab_host satbridge-standby off >/dev/null
  bridge=$(disk_back usbredir0)
  # Now without the quirk: the kernel passes the requests on, and the live path reads the
  # same drive.
  echo "" >/sys/module/usb_storage/parameters/quirks
  for intf in /sys/bus/usb/devices/*:*; do
    [ "$(cat "$intf/bInterfaceClass" 2>/dev/null)" = "08" ] || continue
    n=$(basename "$intf"); drv=$(readlink -f "$intf/driver")
    [ -n "$drv" ] && echo "$n" >"$drv/unbind" && echo "$n" >/sys/bus/usb/drivers_probe
  done
  bridge=$(disk_back usbredir0)
  block bridge-live-json vantrel check "$bridge" --json=report
fi
