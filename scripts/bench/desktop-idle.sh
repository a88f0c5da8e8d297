#!/usr/bin/env bash
# What the desktop program costs when nobody looks at it: started on the demo machine under
# a virtual X display (Xvfb), with a session bus of its own on which a stand-in tray host
# takes its icon, left alone for SECONDS (ten minutes by default), then its resident memory
# and its share of one core over that time, read from /proc. The aims: at most 40 MB and
# 0.05 % idle with the window closed; with the window open on a drive page (give the
# program's own switches after --) at most 2 % while it samples speeds.
#
#   scripts/bench/desktop-idle.sh [SECONDS] [-- PROGRAM [ARGUMENTS...]]
#
# Without a program, the tray alone over the demo machine (desktop/tray's harness), built
# in build/release.
set -euo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
seconds=600
if [[ $# -gt 0 && "$1" != "--" ]]; then seconds=$1; shift; fi
if [[ $# -gt 0 && "$1" == "--" ]]; then shift; fi
if [[ $# -gt 0 ]]; then
  program=("$@")
else
  cmake --preset release -S "$root" ${CMAKE_CXX_COMPILER_LAUNCHER:+-DCMAKE_CXX_COMPILER_LAUNCHER=$CMAKE_CXX_COMPILER_LAUNCHER} >/dev/null
  cmake --build "$root/build/release" --target vantrel_tray_demo >/dev/null
  program=("$root/build/release/desktop/tray/vantrel_tray_demo")
fi
for tool in /usr/bin/Xvfb /usr/bin/dbus-daemon /usr/bin/python3; do
  [[ -x $tool ]] || { echo "desktop-idle: $tool is needed" >&2; exit 2; }
done

work=$(mktemp -d /tmp/vantrel-desktop-idle.XXXXXX)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

# A child whose first line of output says it is ready; that line goes to $2.
start() {
  local out=$1; shift
  "$@" >"$work/$out" 2>"$work/$out.err" &
  pids+=($!)
  for _ in $(seq 100); do
    [[ -s "$work/$out" ]] && return 0
    sleep 0.1
  done
  echo "desktop-idle: $1 didn't start: $(cat "$work/$out.err")" >&2
  exit 2
}
start display /usr/bin/Xvfb -displayfd 1 -nolisten tcp -screen 0 1280x800x24
start bus /usr/bin/dbus-daemon --config-file="$root/tests/support/private-bus.conf" --print-address=1 --nofork
bus=$(head -1 "$work/bus")
start watcher /usr/bin/python3 "$root/desktop/tray/tests/support/sni_watcher.py" --address "$bus"

export DISPLAY=":$(head -1 "$work/display")" DBUS_SESSION_BUS_ADDRESS="$bus" QT_QPA_PLATFORM=xcb
export XDG_DATA_HOME="$work/data" XDG_CONFIG_HOME="$work/config" XDG_RUNTIME_DIR="$work"
unset XDG_CURRENT_DESKTOP DESKTOP_SESSION
"${program[@]}" >"$work/program.out" 2>"$work/program.err" &
program_pid=$!
pids+=("$program_pid")

ticks() { awk '{ print $14 + $15 }' "/proc/$program_pid/stat"; }
field() { awk -v key="$1:" '$1 == key { printf "%.1f", $2 / 1024 }' "/proc/$program_pid/status"; }

# The first pass and the icon's registration are start-up, not idling.
sleep 10
kill -0 "$program_pid" 2>/dev/null || { echo "desktop-idle: the program ended: $(cat "$work/program.err")" >&2; exit 1; }
before=$(ticks)
start_ns=$(date +%s%N)
sleep "$seconds"
kill -0 "$program_pid" 2>/dev/null || { echo "desktop-idle: the program ended: $(cat "$work/program.err")" >&2; exit 1; }
after=$(ticks)
end_ns=$(date +%s%N)
hz=$(getconf CLK_TCK)
registered=$(grep -c '"status"' "$work/watcher" || true)

awk -v t=$((after - before)) -v hz="$hz" -v ns=$((end_ns - start_ns)) -v rss="$(field VmRSS)" -v hwm="$(field VmHWM)" \
    -v items="$registered" 'BEGIN {
  secs = ns / 1e9
  share = t / hz / secs * 100
  printf "idle for %.0f s: resident memory %s MB (peak %s MB), CPU %.3f %% of one core (%d ticks)\n", secs, rss, hwm, share, t
  printf "tray icons registered with the stand-in host: %d\n", items
  printf "aims: memory <= 40 MB %s, CPU <= 0.05 %% %s\n", (rss <= 40 ? "met" : "MISSED"), (share <= 0.05 ? "met" : "MISSED")
}'
