#!/usr/bin/env bash
# Builds the benchmarks in release and runs them: a table on the terminal, all figures in
# build/bench/results.json.
#
#   scripts/bench.sh                      the table
#   scripts/bench.sh --gate               exit code 1 where a ratio exceeds its limit
#   scripts/bench.sh --elements=1000000   a larger model; --benchmark_... goes to Google Benchmark
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(cmake ninja-build g++ libboost-dev libutfcpp-dev libbenchmark-dev nlohmann-json3-dev
          protobuf-compiler libprotobuf-dev)
missing=()
for package in "${packages[@]}"; do
  dpkg -s "$package" > /dev/null 2>&1 || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing ${missing[*]}" >&2
  run_as_root=$([ "$(id -u)" -eq 0 ] || echo sudo)
  $run_as_root apt-get update -qq
  $run_as_root apt-get install -y -qq --no-install-recommends "${missing[@]}" > /dev/null
fi

build=build/bench
launcher=$(command -v ccache || true)
cmake -S . -B $build -G Ninja -DCMAKE_BUILD_TYPE=Release -DKR0_BUILD_BENCHMARKS=ON -DKR0_BUILD_TESTS=OFF \
  -DKR0_BUILD_TOOL=OFF -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" > /dev/null
cmake --build $build --target kr0_bench -- --quiet
exec $build/benchmarks/kr0_bench --json=$build/results.json "$@"
