# shellcheck shell=bash
# What .ci/run and scripts/nightly.sh are made of; to be sourced by bash after scripts/lib.sh.

passed=0 failed=0
failures=$(mktemp -d) # the logs of stages that failed
trap 'rm -rf "$failures"' EXIT

# Adds up "3 passed, 1 failed ..." or ctest's "90% tests passed, 1 tests failed out of 10".
count() {
  local log=$1 status=$2 good=0 bad=0
  if [[ $(grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -n 1) =~ passed,\ ([0-9]+)\ tests?\ failed\ out\ of\ ([0-9]+) ]]; then
    bad=${BASH_REMATCH[1]} good=$((BASH_REMATCH[2] - BASH_REMATCH[1]))
  elif [[ $(grep -E '^[0-9]+ passed, [0-9]+ failed' "$log" | tail -n 1) =~ ^([0-9]+)\ passed,\ ([0-9]+)\ failed ]]; then
    good=${BASH_REMATCH[1]} bad=${BASH_REMATCH[2]}
  fi
  # A stage that failed without naming a test (it did not build) counts as one failure, and so does
  # one that ran nothing and does not say that it skipped.
  if [ "$bad" -eq 0 ] && [ "$status" -ne 0 ]; then bad=1; fi
  if [ "$good" -eq 0 ] && [ "$bad" -eq 0 ] && ! grep -qE '^0 passed, 0 failed, [1-9]' "$log"; then bad=1; fi
  passed=$((passed + good)) failed=$((failed + bad))
}

# stage <name> <command...>
stage() {
  local name=$1 log status begin=$SECONDS before=$failed
  shift
  log=$(mktemp)
  echo "=== $name"
  "$@" 2>&1 | tee "$log"
  status=${PIPESTATUS[0]}
  count "$log" "$status"
  if [ "$failed" -eq "$before" ]; then rm -f "$log"; else mv "$log" "$failures/$name"; fi
  echo "=== $name: exit code $status after $((SECONDS - begin)) s"
}

# test_preset <preset>: builds it and runs its tests, but for the slow ones, which compile generated code and look at
# pages: they are the same whatever built the rest.
test_preset() { build_preset "$1" && ctest --test-dir "build/$1" -LE "slow|nightly|page" --no-tests=error --output-on-failure -j "$jobs"; }

# What failed once more, where it is found: lines that name what failed, and the end of its stage's log.
repeat_failures() {
  local log
  for log in "$failures"/*; do
    [ -f "$log" ] || continue
    echo "=== failed: ${log##*/}"
    grep -aE '\*\*\*Failed|\*\*\*Timeout|\*\*\*Exception|: Failure$|FAILED|^FAIL|error:|TOO MUCH|found something|FEWER THAN|BREAKS' "$log" |
      head -n 30
    echo "--- its last lines"
    tail -n 30 "$log"
  done
}

# What failed, the last line, and the exit code.
sums() {
  repeat_failures
  echo "$passed passed, $failed failed"
  [ "$failed" -eq 0 ]
}
