#!/usr/bin/env bash
# Installs what is missing, builds the release preset and runs all tests. Arguments go to ctest
# (-R name, for one).
set -euo pipefail
. "$(dirname "$0")/lib.sh"

# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $test_packages
build_preset release -DKR0_BUILD_TESTS=ON
cd "$root/build/release"
ctest --no-tests=error --output-on-failure -j "$jobs" "$@"
