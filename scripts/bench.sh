#!/usr/bin/env bash
# Installs what is missing, builds the benchmarks in release and runs them: a table on the terminal, all
# figures in build/bench/results.json. benchmarks/README.md says what is measured.
#
#   scripts/bench.sh                      the table
#   scripts/bench.sh --gate               exit code 1 where a ratio exceeds its limit
#   scripts/bench.sh --elements=1000000   a larger model; --benchmark_... goes to Google Benchmark
set -euo pipefail
. "$(dirname "$0")/lib.sh"

bench_packages="libbenchmark-dev protobuf-compiler libprotobuf-dev libmsgpack-cxx-dev"

# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $bench_packages
cd "$root"
build=build/bench
mkdir -p $build
cmake -S . -B $build -G Ninja -DCMAKE_BUILD_TYPE=Release -DKR0_BUILD_BENCHMARKS=ON -DKR0_BUILD_TESTS=OFF \
  -DKR0_BUILD_TOOL=OFF -DCMAKE_CXX_COMPILER_LAUNCHER="$(command -v ccache || true)" > /dev/null
# The compiler's warnings would bury the table; they are the tests' business. Its errors are shown.
if ! cmake --build $build --target kr0_bench -j "$jobs" > $build/build.log 2>&1; then
  cat $build/build.log >&2
  exit 1
fi
exec $build/benchmarks/kr0_bench --json=$build/results.json "$@"
