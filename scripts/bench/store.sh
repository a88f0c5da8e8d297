#!/usr/bin/env bash
# What the drive store costs: the mean time of a whole refresh pass on the demo machine
# (read, history, plan, readings and shared files written) and of the read alone, and the
# allocations of one tick of the speed sampler (the aim is none). Builds the benchmark in
# its own release tree.
#
#   scripts/bench/store.sh [PASSES]     (default 50)
set -euo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
build="$root/build/bench"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVANTREL_TESTS=OFF -DVANTREL_BENCHMARKS=ON \
    ${CMAKE_CXX_COMPILER_LAUNCHER:+-DCMAKE_CXX_COMPILER_LAUNCHER=$CMAKE_CXX_COMPILER_LAUNCHER} >/dev/null
cmake --build "$build" --target store_bench >/dev/null
"$build/app/store/store_bench" "${1:-50}"
