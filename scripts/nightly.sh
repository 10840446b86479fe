#!/usr/bin/env bash
# What takes too long for every change: mutation of all code of the formats, a million documents for the second reader,
# every kind of machine, two hours of fuzzing, ten minutes of threads under ThreadSanitizer, other compilers and what tests
# reach, the analysers, Debian packages and the wheel, the site, growth at full size, XML with attributes of 1 GB, several times as
# many random models, chains and moments, and ten times as many documents by two roads. Needs a night of two cores; .ci/run comes first, by itself.
#
#   scripts/nightly.sh [STAGE...]   only these: threads, reach, stacks, compiler, fuzzing, reader, growth, machines, lint, xml,
#                                   random, roads, packages, site, mutation
#
# Ends with "N passed, M failed".
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1
. scripts/lib.sh
. scripts/stages.sh
exec </dev/null

export KR0_CONFIGURE_OPTIONS=-DKR0_WARNINGS_AS_ERRORS=ON

threads() { scripts/tsan.sh 600; }
reach() { scripts/coverage.sh; }
mutation() { scripts/mutate.sh; }
reader() { scripts/oracle.sh 1000000; }
growth() { scripts/growth.sh; }
machines() { scripts/other_machines.sh; }
# Looking for uses of variables of functions that have returned takes several times as long where many exceptions were
# thrown, so tests do it here alone; fuzzers, of another compiler, do it always.
stacks() { ASAN_OPTIONS=detect_stack_use_after_return=1 test_preset asan; }
compiler() { install_packages clang && test_preset clang; }
lint() { scripts/lint.sh; }
# of_random <pattern> <KR0_NAME=number...>: tests that take longer the larger their numbers are.
of_random() {
  local pattern=$1
  shift
  build_preset release -DKR0_BUILD_TESTS=ON -DKR0_TEST_TIMEOUT=7200 &&
    env "$@" ctest --test-dir build/release -R "$pattern" --no-tests=error --output-on-failure -j "$jobs"
}
random() { of_random "RandomRoundTrip|TwoRoads.RandomModels|Damage.*RandomDamage|Chains|RuleTable|every_moment" \
  KR0_PAIRS=200000 KR0_MUTANTS=20000000 KR0_CHAINS=100000 KR0_SEQUENCES=10000000 KR0_MOMENTS=200; }
roads() { of_random "TwoRoads.RandomDamage|TaggedReadingByNames" KR0_MUTANTS=10000000; }
xml() {
  build_preset release -DKR0_BUILD_TESTS=ON &&
    env KR0_XML_CROWD=1000000 KR0_XML_LEVELS=1000000 KR0_XML_BYTES=$((1 << 30)) \
      ctest --test-dir build/release -R HostileXmi --no-tests=error --output-on-failure -j 1
}
packages() {
  # shellcheck disable=SC2086 # the list is words
  install_packages $python_packages && build_preset release -DKR0_BUILD_TESTS=ON -DKR0_BUILD_PYTHON=ON &&
    ctest --test-dir build/release -L nightly -LE site --no-tests=error --output-on-failure
}
site() {
  # shellcheck disable=SC2086 # the lists are words
  install_packages $python_packages $site_packages chromium && build_preset release -DKR0_BUILD_TESTS=ON -DKR0_BUILD_PYTHON=ON &&
    ctest --test-dir build/release -L site --no-tests=error --output-on-failure
}
fuzzing() { scripts/fuzz.sh --all-for 7200; }

# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $test_packages
[ $# -gt 0 ] || set -- threads reach stacks compiler fuzzing reader growth machines lint xml random roads packages site mutation
for name in "$@"; do
  if ! declare -F "$name" >/dev/null; then
    echo "$0: no stage $name" >&2
    exit 2
  fi
done
for name in "$@"; do stage "$name" "$name"; done
sums
