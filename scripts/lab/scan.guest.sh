#!/bin/sh
# Guest side of the surface-scan checks: full scans of a SATA disk (read live through the
# kernel's SCSI layer) and an NVMe drive (direct reads of the block device), both with bad
# sectors injected by the host, a USB Bulk-Only disk scanned by capture (taken from its
# driver, given back after), and a quick scan; compare.py knows where the bad sectors are.
. /hwlab/lib.sh
sata=$(hwlab_disk_of sata) || { echo "LAB-ERROR no sata disk"; exit 1; }
nvme=$(hwlab_disk_of nvme) || { echo "LAB-ERROR no nvme disk"; exit 1; }
usb=$(hwlab_disk_of usb-bot) || { echo "LAB-ERROR no usb-bot disk"; exit 1; }
# The kernel's notes on the failed reads would land inside the JSON on the console; the
# live progress line (stderr is the console, a terminal) is kept aside.
dmesg -n 1
block() { echo "LAB-BEGIN $1"; shift; "$@" 2>>/tmp/scan-progress.txt; echo "LAB-END rc=$?"; }
export XDG_DATA_HOME=/tmp/scan-data
block scan-sata vantrel scan "$sata" --full --json
block scan-nvme vantrel scan "/dev/$nvme" --full --json
block scan-usb vantrel scan "$usb" --capture --full --json
# After the scan by capture: the disk is back and its interface has its driver again.
back() {
  echo "disk=$(hwlab_disk_of usb-bot || echo none)"
  for intf in /sys/bus/usb/devices/*:*; do
    [ "$(cat "$intf/bInterfaceClass" 2>/dev/null)" = "08" ] || continue
    drv=""; [ -e "$intf/driver" ] && drv=$(basename "$(readlink -f "$intf/driver")")
    echo "$(basename "$intf") $drv"
  done
}
block scan-usb-back back
block scan-quick vantrel scan "$nvme" --quick --json
saved() { cat /tmp/scan-data/vantrel/scans.json && echo; }
block scans-file saved
