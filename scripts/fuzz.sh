#!/usr/bin/env bash
# Fuzzes the readers and writers (fuzz/README.md): builds the targets, replays the inputs that are kept against the edges
# that they must reach, then looks for new ones.
#
#   scripts/fuzz.sh [OPTION...] [TARGET...] [SECONDS]   these targets (all), 20 seconds each unless given
#
#     --all-for SECONDS   shares that time among the targets in turns, and goes round until it is over
#     --jobs N            how many run side by side: 2
#     --replay            only replays what is kept
#     --update            merges what runs have found, this one and earlier ones, into what is kept, and sets the floors
#     --seeds             makes the seeds anew, before all else
#     --seed N            where chance begins; printed
#     --built             takes build/fuzz as it is
#     --build-only        builds, and no more
#
# What is found is in build/fuzz/: found/TARGET/ new inputs, artifacts/TARGET-* what broke a promise, logs/TARGET.log.
# Ends with "N passed, M failed".
set -euo pipefail
. "$(dirname "$0")/lib.sh"

cd "$root"
build="$root/build/fuzz"
seconds=20 total=0 side_by_side=2 do_build=1 do_run=1 do_replay=1 do_update=0 do_seeds=0
seed=$(date +%s)
targets=()
slice=120 # seconds of a turn; each begins by replaying

read_arguments() {
  while [ $# -gt 0 ]; do
    case $1 in
      --all-for) total=$2 && shift ;;
      --jobs) side_by_side=$2 && shift ;;
      --seed) seed=$2 && shift ;;
      --replay) do_run=0 ;;
      --update) do_update=1 ;;
      --seeds) do_seeds=1 ;;
      --built) do_build=0 ;;
      --build-only) do_run=0 do_replay=0 ;;
      -*) echo "$0: no option $1" >&2 && exit 2 ;;
      *[!0-9]*) targets+=("$1") ;;
      *) seconds=$1 ;;
    esac
    shift
  done
  [ ${#targets[@]} -gt 0 ] || mapfile -t targets < <(grep -oE '^[a-z_]+' fuzz/targets.txt)
  local target
  for target in "${targets[@]}"; do
    grep -qE "^$target " fuzz/targets.txt || { echo "$0: no target $target in fuzz/targets.txt" >&2 && exit 2; }
  done
}

# field <target> <2: longest input, 3: floor>
field() { awk -v target="$1" -v field="$2" '$1 == target { print $field }' fuzz/targets.txt; }

build_targets() {
  # shellcheck disable=SC2086 # the lists are words
  install_packages $build_packages $test_packages $fuzz_packages
  export CCACHE_SLOPPINESS=pch_defines,time_macros
  local launcher=()
  if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
  echo "== building fuzz"
  cmake --preset fuzz "${launcher[@]}" >/dev/null
  cmake --build build/fuzz -j "$jobs" --target "${targets[@]/#/fuzz_}" kr0_fuzz_seeds
}

unpack_corpus() {
  rm -rf "$build/corpus/$1"
  mkdir -p "$build/corpus/$1" "$build/found/$1" "$build/artifacts" "$build/logs"
  if [ -f "fuzz/corpus/$1.tar.zst" ]; then zstd -dcq "fuzz/corpus/$1.tar.zst" | tar -x -C "$build/corpus/$1"; fi
}

# Bytes that depend on nothing but the inputs.
pack_corpus() {
  mkdir -p fuzz/corpus
  tar -c --sort=name --mtime=@0 --owner=0 --group=0 --numeric-owner --mode=a=r,u+w --format=ustar -C "$2" -T <(cd "$2" && ls) |
    zstd -19 -qfo "fuzz/corpus/$1.tar.zst"
}

# libfuzzer <target> [arguments...]
libfuzzer() {
  local target=$1 options=()
  shift
  if [ -f "fuzz/dictionaries/$target.dict" ]; then options+=("-dict=fuzz/dictionaries/$target.dict"); fi
  "$build/fuzz/fuzz_$target" "${options[@]}" -max_len="$(field "$target" 2)" -timeout=20 -rss_limit_mb=2048 \
    -artifact_prefix="$build/artifacts/$target-" "$@"
}

# edges_of <target> <folder>: how many edges the inputs of a folder reach; nothing where one of them breaks a promise.
edges_of() {
  libfuzzer "$1" -runs=0 "$2" >"$build/logs/$1.replay.log" 2>&1 || return 0
  sed -nE 's/^#[0-9]+[[:space:]]+(INITED|DONE)[[:space:]]+cov: ([0-9]+) .*/\2/p' "$build/logs/$1.replay.log" | tail -n 1
}

replay() {
  local edges floor count
  edges=$(edges_of "$1" "$build/corpus/$1")
  floor=$(field "$1" 3)
  count=$(find "$build/corpus/$1" -type f | wc -l)
  if [ "${edges:-0}" -ge "$floor" ]; then
    printf '%-16s %5d inputs reach %5d edges, at least %d\n' "$1" "$count" "$edges" "$floor"
    passed=$((passed + 1))
  elif [ -n "$edges" ]; then
    printf '%-16s %5d inputs reach %5d edges, FEWER THAN %d\n' "$1" "$count" "$edges" "$floor"
    failed=$((failed + 1))
  else
    printf '%-16s BREAKS A PROMISE, see %s\n' "$1" "$build/logs/$1.replay.log"
    tail -n 40 "$build/logs/$1.replay.log"
    failed=$((failed + 1))
  fi
}

# run <target> <seconds>: leaves the log; a table of all is made of these.
run() {
  local status=0
  libfuzzer "$1" -max_total_time="$2" -seed="$seed" -print_final_stats=1 -reload=0 \
    "$build/found/$1" "$build/corpus/$1" >"$build/logs/$1.log" 2>&1 || status=$?
  echo "exit code: $status" >>"$build/logs/$1.log"
  if [ "$status" -eq 72 ]; then # as libFuzzer says it
    echo "$1 was interrupted from outside"
  elif [ "$status" -ne 0 ]; then
    cp "$build/logs/$1.log" "$build/artifacts/$1-$seed.log"
    echo "$1 found something, see $build/artifacts/$1-$seed.log:"
    grep -aE 'broken rule|ERROR: |SUMMARY: |runtime error|Test unit written' -A 1 "$build/logs/$1.log" | head -n 12
  fi
}

# show <target> <findings before>: a line of the table.
show() {
  local log="$build/logs/$1.log" executions edges found
  executions=$(sed -nE 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  edges=$(sed -nE 's/^#[0-9]+.* cov: ([0-9]+) .*/\1/p' "$log" | tail -n 1)
  found=$(find "$build/artifacts" -name "$1-*" ! -name '*.log' | wc -l)
  printf '%-16s %12s %8s %8d %9d\n' "$1" "${executions:-?}" "${edges:-?}" "$(find "$build/found/$1" -type f | wc -l)" "$found"
  if grep -q '^exit code: 0$' "$log"; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
}

export -f run libfuzzer field
export build seed

run_all() {
  echo "== $1 s each, $side_by_side side by side, chance begins at $seed"
  printf '%s\n' "${targets[@]}" | xargs -P "$side_by_side" -I {} bash -euc 'run "$@"' bash {} "$1"
  printf '%-16s %12s %8s %8s %9s\n' target executions edges "new" findings
  local target
  for target in "${targets[@]}"; do show "$target"; done
}

# In turns, so that each has had its share whenever it is stopped.
run_in_turns() {
  local end=$((SECONDS + total)) turn
  while [ $SECONDS -lt $end ]; do
    turn=$(((end - SECONDS) * side_by_side / ${#targets[@]}))
    [ "$turn" -le "$slice" ] || turn=$slice
    [ "$turn" -ge 5 ] || break
    run_all "$turn"
    seed=$((seed + 1))
  done
}

# What is kept and what was found, reduced to what reaches all that they reach. Other releases of compiler and library
# have other edges, since they inline in other ways: a floor leaves one in twenty for that.
update() {
  local merged="$build/merged/$1" edges floor
  rm -rf "$merged" && mkdir -p "$merged"
  if ! libfuzzer "$1" -merge=1 "$merged" "$build/corpus/$1" "$build/found/$1" >"$build/logs/$1.merge.log" 2>&1; then
    echo "$1: cannot be merged, see $build/logs/$1.merge.log"
    failed=$((failed + 1))
    return 0
  fi
  pack_corpus "$1" "$merged"
  edges=$(edges_of "$1" "$merged")
  floor=$((${edges:-0} * 95 / 100))
  awk -v target="$1" -v floor="$floor" '$1 == target { $3 = floor } { print }' fuzz/targets.txt >"$build/targets.txt"
  cp "$build/targets.txt" fuzz/targets.txt
  echo "$1: $(find "$merged" -type f | wc -l) inputs reach ${edges:-?} edges, $(stat -c %s "fuzz/corpus/$1.tar.zst") bytes packed"
}

passed=0 failed=0
read_arguments "$@"
if [ "$do_build" -eq 1 ]; then build_targets; fi
for target in "${targets[@]}"; do unpack_corpus "$target"; done
if [ "$do_seeds" -eq 1 ]; then
  for target in "${targets[@]}"; do "$build/fuzz/kr0_fuzz_seeds" "$target" "$build/found/$target"; done
fi
if [ "$do_replay" -eq 1 ]; then
  echo "== what is kept"
  for target in "${targets[@]}"; do replay "$target"; done
fi
if [ "$do_run" -eq 1 ]; then
  if [ "$total" -gt 0 ]; then run_in_turns; else run_all "$seconds"; fi
fi
if [ "$do_update" -eq 1 ]; then
  echo "== merging"
  for target in "${targets[@]}"; do update "$target"; done
fi
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
