#!/usr/bin/env bash
# Times `vantrel --demo list` over repeated runs and prints the wall-time figures in
# milliseconds. The demo machine needs no drives and no root, so the figures measure the
# program itself: start-up, loading the description, discovery, reading and rating every
# drive, and printing. The aim is under 100 ms a run.
#
#   scripts/bench/list.sh [RUNS] [VANTREL]     (default: 30 runs of build/release/cli/vantrel,
#                                              else the first build that has one)
set -euo pipefail

runs="${1:-30}"
root="$(cd "$(dirname "$0")/../.." && pwd)"
binary="${2:-}"
if [[ -z "$binary" ]]; then
    for candidate in "$root"/build/release/cli/vantrel "$root"/build/*/cli/vantrel; do
        if [[ -x "$candidate" ]]; then binary="$candidate"; break; fi
    done
fi
if [[ -z "$binary" || ! -x "$binary" ]]; then
    echo "list.sh: no vantrel binary found; build one or give its path." >&2
    exit 2
fi

python3 - "$binary" "$runs" <<'PY'
import statistics
import subprocess
import sys
import time

binary, runs = sys.argv[1], int(sys.argv[2])
command = [binary, "--demo", "list"]

first = subprocess.run(command, capture_output=True, text=True)
if first.returncode not in (0, 1):
    sys.exit("list.sh: %s exited with %d: %s" % (" ".join(command), first.returncode, first.stderr.strip()))

times = []
for _ in range(runs):
    start = time.perf_counter()
    subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
    times.append((time.perf_counter() - start) * 1000.0)

times.sort()
p95 = times[min(len(times) - 1, int(round(0.95 * (len(times) - 1))))]
print("vantrel --demo list: %d runs of %s" % (runs, binary))
print("  min %.1f ms   median %.1f ms   mean %.1f ms   p95 %.1f ms   max %.1f ms" %
      (times[0], statistics.median(times), statistics.fmean(times), p95, times[-1]))
print("  target under 100 ms: %s" % ("met" if statistics.median(times) < 100.0 else "MISSED"))
PY
