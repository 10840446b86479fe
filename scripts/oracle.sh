#!/usr/bin/env bash
# Holds the library's readers against others that were written in Python from the pages of the formats alone
# (tests/oracle): they must take and refuse the same documents, and read the same content. Golden, sample and random
# documents in all formats, whole and damaged.
#
#   scripts/oracle.sh [INPUTS] [SEED]   20000 inputs with a fixed seed, unless given
#
# Ends with "N passed, M failed".
set -euo pipefail
. "$(dirname "$0")/lib.sh"

cd "$root"
inputs=${1:-20000} seed=${2:-20260113}
share=20000 # inputs of one batch

# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $test_packages libzstd1
KR0_BUILD_TARGET=kr0_oracle_batch build_preset release -DKR0_BUILD_TESTS=ON
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT

# batch <number>: makes and reads one; each has a seed of its own.
batch() {
  build/release/tests/kr0_oracle_batch "$2" "$(($3 + $1))" | tests/oracle/compare.py >"$4/$1" 2>&1 || true
}
export -f batch

count=$(((inputs + share - 1) / share))
echo "== $inputs inputs in $count batches, seed $seed"
seq 0 $((count - 1)) | xargs -P "$jobs" -I {} bash -c 'batch "$@"' bash {} $(((inputs + count - 1) / count)) "$seed" "$logs"

passed=0 failed=0
for number in $(seq 0 $((count - 1))); do
  last=$(tail -n 1 "$logs/$number")
  if [[ $last =~ ^([0-9]+)\ passed,\ ([0-9]+)\ failed$ ]]; then
    passed=$((passed + BASH_REMATCH[1])) failed=$((failed + BASH_REMATCH[2]))
    [ "${BASH_REMATCH[2]}" -eq 0 ] && [ "$number" -gt 0 ] && continue
  else
    failed=$((failed + 1))
  fi
  echo "== batch $number, seed $((seed + number))"
  cat "$logs/$number"
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
