#!/usr/bin/env bash
# bench.sh [--compare FILE]: runs every benchmark three times, measures the stripped library, and writes
# one table, out/bench/table.txt, and what it is made from, out/bench/results.json. With --compare, says
# what is slower or larger than in the results.json of an earlier run by more than the noise of both, and
# ends with 1 if anything is. docs/performance.md explains the figures.
set -euo pipefail
cd "$(dirname "$0")/.."
export LC_ALL=C.UTF-8

earlier=
if [ "${1:-}" = --compare ] && [ $# -eq 2 ]; then
    earlier=$(realpath "$2")
    [ -r "$earlier" ] || { echo "bench.sh: cannot read $2" >&2; exit 2; }
elif [ $# -ne 0 ]; then
    echo "usage: bench.sh [--compare FILE]" >&2
    exit 2
fi

out=out/bench
mkdir -p "$out"
cmake --preset release
cmake --build --preset release -j 2 --target quarlo_bench
cmake -S . -B build/size -G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel -DQUARLO_BUILD_APPS=OFF \
    -DQUARLO_BUILD_TESTS=OFF -DQUARLO_BUILD_BENCH=OFF
cmake --build build/size -j 2 --target quarlo
strip -o "$out/libquarlo.so" build/size/lib/libquarlo.so
size -A "$out/libquarlo.so" >"$out/size.txt"

build/release/bench/quarlo_bench --benchmark_min_time=0.1 --benchmark_repetitions=3 \
    --benchmark_format=json >"$out/runs.json"
python3 tools/bench_table.py "$out" ${earlier:+"$earlier"}
