#!/usr/bin/env bash
# Changes the code that reads and writes documents in one place at a time, and asks whether a test notices: see mutate.py,
# which this gives its arguments to.
#
#   scripts/mutate.sh                              all mutants
#   scripts/mutate.sh --changed main --seconds 300 those of files that differ from a commit, as many as there is time for
#
# Ends with "N passed, M failed".
set -euo pipefail
. "$(dirname "$0")/lib.sh"

# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $test_packages
cd "$root"
exec python3 scripts/mutate.py --jobs "$jobs" "$@"
