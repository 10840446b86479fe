#!/usr/bin/env bash
# Looks for races with ThreadSanitizer: threads that share meta models and models, read and write all formats
# (tests/threads), and use everything for the first time at once. Builds only what they need.
#
#   scripts/tsan.sh [SECONDS]   of sharing, 30 unless given; then 10 programs that begin anew
#
# Ends with "N passed, M failed".
set -euo pipefail
. "$(dirname "$0")/lib.sh"

cd "$root"
passed=0 failed=0
program=build/tsan/tests/kr0_test_threads

# check <what> <command...>
check() {
  local what=$1 log status=0
  shift
  log=$("$@" 2>&1) || status=$?
  if [ "$status" -eq 0 ]; then
    passed=$((passed + 1))
    echo "passed: $what: $(tail -n 1 <<<"$log")"
  else
    failed=$((failed + 1))
    echo "FAILED: $what"
    head -n 100 <<<"$log"
  fi
}

sees_a_race() { ! TSAN_OPTIONS=halt_on_error=1 "$program" --race >/dev/null 2>&1; }

# shellcheck disable=SC2086 # the list is words
install_packages $build_packages libgtest-dev libgmock-dev
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
echo "== building the threads"
cmake --preset tsan -DCMAKE_UNITY_BUILD=ON "${launcher[@]}" >/dev/null
cmake --build build/tsan -j "$jobs" --target kr0_test_threads >/dev/null
check "a race is seen" sees_a_race
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
check "sharing" "$program" "${1:-30}"
for run in 1 2 3 4 5 6 7 8 9 10; do check "first use, $run" "$program" 0; done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
