#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan + UBSan) and runs each for a while.
# Every target runs; the script fails if any found a problem, whose input is left in
# build/fuzz/artifacts/. Each target starts from its seeds in fuzz/corpus/<target>/ and
# the corpus earlier runs grew in build/fuzz/corpus/<target>/.
# Usage: scripts/fuzz.sh [seconds per target, default 60] [--runs=N] [TARGET...]
#   --runs=N  run each target for N executions instead of a time
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=60
runs=""
only=()
for arg in "$@"; do
  case "$arg" in
    --runs=*) runs="${arg#--runs=}" ;;
    *_fuzz) only+=("$arg") ;;
    *) seconds="$arg" ;;
  esac
done
if ! [[ "$seconds" =~ ^[0-9]+$ ]] || [[ "$seconds" -lt 1 ]] || ! [[ "$runs" =~ ^[0-9]*$ ]]; then
  echo "usage: scripts/fuzz.sh [seconds per target] [--runs=N] [TARGET...]" >&2
  exit 2
fi

launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake --preset fuzz "${launcher[@]}" >/dev/null
cmake --build --preset fuzz --target fuzz_targets

build=build/fuzz
mkdir -p "$build/artifacts"
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
if [[ -n "$runs" ]]; then limit=(-runs="$runs"); else limit=(-max_total_time="$seconds"); fi

status=0
while read -r target; do
  [[ -n "$target" ]] || continue
  if [[ ${#only[@]} -gt 0 ]] && [[ ! " ${only[*]} " =~ " $target " ]]; then continue; fi
  corpus="$build/corpus/$target"
  seeds="fuzz/corpus/$target"
  mkdir -p "$corpus"
  dirs=("$corpus")
  if [[ -d "$seeds" ]]; then
    dirs+=("$seeds")
  elif [[ -z "$(ls -A "$corpus")" ]]; then
    # No seeds kept: a first input of a full page's size, where the decoders read.
    head -c 1100 /dev/urandom >"$corpus/seed"
  fi
  echo "== $target: ${runs:+$runs runs}${runs:-${seconds}s}"
  if ! "$build/fuzz/$target" "${limit[@]}" -max_len=4096 -timeout=10 -rss_limit_mb=2048 \
       -print_final_stats=1 -artifact_prefix="$build/artifacts/$target-" "${dirs[@]}" \
       >"$build/$target.log" 2>&1; then
    echo "!! $target found a problem; see $build/$target.log and $build/artifacts/" >&2
    tail -n 40 "$build/$target.log" >&2
    status=1
  else
    grep -E "^stat::(number_of_executed_units|new_units_added)" "$build/$target.log" || true
  fi
done <"$build/fuzz/targets.txt"
exit "$status"
