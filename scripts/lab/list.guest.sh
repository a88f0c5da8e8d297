#!/bin/sh
# Guest side of the drive list: lays file systems on the lab's drives, mounts some, then
# prints what the kernel says of every disk (sysfs, and lsblk when it was brought in)
# beside `vantrel list` and `vantrel list --json`, between markers compare.py parses.
#
# Host side: run-lab.sh -d nvme,sata,usb-bot,usb-uas,sd -M ext4 -M vfat -M nls_cp437
#   -M nls_ascii -f /usr/bin/lsblk -f vantrel scripts/lab/list.guest.sh
. /hwlab/lib.sh

block() { echo "LAB-BEGIN $1"; shift; "$@"; echo "LAB-END rc=$?"; }
settle() { udevadm settle --timeout=30 2>/dev/null; sleep 0.3; }

# The lab marks each disk in its first sector, which the file systems overwrite: find
# them all first.
nvme=$(hwlab_disk_of nvme)
sata=$(hwlab_disk_of sata)
bot=$(hwlab_disk_of usb-bot)
uas=$(hwlab_disk_of usb-uas)
sd=$(hwlab_disk_of sd)
labelOf() {
  case $1 in
    "$nvme") echo nvme ;; "$sata") echo sata ;; "$bot") echo usb-bot ;;
    "$uas") echo usb-uas ;; "$sd") echo sd ;; *) echo - ;;
  esac
}

# Whole-disk file systems: each drive's one volume is the disk itself. The SATA disk
# stays blank, a drive without volumes.
[ -n "$nvme" ] && mke2fs -q -L labnvme "/dev/$nvme" >/dev/null
[ -n "$bot" ] && mkdosfs -n LABBOT "/dev/$bot" >/dev/null
[ -n "$uas" ] && mke2fs -q -L "Lab UAS" "/dev/$uas" >/dev/null
[ -n "$sd" ] && mkdosfs -n CARD "/dev/$sd" >/dev/null
udevadm trigger --action=change --subsystem-match=block 2>/dev/null
settle
mkdir -p /mnt/nvme /media/lab/LABBOT /media/lab/CARD
[ -n "$nvme" ] && mount "/dev/$nvme" /mnt/nvme
[ -n "$bot" ] && mount "/dev/$bot" /media/lab/LABBOT
[ -n "$sd" ] && mount "/dev/$sd" /media/lab/CARD

# facts: one line per whole disk the kernel has, with the lab's label for it.
facts() {
  for d in /sys/block/*; do
    n=${d##*/}
    label=$(labelOf "$n")
    p=$(readlink -f "$d")
    speed=-
    while [ "$p" != /sys/devices ] && [ -n "$p" ]; do
      [ -f "$p/speed" ] && [ -f "$p/idVendor" ] && { speed=$(cat "$p/speed"); break; }
      p=${p%/*}
    done
    echo "disk $n label=$label size=$(cat "$d/size") usbspeed=$speed"
  done
}
block facts facts
if command -v lsblk >/dev/null; then
  block lsblk lsblk -J -b -o NAME,TYPE,SIZE,TRAN,FSTYPE,LABEL,MOUNTPOINT
fi
block mounts cat /proc/self/mounts
block list vantrel list
block list-json vantrel list --json
block list-help vantrel list --help
