#!/usr/bin/env bash
# Builds the library for other kinds of machines and runs there, in an emulator, the example and a program that
# checks documents and texts to the byte (tests/other_machines/check.cpp). s390x keeps the high byte of a number
# first.
#
#   scripts/other_machines.sh [MACHINE...]   s390x and aarch64, unless given
#
# Ends with "N passed, M failed".
set -euo pipefail
. "$(dirname "$0")/lib.sh"

cd "$root"
build="$root/build/other_machines"
passed=0 failed=0

# The host's header-only libraries, in a folder without the host's other headers.
make_headers() {
  mkdir -p "$build/headers"
  local name
  for name in boost utf8 utf8.h; do ln -sfn "/usr/include/$name" "$build/headers/$name"; done
}

# compile <machine> <source>: leaves an object in the machine's folder, named after the source.
compile() {
  local object="$build/$1/${2//\//_}.o" launcher=
  if command -v ccache >/dev/null; then launcher=ccache; fi
  $launcher "$1-linux-gnu-g++" -std=c++20 -O1 -w -Isrc/framework/include -Isrc/framework -Iinclude -Isrc -Itests \
    -isystem "$build/headers" -c "$2" -o "$object.new"
  mv "$object.new" "$object"
}
export -f compile
export build

# link <machine> <program> <source>...: static, so that an emulator needs no libraries of that machine.
link() {
  local machine=$1 program=$2 source objects=()
  shift 2
  for source in "$@"; do objects+=("$build/$machine/${source//\//_}.o"); done
  "$machine-linux-gnu-g++" -static "${objects[@]}" -o "$build/$machine/$program"
}

build_for() {
  local library=() checks example=examples/library/library.cpp
  mapfile -t library < <(find src -name '*.cpp' | sort)
  checks=(tests/other_machines/check.cpp tests/support/GoldenDocuments.cpp tests/support/PieceBuf.cpp
    tests/sylvan/Tagged.cpp)
  mkdir -p "$build/$1"
  printf '%s\n' "${library[@]}" "${checks[@]}" "$example" |
    xargs -P "$jobs" -I {} bash -euc 'compile "$@"' bash "$1" {} || return 1
  link "$1" check "${library[@]}" "${checks[@]}" && link "$1" example "${library[@]}" "$example"
}

# run_on <machine> <program> [arguments...]: counts what the program counts, or the program itself.
run_on() {
  local machine=$1 program=$2 output status=0
  shift 2
  output=$("qemu-$machine" "$build/$machine/$program" "$@" 2>&1) || status=$?
  echo "$machine, $program: $output"
  if [[ $(tail -n 1 <<<"$output") =~ ^([0-9]+)\ passed,\ ([0-9]+)\ failed$ ]]; then
    passed=$((passed + BASH_REMATCH[1])) failed=$((failed + BASH_REMATCH[2]))
  elif [ "$status" -eq 0 ]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
  fi
}

check_on() {
  echo "== $1"
  if ! build_for "$1"; then
    failed=$((failed + 1))
    return 0
  fi
  run_on "$1" check
  run_on "$1" example "$build/$1/archive.krb"
}

# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $cross_packages
make_headers
[ $# -gt 0 ] || set -- s390x aarch64
for machine in "$@"; do check_on "$machine"; done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
