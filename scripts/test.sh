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
  # The release vantrel carries ICU's code but opens the system's ICU data only when a
  # locale other than plain English asks for it: German grouping shows it was found.
  if ! LANG=de_DE.UTF-8 build/release/cli/vantrel --demo check nvme0n1 | grep -q '(21,44 TB)'; then
    echo "test.sh: the release vantrel formats no German numbers: ICU's data wasn't found" >&2
    exit 1
  fi
  scripts/lab/run-all.sh build/release/cli/vantrel
fi
