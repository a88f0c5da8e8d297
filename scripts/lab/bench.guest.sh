#!/bin/sh
# Guest side of the benchmark checks, in one boot: `vantrel bench` on ext4 on a 2.5 GB
# SATA disk (three runs of four positive figures, no test file left), then the refusals,
# each one sentence: the same volume read-only, a 64 MB volume, tmpfs (exit 10), and the
# lab's NVMe drive, which QEMU reports with no spare left, so that it rates as failed
# (exit 1); and a run stopped by SIGTERM, which leaves no test file.
. /hwlab/lib.sh
nvme=$(hwlab_disk_of nvme) || { echo "LAB-ERROR no nvme disk"; exit 1; }
small=$(hwlab_disk_of sata) || { echo "LAB-ERROR no sata disk"; exit 1; }
big=
for b in /sys/block/sd*; do
    n=${b##*/}
    [ "$n" != "$small" ] && [ "$(cat "$b/size")" -gt 4000000 ] && big=$n
done
[ -n "$big" ] || { echo "LAB-ERROR no large sata disk"; exit 1; }
dmesg -n 1
# stderr is kept with each block, so that the refusals' sentences are checked.
block() { echo "LAB-BEGIN $1"; shift; "$@" 2>&1; echo "LAB-END rc=$?"; }
export XDG_DATA_HOME=/tmp/bench-data
for d in "$big:big:-m 0" "$small:small:" "$nvme:nvme:"; do
    dev=${d%%:*}; rest=${d#*:}; dir=/mnt/${rest%%:*}
    mkfs.ext4 -q -F ${rest#*:} "/dev/$dev" && mkdir -p "$dir" && mount -t ext4 "/dev/$dev" "$dir"
done
# The live line of the run (stderr is the console, a terminal) is kept aside.
echo "LAB-BEGIN bench"; vantrel bench /mnt/big --json 2>/tmp/bench-progress.txt; echo "LAB-END rc=$?"
block leftovers ls -A /mnt/big
saved() { cat /tmp/bench-data/vantrel/benchmarks.json && echo; }
block saved saved
# SIGTERM two seconds into a run: the run ends by the signal and leaves no test file.
stopped() {
    vantrel bench /mnt/big >/dev/null 2>/tmp/bench-stopped.txt & pid=$!
    sleep 2; kill -TERM $pid; wait $pid; echo "rc=$?"; cat /tmp/bench-stopped.txt; ls -A /mnt/big
}
block bench-stopped stopped
mount -o remount,ro /mnt/big
block bench-read-only vantrel bench /mnt/big
block bench-small vantrel bench /mnt/small
block bench-tmpfs vantrel bench /tmp
block bench-failing vantrel bench /mnt/nvme
