#!/usr/bin/env bash
# The window's own cost: starts the release vantrel-desktop on the demo machine with its
# Overview open (which samples live speeds every second), waits for it to settle, then
# prints its share of one core and its resident memory over SECONDS (default 60) from
# /proc. Exit 1 above 2% of a core. Runs on Xvfb when it is installed, else offscreen.
#
#   scripts/bench/window.sh [SECONDS]
set -euo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
seconds="${1:-60}"
binary="$root/build/release/desktop/vantrel-desktop"
if [[ ! -x "$binary" ]]; then
  cmake --preset release -S "$root" >/dev/null
  cmake --build "$root/build/release" --target vantrel-desktop >/dev/null
fi
home="$(mktemp -d)"
trap 'kill "$pid" 2>/dev/null || true; rm -rf "$home"' EXIT
export XDG_DATA_HOME="$home/data" XDG_CONFIG_HOME="$home/config" XDG_RUNTIME_DIR="$home"
if command -v xvfb-run >/dev/null; then
  xvfb-run -a "$binary" --demo >/dev/null 2>&1 &
  sleep 3
  pid="$(pgrep -n -f "^$binary --demo" || true)"
else
  QT_QPA_PLATFORM=offscreen "$binary" --demo >/dev/null 2>&1 &
  pid=$!
fi
[[ -n "$pid" ]] || { echo "vantrel-desktop didn't start"; exit 2; }
sleep 5
ticks() { awk '{ print $14 + $15 }' "/proc/$pid/stat"; }
hz="$(getconf CLK_TCK)"
before="$(ticks)"
sleep "$seconds"
after="$(ticks)"
rss="$(awk '/^VmRSS/ { print $2 }' "/proc/$pid/status")"
awk -v a="$after" -v b="$before" -v hz="$hz" -v s="$seconds" -v rss="$rss" 'BEGIN {
  cpu = (a - b) / hz / s * 100
  printf "window open on the Overview for %d s: %.2f%% of one core, %.1f MB resident\n", s, cpu, rss / 1024
  exit cpu > 2.0 ? 1 : 0
}'
