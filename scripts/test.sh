#!/usr/bin/env bash
# Installs what is missing, builds the release preset and runs its tests but the slow ones and those in a browser, which
# .ci/run and scripts/nightly.sh add.
# Arguments go to ctest (-R name, for one).
set -euo pipefail
. "$(dirname "$0")/lib.sh"

# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $test_packages
# shellcheck disable=SC2086
install_packages $python_packages || echo "== the Python package is built and tested as far as what it needs is there"
build_preset release -DKR0_BUILD_TESTS=ON -DKR0_BUILD_PYTHON=ON -DKR0_BUILD_REPORT=ON
cd "$root/build/release"
ctest -LE "slow|nightly|page" --no-tests=error --output-on-failure -j "$jobs" "$@"
