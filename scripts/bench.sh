#!/usr/bin/env bash
# Installs what is missing, builds the benchmarks in release and runs them: tables on the terminal, all
# figures in build/bench/results.json. docs/benchmarks/README.md says what is measured and how.
#
#   scripts/bench.sh                  everything, in less than ten minutes on two cores
#   scripts/bench.sh --page           the same, and puts table and chart into docs/benchmarks/
#   scripts/bench.sh --gate           only the ratios with a limit; exit code 1 where one is exceeded
#   scripts/bench.sh --large          10,000,000 elements once: seconds and peak of memory (needs 10 GB)
set -euo pipefail
. "$(dirname "$0")/lib.sh"

bench_packages="protobuf-compiler libprotobuf-dev"
peer_packages="libflatbuffers-dev flatbuffers-compiler libcapnp-dev capnproto libmsgpack-cxx-dev
  libboost-serialization-dev libcereal-dev libcbor-dev"
emf_packages="default-jdk-headless libeclipse-emf-common-java libeclipse-emf-ecore-java libeclipse-emf-ecore-xmi-java xz-utils"

only='' page=no
for option in "$@"; do
  case $option in
    --gate | --large) only=$option ;;
    --page) page=yes ;;
    *) echo "$0: unknown option $option" >&2; exit 2 ;;
  esac
done

# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $bench_packages python3
# A peer that is not there is left out, and the report names it.
# shellcheck disable=SC2086
install_packages $peer_packages || true
# shellcheck disable=SC2086
install_packages $emf_packages || true
cd "$root"
build=build/bench
mkdir -p $build
cmake -S . -B $build -G Ninja -DCMAKE_BUILD_TYPE=Release -DKR0_BUILD_BENCHMARKS=ON -DKR0_BUILD_TESTS=OFF \
  -DKR0_BUILD_TOOL=ON -DCMAKE_CXX_COMPILER_LAUNCHER="$(command -v ccache || true)" > /dev/null
targets=kr0_bench
[ -n "$only" ] || targets="$targets kr0_bench_peers"
# The compiler's warnings would bury the tables; they are the tests' business. Its errors are shown.
# shellcheck disable=SC2086
if ! cmake --build $build --target $targets -j "$jobs" > $build/build.log 2>&1; then
  cat $build/build.log >&2
  exit 1
fi
[ -z "$only" ] || exec $build/benchmarks/kr0_bench "$only" --json=$build/gate.json

load=$(cut -d ' ' -f 1 /proc/loadavg)
echo "== the peers, workload by workload"
$build/benchmarks/peers/kr0_bench_peers --json=$build/peers.json
echo "== real models"
benchmarks/real/run.sh $build $build/real.json
$build/benchmarks/kr0_bench --limits > $build/limits.md
into_page=()
[ $page = no ] || into_page=(--chart=docs/benchmarks/library.svg --page=docs/benchmarks/README.md
  --real-page=docs/benchmarks/real-models.md)
python3 benchmarks/report.py --peers=$build/peers.json --limits=$build/limits.md --real=$build/real.json \
  --load="$load" --out=$build/results.json ${into_page[@]+"${into_page[@]}"}
