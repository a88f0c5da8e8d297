#!/usr/bin/env bash
# Builds the snapshot benchmark (release, in build/bench) and prints the median time of
# one snapshot of every process's write counter: over this machine's /proc and over a
# generated /proc tree of 1,000 processes (exit 1 when the tree takes over 5 ms); then the
# resident memory over a simulated day of the monitor's 30-second counting.
#
#   scripts/bench/writes-snapshot.sh [RUNS]     (default 101)
set -euo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
cmake -S "$root" -B "$root/build/bench" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVANTREL_TESTS=OFF \
    -DVANTREL_BENCHMARKS=ON "${launcher[@]}" >/dev/null
cmake --build "$root/build/bench" --target writes_snapshot writes_day >/dev/null
"$root/build/bench/scripts/bench/writes_snapshot" "${1:-101}" || status=$?
# A simulated day of the monitor's counting: its memory should stay flat.
"$root/build/bench/scripts/bench/writes_day"
exit "${status:-0}"
