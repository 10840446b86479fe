#!/usr/bin/env bash
# Real models in our binary formats, beside EMF on the JVM and pugixml: prints one table.
# docs/benchmarks/real-models.md says what is measured.
#
#   benchmarks/real/run.sh [BUILD [JSON]]
#   benchmarks/real/run.sh --gate BUILD [JSON]   only the ratios with a limit, from a program that is built
#                                                already; exit code 1 where one is exceeded
#
# BUILD is the build folder, build/bench unless given; JSON gets all figures as a list. What is missing
# (models, xz, a JDK, EMF's jars) is skipped, visibly.
# Environment: KR0_MODELS, the folder of models; KR0_JARS, the folder of EMF's jars.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
gate=no
if [ "${1:-}" = --gate ]; then gate=yes; shift; fi
build=${1:-$root/build/bench}
json=${2:-}
models=${KR0_MODELS:-$root/../shared/models}
jars=${KR0_JARS:-/usr/share/java}

skip() { printf 'skipped    %s\n' "$*"; }

if [ ! -d "$models" ]; then
  skip "everything: there is no folder of models $models"
  [ -z "$json" ] || echo '[]' > "$json"
  exit 0
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

build_bench() {
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKR0_BUILD_BENCHMARKS=ON \
    -DKR0_BUILD_TOOL=ON -DKR0_BUILD_TESTS=OFF \
    -DCMAKE_CXX_COMPILER_LAUNCHER="$(command -v ccache || true)" > "$work/build.log" &&
    cmake --build "$build" --target kr0_bench_real -j "${KR0_JOBS:-$(nproc)}" >> "$work/build.log" 2>&1
}

# unpack <model>: prints the path of its document
unpack() {
  local unpacked
  if [ "${1%.xz}" = "$1" ]; then echo "$models/$1"; return; fi
  unpacked=$work/$(basename "${1%.xz}")
  xz -dc "$models/$1" > "$unpacked" && echo "$unpacked"
}

# The list for both programs: name, document, meta model.
list_models() {
  local model meta document
  while read -r model meta; do
    if [ ! -f "$models/$model" ] || [ ! -f "$models/$meta" ]; then
      skip "$model: not in the folder of models"
    elif ! document=$(unpack "$model"); then
      skip "$model: cannot unpack"
    else
      printf '%s\t%s\t%s\n' "$(basename "$document")" "$document" "$models/$meta" >> "$work/list.tsv"
    fi
  done < <(grep -v '^#' "$here/models.txt")
}

# What keeps EMF from being measured, or nothing.
missing_for_emf() {
  local jar
  command -v javac > /dev/null || { echo 'there is no JDK (javac)'; return; }
  for jar in common ecore ecore-xmi; do
    [ -f "$jars/eclipse-emf-$jar.jar" ] || { echo "$jars/eclipse-emf-$jar.jar is missing"; return; }
  done
}

# emf_bench <argument...>: one JVM with fixed memory and a collector that does not take the second core.
emf_bench() {
  local class_path=$work:$jars/eclipse-emf-common.jar:$jars/eclipse-emf-ecore.jar:$jars/eclipse-emf-ecore-xmi.jar
  javac -Xlint:all -cp "$class_path" -d "$work" "$here/EmfBench.java"
  java -Xms3g -Xmx3g -Xmn1g -XX:+UseSerialGC -cp "$class_path" EmfBench "$@"
}

measure_gate() {
  local missing pipes=()
  missing=$(missing_for_emf)
  if [ -n "$missing" ]; then
    skip "EMF: $missing"
  else
    mkfifo "$work/to" "$work/from"
    emf_bench --serve "$work/list.tsv" < "$work/to" > "$work/from" &
    pipes=("$work/to" "$work/from")
  fi
  "$bench" gate "$work/list.tsv" "$json" ${pipes[@]+"${pipes[@]}"}
}

[ $gate = yes ] || build_bench || { cat "$work/build.log" >&2; exit 1; }
bench=$build/benchmarks/real/kr0_bench_real
: > "$work/list.tsv"
list_models
if [ $gate = yes ]; then measure_gate; exit; fi
echo "$(nproc) CPUs, load $(cut -d ' ' -f 1-3 /proc/loadavg), $(c++ --version | head -n 1)"
"$bench" prepare "$work/list.tsv" "$work"
missing=$(missing_for_emf)
if [ -n "$missing" ]; then skip "EMF: $missing"; else emf_bench "$work/list.tsv" "$work"; fi
"$bench" measure "$work/list.tsv" "$work" "$json"
