#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan + UBSan) and runs each for a while.
# Every target runs; the script fails if any found a problem, whose input is left in
# build/fuzz/artifacts/.
# Usage: scripts/fuzz.sh [seconds per target, default 60]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
if ! [[ "$seconds" =~ ^[0-9]+$ ]] || [[ "$seconds" -lt 1 ]]; then
  echo "usage: scripts/fuzz.sh [seconds per target]" >&2
  exit 2
fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target fuzz_targets

build=build/fuzz
mkdir -p "$build/artifacts"
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

status=0
while read -r target; do
  [[ -n "$target" ]] || continue
  corpus="$build/corpus/$target"
  mkdir -p "$corpus"
  # A first input of a full page's size, so the fuzzer starts where the decoders read.
  if [[ -z "$(ls -A "$corpus")" ]]; then
    head -c 1100 /dev/urandom >"$corpus/seed"
  fi
  echo "== $target: ${seconds}s"
  if ! "$build/fuzz/$target" -max_total_time="$seconds" -max_len=4096 -timeout=10 \
       -print_final_stats=1 -artifact_prefix="$build/artifacts/$target-" "$corpus" \
       >"$build/$target.log" 2>&1; then
    echo "!! $target found a problem; see $build/$target.log and $build/artifacts/" >&2
    tail -n 40 "$build/$target.log" >&2
    status=1
  else
    grep -E "^stat::(number_of_executed_units|new_units_added)" "$build/$target.log" || true
  fi
done <"$build/fuzz/targets.txt"
exit "$status"
