#!/bin/sh
# Guest side of the benchmark checks, in one boot: `vantrel bench` on an ext4 file system
# of a 2.5 GB NVMe drive (figures positive, no test file left), the same volume mounted
# read-only, a 64 MB NVMe drive with too little free space, and tmpfs, each refused with
# its sentence and exit 10.
. /hwlab/lib.sh
small=$(hwlab_disk_of nvme) || { echo "LAB-ERROR no nvme disk"; exit 1; }
big=
for b in /sys/block/nvme*; do
    n=${b##*/}
    [ "$n" != "$small" ] && [ "$(cat "$b/size")" -gt 4000000 ] && big=$n
done
[ -n "$big" ] || { echo "LAB-ERROR no large nvme disk"; exit 1; }
dmesg -n 1
# The live line goes to the console only on a terminal; stderr is kept with the block so
# that the refusals' sentences are checked.
block() { echo "LAB-BEGIN $1"; shift; "$@" 2>&1; echo "LAB-END rc=$?"; }
export XDG_DATA_HOME=/tmp/bench-data
mkfs.ext4 -q -F -m 0 "/dev/$big" && mkdir -p /mnt/big && mount -t ext4 "/dev/$big" /mnt/big
mkfs.ext4 -q -F "/dev/$small" && mkdir -p /mnt/small && mount -t ext4 "/dev/$small" /mnt/small
block bench vantrel bench /mnt/big --json
block leftovers ls -A /mnt/big
mount -o remount,ro /mnt/big
block bench-read-only vantrel bench /mnt/big
block bench-small vantrel bench /mnt/small
block bench-tmpfs vantrel bench /tmp
