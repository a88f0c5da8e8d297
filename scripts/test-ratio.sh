#!/usr/bin/env bash
# Prints the ratio of test code to product code, in non-blank lines of C++ (and the test
# helpers in Python). Tests are every file under a tests/ folder (simulations in
# tests/support/ included), the fuzz targets, and the demo machine's simulated disk,
# which is a simulator whichever side uses it. Everything else under app/, cli/,
# drivekit/ and platform/ is product code.
# Usage: scripts/test-ratio.sh
set -euo pipefail
cd "$(dirname "$0")/.."

count() { if [[ $# -eq 0 ]]; then echo 0; else cat "$@" | grep -c -v '^[[:space:]]*$' || true; fi; }

mapfile -t all < <(git ls-files app cli drivekit platform fuzz | grep -E '\.(cpp|hpp|py)$')
tests=()
code=()
for file in "${all[@]}"; do
  case "$file" in
    */tests/* | fuzz/* | platform/demo/demo_scsi_disk.*) tests+=("$file") ;;
    *) code+=("$file") ;;
  esac
done
test_lines=$(count "${tests[@]}")
code_lines=$(count "${code[@]}")
awk -v t="$test_lines" -v c="$code_lines" \
  'BEGIN { printf "tests %d lines, code %d lines, ratio %.2f\n", t, c, (c > 0 ? t / c : 0) }'
