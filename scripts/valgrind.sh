#!/usr/bin/env bash
# Runs test programs, and readers over documents whole and damaged, under valgrind's memory checker: reading memory that
# was not written, using what is freed, and leaks fail.
#
#   scripts/valgrind.sh [PROGRAM...]   these test programs (test_direct ...), all that are named below unless given
#
# Tests in tests/valgrind/left_out.txt are left out. Takes 5 minutes on 2 cores.
# Ends with "N passed, M failed": a program each.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

cd "$root"
# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $test_packages valgrind
export KR0_MUTANTS=200 KR0_CHAINS=5 KR0_SEQUENCES=500 # of tests that take damage at random
build_preset release -DKR0_BUILD_TESTS=ON
cmake --build build/release -j "$jobs" --target kr0_oracle_batch >/dev/null
build="$root/build/release"
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT

echo "--gtest_filter=-$(grep -v '^#' tests/valgrind/left_out.txt | paste -sd :)" >"$logs/flags"

[ $# -gt 0 ] || set -- test_ecore test_evolution test_direct test_tables test_archive documents test_framework test_json \
  test_inspect test_compare test_study test_roundtrip test_sylvan test_grammar test_errors test_values

g++ -O1 -g1 -shared -fPIC tests/valgrind/operator_new.cpp -o "$logs/new.so"

# watched <log> <command...>
watched() {
  local log=$1
  shift
  LD_PRELOAD="$logs/new.so" valgrind -q --soname-synonyms=somalloc=nouserintercepts --error-exitcode=99 --leak-check=full \
    --show-leak-kinds=definite,indirect --errors-for-leak-kinds=definite,indirect --num-callers=20 \
    --suppressions=tests/valgrind/suppressions.txt --log-file="$log" "$@"
}

# check <program>
check() {
  local command=("$build/tests/$1" --gtest_brief=1 "--gtest_flagfile=$logs/flags") status=0 begin=$SECONDS
  # 200 documents of each format and as many damaged ones.
  if [ "$1" = documents ]; then command=("$build/tests/kr0_oracle_batch" 1200 1); fi
  watched "$logs/$1.valgrind" "${command[@]}" >"$logs/$1.out" 2>&1 || status=$?
  if [ "$status" -eq 0 ]; then
    echo "$1: nothing found in $((SECONDS - begin)) s" && touch "$logs/$1.good"
  else
    echo "$1: exit code $status" && head -n 60 "$logs/$1.valgrind" && grep -A8 -E 'Failure|FAILED' "$logs/$1.out" | head -n 40
  fi
}
export -f check watched
export build logs

echo "== running $# programs under valgrind"
printf '%s\n' "$@" | xargs -P "$jobs" -I {} bash -c 'check "$@"' bash {}
good=$(find "$logs" -name '*.good' | wc -l)
echo "$good passed, $(($# - good)) failed"
[ "$good" -eq $# ]
