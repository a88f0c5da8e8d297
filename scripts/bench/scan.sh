#!/usr/bin/env bash
# Compares a full surface scan's read speed with dd reading the same span with direct I/O
# and 512 KB blocks, on the same device in the same run, and prints the ratio (the aim is
# at least 0.95). Both only read. Needs root for a real disk.
#
#   scripts/bench/scan.sh DEVICE [VANTREL]     (default: build/release/cli/vantrel)
set -euo pipefail

device="${1:?usage: scan.sh DEVICE [VANTREL]}"
root="$(cd "$(dirname "$0")/../.." && pwd)"
binary="${2:-$root/build/release/cli/vantrel}"
[[ -x "$binary" ]] || { echo "scan.sh: no vantrel binary at $binary" >&2; exit 2; }
[[ "$device" == /dev/* ]] || device="/dev/$device"

# The scan's own figures: bytes read and seconds, from its JSON (scans.json kept aside).
scan_json="$(XDG_DATA_HOME="$(mktemp -d)" "$binary" scan "$device" --full --json)" || true
read -r bytes seconds < <(python3 -c 'import json,sys; r=json.loads(sys.argv[1]); print(r["bytesRead"], r["seconds"])' "$scan_json")
[[ "$bytes" -gt 0 ]] || { echo "scan.sh: the scan read nothing" >&2; exit 1; }

count=$(( (bytes + 524287) / 524288 ))
start=$(date +%s.%N)
dd if="$device" of=/dev/null iflag=direct bs=512K count="$count" status=none
end=$(date +%s.%N)

python3 - "$bytes" "$seconds" "$count" "$start" "$end" <<'PY'
import sys
bytes_, scan_s, count, start, end = int(sys.argv[1]), float(sys.argv[2]), int(sys.argv[3]), float(sys.argv[4]), float(sys.argv[5])
dd_s = end - start
scan_mbps = bytes_ / scan_s / 1e6
dd_mbps = count * 524288 / dd_s / 1e6
print(f"scan  {bytes_ / 1e6:10.1f} MB in {scan_s:7.2f} s  {scan_mbps:8.1f} MB/s")
print(f"dd    {count * 524288 / 1e6:10.1f} MB in {dd_s:7.2f} s  {dd_mbps:8.1f} MB/s")
print(f"ratio {scan_mbps / dd_mbps:.3f}")
PY
