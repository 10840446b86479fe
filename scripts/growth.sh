#!/usr/bin/env bash
# Growth of work: runs readers and writers on documents of n, 2n, 4n and 8n, counts instructions (which are the
# same on a busy machine, where seconds are not) and prints how much more each doubling costs. More than kMost for
# the last one fails. The last line is "N passed, M failed"; exit code 0 only where M is 0.
#
#   scripts/growth.sh [PART OF A NAME]    only the cases whose names have it
#
# KR0_GROWTH_PRESET takes another build than "release".
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

preset=${KR0_GROWTH_PRESET:-release}
# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $test_packages valgrind
if [ -z "${KR0_GROWTH_PROGRAM:-}" ]; then
  (cd "$root" && cmake --preset "$preset" >/dev/null)
  cmake --build "$root/build/$preset" -j "$jobs" --target kr0_growth >/dev/null
fi
program=${KR0_GROWTH_PROGRAM:-$root/build/$preset/tests/kr0_growth}

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
echo "== counting the instructions of $("$program" list | wc -l) cases at four sizes"

# One process for each core, each with every n-th case; the profiler writes a file after each counted call.
for part in $(seq 0 $((jobs - 1))); do
  mkdir "$folder/$part"
  (cd "$folder/$part" && valgrind --tool=callgrind --callgrind-out-file=counts --collect-atstart=no \
    --toggle-collect=growthOfWork --dump-after=growthOfWork --compress-strings=no \
    "$program" run "$part" "$jobs" "${1:-}" >calls 2>messages || touch failed) &
done
wait

python3 "$root/scripts/growth.py" "$folder"
