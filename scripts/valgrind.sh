#!/usr/bin/env bash
# Runs test programs, and readers over documents whole and damaged, under valgrind's memory checker: reading memory that
# was not written, using what is freed, and leaks fail.
#
#   scripts/valgrind.sh [PROGRAM...]   these test programs (test_direct ...), all that are named below unless given
#
# Tests that let requests for memory fail or count them are left out: under valgrind their own operator new is not called,
# and they say so by failing. So are those that measure time or take millions of documents.
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
left_out='*Memory*:*Fault*:*Bytes*Allocat*:*Alloc*:*Depth*:*Deep*:*Proportion*:*Scale*:*Growth*:*RealM*:*Mutants*:*EveryByte*:*Every*Four*:Damage*:*Random*:*Truncation*:*Bounds*:*Collid*'

[ $# -gt 0 ] || set -- test_errors test_values test_direct test_sylvan test_grammar test_framework test_ecore test_json \
  test_tables test_archive test_inspect test_compare test_evolution test_study test_roundtrip documents

# check <program>
check() {
  local command=("$build/tests/$1" --gtest_brief=1 "--gtest_filter=-$left_out") status=0 begin=$SECONDS
  # 600 documents of each format, a third of them damaged.
  if [ "$1" = documents ]; then command=("$build/tests/kr0_oracle_batch" 2000 1); fi
  valgrind -q --error-exitcode=99 --leak-check=full --show-leak-kinds=definite,indirect \
    --errors-for-leak-kinds=definite,indirect --num-callers=20 --log-file="$logs/$1.valgrind" \
    "${command[@]}" >"$logs/$1.out" 2>&1 || status=$?
  if [ "$status" -eq 0 ]; then
    echo "$1: nothing found in $((SECONDS - begin)) s" && touch "$logs/$1.good"
  else
    echo "$1: exit code $status" && head -n 60 "$logs/$1.valgrind" && grep -A8 -E 'Failure|FAILED' "$logs/$1.out" | head -n 40
  fi
}
export -f check
export build logs left_out

echo "== running $# programs under valgrind"
printf '%s\n' "$@" | xargs -P "$jobs" -I {} bash -c 'check "$@"' bash {}
good=$(find "$logs" -name '*.good' | wc -l)
echo "$good passed, $(($# - good)) failed"
[ "$good" -eq $# ]
