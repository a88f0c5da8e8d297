#!/usr/bin/env bash
# Every test: installs what is missing, builds the tests with AddressSanitizer and
# UndefinedBehaviorSanitizer (warnings are errors), runs them, then runs the hardware-lab
# checks under QEMU against the real kernel drivers. With clang, every fuzz target runs
# for a few seconds too.
# Usage: scripts/test.sh [--no-lab]
set -euo pipefail
cd "$(dirname "$0")/.."
lab=1
[[ "${1:-}" == "--no-lab" ]] && lab=0

if [[ $lab -eq 1 ]]; then scripts/install-deps.sh --lab; else scripts/install-deps.sh; fi

cmake --preset asan >/dev/null
cmake --build --preset asan
ctest --preset asan -j2

# Every libFuzzer target briefly where clang is there to build them: 5 s each, some
# 90 s of runs after the fuzz build;
# scripts/fuzz.sh alone runs them longer.
if command -v clang++ >/dev/null; then
  scripts/fuzz.sh 5
fi

if [[ $lab -eq 1 ]]; then
  cmake --preset release >/dev/null
  cmake --build --preset release --target vantrel
  scripts/lab/run-all.sh build/release/cli/vantrel
fi
