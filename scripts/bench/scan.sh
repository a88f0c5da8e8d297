#!/usr/bin/env bash
# Compares a full surface scan's read speed with dd reading the same span with direct I/O
# and 512 KB blocks (`dd iflag=direct bs=512K`), on the same device in the same run, and
# prints bytes, seconds and MB/s of each and their ratio (the aim: at least 0.95). Both
# only read.
#
#   [ROUNDS=N] scripts/bench/scan.sh DEVICE [VANTREL]   (a real disk: as root)
#   [ROUNDS=N] [SIZE_MB=N] scripts/bench/scan.sh --memory [VANTREL]
#                                                       (as root: losetup)
#
# VANTREL defaults to build/release/cli/vantrel. --memory scans a loop device with direct
# I/O over a file in /dev/shm (SIZE_MB, default 2048, of memory while it runs): a device
# that holds still, where only the per-read cost of each program shows, unlike a shared
# disk whose speed swings by more than the 5% the comparison is about. Scan and dd take
# turns for ROUNDS rounds (default 5) so that the load of other programs hits both alike;
# the medians are compared. Each side's time is its own count: the scan's seconds from its
# JSON, dd's from its closing line, neither with the start of a process.
# Exit 0 when the ratio is at least 0.95, 1 when below, 2 when it couldn't measure.
set -euo pipefail

usage="usage: scan.sh DEVICE [VANTREL] | scan.sh --memory [VANTREL]"
device="${1:?$usage}"
root="$(cd "$(dirname "$0")/../.." && pwd)"
binary="${2:-$root/build/release/cli/vantrel}"
rounds=${ROUNDS:-5}
[[ -x "$binary" ]] || { echo "scan.sh: no vantrel binary at $binary" >&2; exit 2; }

scratch="$(mktemp -d)"
image=""
loop=""
cleanup() {
    [[ -n "$loop" ]] && losetup -d "$loop" 2>/dev/null || true
    [[ -n "$image" ]] && rm -f "$image"
    rm -rf "$scratch"
}
trap cleanup EXIT

if [[ "$device" == --memory ]]; then
    [[ $(id -u) == 0 ]] || { echo "scan.sh: --memory needs root (losetup)" >&2; exit 2; }
    image="$(mktemp /dev/shm/vantrel-scan.XXXXXX)"
    # Written whole, so that every read finds memory behind it rather than a hole.
    dd if=/dev/zero of="$image" bs=16M count=$(( ${SIZE_MB:-2048} / 16 )) status=none
    loop="$(losetup --find --show --direct-io=on "$image")"
    device="$loop"
fi
[[ "$device" == /dev/* ]] || device="/dev/$device"
[[ -b "$device" ]] || { echo "scan.sh: $device is no block device" >&2; exit 2; }

# As root both sides run at the highest priority, so that builds beside them disturb them less.
priority=()
[[ $(id -u) == 0 ]] && priority=(nice -n -20)
for ((round = 1; round <= rounds; round++)); do
    # The scan's own figures, scans.json kept aside.
    XDG_DATA_HOME="$scratch" "${priority[@]}" "$binary" scan "$device" --full --json >"$scratch/scan$round.json" || true
    bytes=$(python3 -c 'import json,sys; print(json.load(open(sys.argv[1]))["bytesRead"])' "$scratch/scan$round.json" 2>/dev/null || echo 0)
    [[ "$bytes" -gt 0 ]] || { echo "scan.sh: the scan of $device read nothing" >&2; exit 2; }
    # dd reads the same span in whole 512 KB blocks and times itself.
    count=$(( (bytes + 524287) / 524288 ))
    LC_ALL=C "${priority[@]}" dd if="$device" of=/dev/null iflag=direct bs=512K count="$count" 2>"$scratch/dd$round.txt"
done

python3 - "$scratch" "$rounds" "$device" <<'PY'
import json, re, statistics, sys
scratch, rounds, device = sys.argv[1], int(sys.argv[2]), sys.argv[3]
scans, dds = [], []
for r in range(1, rounds + 1):
    result = json.load(open(f"{scratch}/scan{r}.json"))
    scans.append((result["bytesRead"], result["seconds"]))
    closing = open(f"{scratch}/dd{r}.txt").read()
    match = re.search(r"^(\d+) bytes .* copied, ([0-9.]+) s", closing, re.M)
    if not match:
        sys.exit(f"scan.sh: can't read dd's figures: {closing.strip()}")
    dds.append((int(match.group(1)), float(match.group(2))))
def line(name, runs):
    speeds = [b / s / 1e6 for b, s in runs]
    middle = statistics.median(speeds)
    bytes_ = runs[0][0]
    print(f"{name:5} {bytes_:>14} bytes  {statistics.median(s for _, s in runs):7.3f} s  "
          f"{middle:8.1f} MB/s  (runs {min(speeds):.0f} to {max(speeds):.0f})")
    return middle
print(f"{device}: medians of {rounds} rounds, scan and dd in turns")
scan = line("scan", scans)
dd = line("dd", dds)
ratio = scan / dd
print(f"ratio {ratio:.3f} (aim: at least 0.95)")
sys.exit(0 if ratio >= 0.95 else 1)
PY
