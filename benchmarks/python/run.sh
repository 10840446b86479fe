#!/usr/bin/env bash
# Builds what benchmarks/python/measure.py compares, and runs it. Exit code 1 where a limit is exceeded.
#
#   benchmarks/python/run.sh [SIZE]   100000 items unless given
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"

# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $python_packages protobuf-compiler libprotobuf-dev python3-protobuf python3-lxml
cd "$root"
build=build/bench
cmake -S . -B $build -G Ninja -DCMAKE_BUILD_TYPE=Release -DKR0_BUILD_BENCHMARKS=ON -DKR0_BUILD_TESTS=OFF \
  -DKR0_BUILD_TOOL=ON -DKR0_BUILD_PYTHON=ON -DCMAKE_CXX_COMPILER_LAUNCHER="$(command -v ccache || true)" >/dev/null
cmake --build $build --target kr0_bench_files kr0_python -j "$jobs" >$build/build.log 2>&1 || { cat $build/build.log >&2 && exit 1; }
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
protoc -I benchmarks --python_out="$folder" benchmarks/items.proto
python=$(sed -n 's/^Python3_EXECUTABLE:[A-Z]*=//p' $build/CMakeCache.txt)
PYTHONPATH=$build/python "$python" benchmarks/python/measure.py "$folder" $build/benchmarks/kr0_bench_files "${1:-100000}"
