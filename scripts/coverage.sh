#!/usr/bin/env bash
# Builds everything with clang 19, warnings as errors, runs the fast tests, and prints by folder which share of lines
# and branches they reach. Fails where a test does, or where a folder reaches less than tests/coverage.txt asks for.
#
#   scripts/coverage.sh [--missing FOLDER]...   --missing lists what is not reached below a folder
#
# Ends with "N passed, M failed".
set -euo pipefail
. "$(dirname "$0")/lib.sh"

cd "$root"
build="$root/build/coverage"
# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $test_packages $coverage_packages
# Where calls for files or memory fail, those for the counts do too, and the tool says so; who is killed while it adds to the
# counts leaves none.
limited='*Endings.*;*ALimitOnFileSizes*;*MemoryThatRunsOutAtTheStart*;*AFileIsReplacedAsAWhole*;*CallsThatDoALittleOrAreInterrupted*;*AFaultOfAnyOtherCall*;*AnyAllocationThatFails*'
build_preset coverage -DKR0_BUILD_TESTS=ON -DKR0_WARNINGS_AS_ERRORS=ON "-DKR0_LEFT_OUT_TESTS=$limited"

# Thousands of processes add to a few files for each program and library.
profiles="$build/profiles"
rm -rf "$profiles"
mkdir -p "$profiles"
export LLVM_PROFILE_FILE="$profiles/%4m.profraw"
tests=0
ctest --test-dir "$build" -LE "slow|nightly|page" --no-tests=error --output-on-failure -j "$jobs" >"$build/tests.log" 2>&1 || tests=1
grep -vE '^ *(Start +)?[0-9]+(/[0-9]+ Test +#[0-9]+)?: .*( Passed .*)?$' "$build/tests.log" | tail -n 60 || true

llvm-profdata-19 merge -sparse -o "$build/all.profdata" "$profiles"/*.profraw
objects=()
while read -r object; do objects+=(-object "$object"); done < <(
  find "$build" -name 'libkr0_*.so.*.*.*' -type f
  find "$build/apps" "$build/tests" -maxdepth 2 -type f -executable \( -name kr0 -o -name 'test_*' -o -name kr0_test_everything \)
)
llvm-cov-19 export -format=text -skip-functions -skip-expansions -instr-profile="$build/all.profdata" "${objects[@]}" \
  -ignore-filename-regex="$build/" >"$build/coverage.json"
shares=0
scripts/coverage.py "$build/coverage.json" "$@" || shares=1
[ "$tests" -eq 0 ] || echo "some tests failed: $build/tests.log"
exit $((tests + shares > 0))
