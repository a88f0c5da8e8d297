#!/bin/sh
# Guest side of the interrupted capture: `vantrel check --capture` (and once `scan
# --capture`, before the take) is stopped at each step
# of the careful sequence (before and after the unmount, just after the capture, mid-read,
# while giving the device back, while waiting for the drive) by SIGTERM, SIGINT or SIGKILL,
# and after each the USB disk must have its kernel driver and its block device again. A
# SIGKILL is followed by a next start of vantrel, which gives the driver back.
#
# The step is found by vantrel's own progress lines. VANTREL_TEST_HOLD_AFTER makes vantrel
# hold after the line that begins with its text until a signal comes, so the signal lands
# at that step every time, however slow the emulation is.
. /hwlab/lib.sh

# The USB device ("2-1") a disk hangs under, read from its sysfs path.
usb_of() {
  readlink -f "/sys/block/$1" | sed -n 's#.*/\([0-9]*-[0-9.]*\)/[0-9]*-[0-9.]*:[0-9.]*/host.*#\1#p'
}

# The disk under a USB device now, waiting up to 20 s for it (usb-storage waits 1 s before
# it scans a disk it was given back; it may come back under another name).
disk_at() {
  i=0
  while [ $i -lt 80 ]; do
    for b in /sys/block/*; do
      case $(readlink -f "$b") in */"$1"/"$1":*) echo "${b##*/}"; return 0 ;; esac
    done
    sleep 0.25; i=$((i + 1))
  done
  return 1
}

# "2-1:1.0 usb-storage" for each mass-storage interface of the USB device; no driver, no word.
drivers_at() {
  for intf in /sys/bus/usb/devices/"$1":*; do
    [ "$(cat "$intf/bInterfaceClass" 2>/dev/null)" = "08" ] || continue
    drv=""; [ -e "$intf/driver" ] && drv=$(basename "$(readlink -f "$intf/driver")")
    echo "intf $(basename "$intf") $drv"
  done
}

mounted() { grep -q "^/dev/$1 " /proc/mounts && echo yes || echo no; }

# Each USB disk gets a FAT volume, mounted, so the check has something to unmount.
prepare() {
  label=$1 name=$2
  d=$(hwlab_disk_of "$label" 2>/dev/null) || return 1
  usb=$(usb_of "$d")
  mkdosfs -n "$name" "/dev/$d" >/dev/null || return 1
  mkdir -p "/media/lab/$name"
  mount "/dev/$d" "/media/lab/$name" || return 1
  echo "LAB-BEGIN setup-$label"; echo "usb=$usb disk=$d size=$(cat /sys/class/block/$d/size)"
  drivers_at "$usb"; echo "mounted=$(mounted "$d")"; echo "LAB-END rc=0"
  eval "usb_$(echo "$label" | tr - _)=$usb"
}

# interrupt CASE USB MOUNTPOINT SIGNAL LINE [COMMAND]: one interrupted run (of `check`, or
# of COMMAND, `scan`) and what it left.
interrupt() {
  name=$1 usb=$2 point=$3 sig=$4 line=$5 command=${6:-check}
  d=$(disk_at "$usb")
  # A SIGKILL before leaves the volume unmounted: each case starts from a mounted drive.
  [ "$(mounted "$d")" = yes ] || mount "/dev/$d" "$point"
  size=$(cat "/sys/class/block/$d/size")
  VANTREL_TEST_HOLD_AFTER="$line" vantrel "$command" --capture "$d" >"/tmp/$name.err" 2>&1 &
  pid=$!
  held=no i=0
  while [ $i -lt 1200 ] && kill -0 $pid 2>/dev/null; do
    grep -qF "$line" "/tmp/$name.err" 2>/dev/null && { held=yes; break; }
    sleep 0.05; i=$((i + 1))
  done
  kill -"$sig" $pid 2>/dev/null
  wait $pid
  rc=$?
  echo "LAB-BEGIN case-$name"
  echo "signal=$sig held=$held rc=$rc disk=$d size=$size"
  echo "at-exit:"; drivers_at "$usb"
  if [ "$sig" = KILL ]; then
    echo "next-start:"; vantrel --version 2>&1
  fi
  back=$(disk_at "$usb")
  udevadm settle --timeout=10 2>/dev/null
  echo "back=${back:-none} size=$(cat /sys/class/block/${back:-none}/size 2>/dev/null)"
  echo "after:"; drivers_at "$usb"
  echo "mounted=$(mounted "${back:-none}")"
  echo "stderr:"; cat "/tmp/$name.err"
  echo "LAB-END rc=0"
}

prepare usb-bot LABBOT
prepare usb-uas LABUAS
bot=${usb_usb_bot:-}
uas=${usb_usb_uas:-}

if [ -n "$bot" ]; then
  interrupt term-before-unmount "$bot" /media/lab/LABBOT TERM "Unmounting "
  interrupt term-after-unmount "$bot" /media/lab/LABBOT TERM "Taking over the USB device"
  interrupt term-after-capture "$bot" /media/lab/LABBOT TERM "Talking to the enclosure over"
  interrupt term-mid-read "$bot" /media/lab/LABBOT TERM "Enclosure reports: "
  interrupt term-release "$bot" /media/lab/LABBOT TERM "Giving the device back to Linux"
  interrupt term-waiting "$bot" /media/lab/LABBOT TERM "Waiting for the drive to come back"
  interrupt kill-after-capture "$bot" /media/lab/LABBOT KILL "Talking to the enclosure over"
  # A scan by capture stopped before the take ends as the check does.
  interrupt scan-int-before-take "$bot" /media/lab/LABBOT INT "Taking over the USB device" scan
fi
if [ -n "$uas" ]; then
  interrupt int-mid-read "$uas" /media/lab/LABUAS INT "Enclosure reports: "
  interrupt term-after-capture-uas "$uas" /media/lab/LABUAS TERM "Talking to the enclosure over"
  interrupt kill-mid-read "$uas" /media/lab/LABUAS KILL "Enclosure reports: "
fi
