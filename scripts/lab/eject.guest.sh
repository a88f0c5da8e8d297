#!/bin/sh
# Guest side of `vantrel eject` and `vantrel mount`. First without a system bus, so the
# kernel's own calls do it (umount2, then the SCSI device deleted): the SATA disk. Then
# with the disk service (udisksd, copied in with its bus by udisks-tree.sh): the Bulk-Only
# disk mounted again, refused while a process holds a file on it (named in the refusal),
# then ejected and powered off; an md RAID 1 over the two other USB disks ejected whole
# (the array stopped, both members powered off). After each eject the kernel's own view:
# /sys/block, /proc/mounts and /proc/mdstat. Blocks between markers for compare.py.
. /hwlab/lib.sh

# gone DISK: waits up to 10 s for the disk to leave /sys/block; says what it saw.
gone() {
  i=0
  while [ -e "/sys/block/$1" ] && [ $i -lt 100 ]; do sleep 0.1; i=$((i + 1)); done
  if [ -e "/sys/block/$1" ]; then echo "sysfs $1=present"; else echo "sysfs $1=gone"; fi
  if grep -q "^/dev/$1" /proc/mounts; then echo "mounts $1=mounted"; else echo "mounts $1=none"; fi
}

s=$(hwlab_disk_of sata); u=$(hwlab_disk_of usb-bot); a=$(hwlab_disk_of usb-uas); b=$(hwlab_disk_of usb-storage)
echo "disks sata=$s bot=$u uas=$a storage=$b"
mkfs.ext4 -q -F "/dev/$s"; mkfs.ext4 -q -F "/dev/$u"
udevadm settle

echo "LAB-BEGIN eject-kernel"
mkdir -p /mnt/sata && mount -t ext4 "/dev/$s" /mnt/sata && echo "mounted-before=yes"
vantrel eject "$s"; rc=$?
gone "$s"
echo "LAB-END rc=$rc"

hwlab_system_bus; echo "bus=$?"
udevadm control --reload
/usr/libexec/udisks2/udisksd >/tmp/udisksd.log 2>&1 &
i=0
while [ $i -lt 60 ] && ! dbus-send --system --print-reply --dest=org.freedesktop.DBus / \
    org.freedesktop.DBus.NameHasOwner string:org.freedesktop.UDisks2 2>/dev/null | grep -q true; do
  sleep 0.5; i=$((i + 1))
done
echo "udisksd=$i"

echo "LAB-BEGIN mount-udisks"
udisksctl mount -b "/dev/$u" >/dev/null && udisksctl unmount -b "/dev/$u" >/dev/null
grep -q "^/dev/$u " /proc/mounts && echo "mounted-before=yes" || echo "mounted-before=no"
vantrel mount "$u"; rc=$?
point=$(awk -v d="/dev/$u" '$1 == d { print $2 }' /proc/mounts)
echo "point=$point"
echo "LAB-END rc=$rc"

echo "LAB-BEGIN eject-busy"
echo hello >"$point/held.txt"
sleep 600 <"$point/held.txt" &
holder=$!
echo "holder=$holder"
vantrel eject "$u"; rc=$?
[ -e "/sys/block/$u" ] && echo "sysfs $u=present"
grep -q "^/dev/$u " /proc/mounts && echo "mounts $u=mounted"
kill $holder; wait $holder 2>/dev/null
echo "LAB-END rc=$rc"

echo "LAB-BEGIN eject-udisks"
vantrel eject "$u"; rc=$?
gone "$u"
grep "Powered off /dev/$u" /tmp/udisksd.log | sed 's/^.*Powered off/udisksd: Powered off/'
echo "LAB-END rc=$rc"

echo "LAB-BEGIN eject-raid"
mdadm --create /dev/md0 --run --quiet --level=1 --raid-devices=2 --metadata=1.2 --name=labset \
  "/dev/$a" "/dev/$b" 2>&1
udevadm settle
mkfs.ext4 -q -F /dev/md0; udevadm settle
udisksctl mount -b /dev/md0 >/dev/null && echo "md0-mounted=yes"
echo "members=$a $b"
vantrel eject "$a"; rc=$?
gone "$a"; gone "$b"
if grep -q "^md0 " /proc/mdstat; then echo "mdstat md0=running"; else echo "mdstat md0=none"; fi
echo "udisksd-powered-off=$(grep -cE "Powered off /dev/($a|$b) " /tmp/udisksd.log)"
grep -q "^/dev/md0 " /proc/mounts && echo "mounts md0=mounted"
echo "LAB-END rc=$rc"

echo "LAB-BEGIN udisksd-log"; cat /tmp/udisksd.log; echo "LAB-END rc=0"
