#!/usr/bin/env bash
# Runs bench.sh on a disk that holds still: ext4 on a loop device whose backing file lives
# in memory (tmpfs). A shared or virtual disk varies between runs by far more than the 5%
# the comparison is about; memory behind a block device only varies with the processor,
# while O_DIRECT and fsync still go through a real file system and block layer.
#
#   [ROUNDS=N] scripts/bench/bench-loop.sh [VANTREL]    (as root: losetup, mkfs, mount)
set -euo pipefail

root="$(cd "$(dirname "$0")/../.." && pwd)"
[[ $(id -u) == 0 ]] || { echo "bench-loop.sh: needs root (losetup, mkfs.ext4, mount)" >&2; exit 2; }
work="$(mktemp -d /dev/shm/vantrel-bench.XXXXXX)"
loop=""
cleanup() {
    umount "$work/mnt" 2>/dev/null || true
    [[ -n "$loop" ]] && losetup -d "$loop" 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
# fio's 1 GB file stays between rounds while vantrel's comes and goes, and vantrel wants
# 2 GB free beside it. The image is sparse: memory is used as the files are written.
truncate -s 3500M "$work/disk.img"
loop="$(losetup --find --show "$work/disk.img")"
mkfs.ext4 -q "$loop"
mkdir -p "$work/mnt"
mount "$loop" "$work/mnt"
"$root/scripts/bench/bench.sh" "$work/mnt" "$@"
