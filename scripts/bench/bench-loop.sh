#!/usr/bin/env bash
# Runs bench.sh on a disk that holds still: ext4 on a block device whose blocks live in
# memory. A shared or virtual disk varies between runs by far more than the 5% the
# comparison is about; memory behind a block device only varies with the processor,
# while O_DIRECT and fsync still go through a real file system and block layer.
#
# The device is a zram disk of its own when the kernel offers one (zram-control), else a
# loop device over a file in /dev/shm. zram copies each transfer in the thread that asked
# for it, so the program's own priority covers the whole transfer. A loop device hands
# every transfer to a kernel worker that competes for the processor with everything else
# at the usual priority: with builds beside it, its random 4 KiB figures swing from 50 to
# 700 MB/s between runs of either program, measuring the scheduler more than the method.
#
# The file system is mounted with discard, so that a deleted file (vantrel's at the end of
# each of its runs, fio's at each round) gives its blocks back to the device, and every
# round starts on the same device. Without it, both sides' read figures fell by 10-15%
# after the first rounds of a measurement, and the largest difference between the medians
# came out anywhere from 2.6% to 9.6% in six measurements; with it, 3.9%, 4.4% and 7.1%.
#
#   [ROUNDS=N] scripts/bench/bench-loop.sh [VANTREL]    (as root: zram or losetup, mkfs, mount)
set -euo pipefail

root="$(cd "$(dirname "$0")/../.." && pwd)"
[[ $(id -u) == 0 ]] || { echo "bench-loop.sh: needs root (zram or losetup, mkfs.ext4, mount)" >&2; exit 2; }
work="$(mktemp -d /dev/shm/vantrel-bench.XXXXXX)"
loop=""
zram=""
cleanup() {
    umount "$work/mnt" 2>/dev/null || true
    [[ -n "$loop" ]] && losetup -d "$loop" 2>/dev/null || true
    [[ -n "$zram" ]] && echo "$zram" >/sys/class/zram-control/hot_remove 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
# fio's 1 GB file stays between rounds while vantrel's comes and goes, and vantrel wants
# 2 GB free beside it. Either device takes memory only as the files are written.
if [[ -w /sys/class/zram-control/hot_add ]] && zram="$(cat /sys/class/zram-control/hot_add 2>/dev/null)"; then
    echo 3500M >"/sys/block/zram$zram/disksize"
    device="/dev/zram$zram"
else
    zram=""
    truncate -s 3500M "$work/disk.img"
    loop="$(losetup --find --show "$work/disk.img")"
    device="$loop"
fi
echo "bench-loop.sh: ext4 on $device" >&2
mkfs.ext4 -q "$device"
mkdir -p "$work/mnt"
mount -o discard "$device" "$work/mnt"
"$root/scripts/bench/bench.sh" "$work/mnt" "$@"
