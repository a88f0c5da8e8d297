#!/usr/bin/env bash
# Prints the ratio of test code to product code, in non-blank lines of C++ (and the test
# helpers in Python). Tests are every file under a tests/ folder (simulations in
# tests/support/ included), the fuzz targets, and the one simulated ATA disk
# (platform/demo/sim_ata_disk.*), which the demo machine shares with the tests.
# Everything else under app/, cli/, desktop/, drivekit/, platform/, reports/ and service/ is
# product code.
# With folders as arguments (platform drivekit/usb), the ratio of each folder alone.
# Usage: scripts/test-ratio.sh
set -euo pipefail
cd "$(dirname "$0")/.."

count() { if [[ $# -eq 0 ]]; then echo 0; else cat "$@" | grep -c -v '^[[:space:]]*$' || true; fi; }

ratio() {
local label=$1
shift
mapfile -t all < <(git ls-files "$@" | grep -E '\.(cpp|hpp|py)$')
tests=()
code=()
for file in "${all[@]}"; do
  case "$file" in
    */tests/* | fuzz/* | platform/demo/sim_ata_disk.*) tests+=("$file") ;;
    *) code+=("$file") ;;
  esac
done
test_lines=$(count "${tests[@]}")
code_lines=$(count "${code[@]}")
awk -v t="$test_lines" -v c="$code_lines" -v w="$label" \
  'BEGIN { printf "%s: tests %d lines, code %d lines, ratio %.2f\n", w, t, c, (c > 0 ? t / c : 0) }'
}

if [[ $# -eq 0 ]]; then
  ratio all app cli desktop drivekit platform reports service fuzz
else
  for folder in "$@"; do ratio "$folder" "$folder"; done
fi
