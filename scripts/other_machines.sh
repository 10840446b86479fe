#!/usr/bin/env bash
# Builds the library for other kinds of machines and runs there, in an emulator where it must be, the example and a
# program that checks documents and texts to the byte (tests/other_machines/check.cpp).
#
#   scripts/other_machines.sh [MACHINE...]   all of these, unless given:
#     s390x     keeps the high byte of a number first
#     aarch64
#     i686      has addresses of 32 bits
#     libcxx    this machine, by clang 19 with libc++
#     windows   x86-64, by MinGW, in wine
#
# Of all rooms the library itself is built: the others need libraries that Debian does not have for these machines.
# Ends with "N passed, M failed".
set -euo pipefail
. "$(dirname "$0")/lib.sh"

cd "$root"
build="$root/build/other_machines"
passed=0 failed=0
checks=(tests/other_machines/check.cpp tests/support/GoldenDocuments.cpp tests/support/PieceBuf.cpp tests/sylvan/Tagged.cpp)

# packages_of <machine>
packages_of() {
  case $1 in
    i686) echo g++-i686-linux-gnu qemu-user ;;
    libcxx) echo clang-19 libc++-19-dev libc++abi-19-dev ;;
    windows) echo g++-mingw-w64-x86-64-posix wine wine64 ;;
    *) echo "g++-$1-linux-gnu" qemu-user ;;
  esac
}

# compiler_of <machine>: with what it takes to compile and to link.
compiler_of() {
  case $1 in
    libcxx) echo clang++-19 -stdlib=libc++ -fuse-ld=bfd ;;
    windows) echo x86_64-w64-mingw32-g++-posix -static ;;
    *) echo "$1-linux-gnu-g++" -static ;; # an emulator needs no libraries of that machine then
  esac
}

# runner_of <machine>: what stands before a program; nothing where the machine runs it itself.
runner_of() {
  case $1 in
    libcxx) ;;
    windows) command -v wine || echo wine64 ;;
    i686) if [ "$(uname -m)" != x86_64 ] || ! "$build/i686/check" nothing >/dev/null 2>&1; then echo qemu-i386; fi ;;
    *) echo "qemu-$1" ;;
  esac
}

# sources_of <machine>: the library's. Windows has a way of its own to files.
sources_of() {
  if [ "$1" = windows ]; then
    find src -name '*.cpp' | grep -vE '^src/framework/io/files/(AtomicFile|Descriptor|TemporaryFile|UnfinishedFiles)\.cpp$' | sort
  else
    find src -name '*.cpp' -not -path '*/windows/*' | sort
  fi
}

# The host's header-only libraries, in a folder without the host's other headers.
make_headers() {
  mkdir -p "$build/headers"
  local name
  for name in boost utf8 utf8.h; do ln -sfn "/usr/include/$name" "$build/headers/$name"; done
}

# compile <machine> <object> <source>...: leaves an object of all of them in the machine's folder.
compile() {
  local machine=$1 object="$build/$1/$2.o" launcher=
  shift 2
  if command -v ccache >/dev/null; then launcher=ccache; fi
  printf '#include "%s"\n' "$@" >"${object%.o}.cpp"
  # shellcheck disable=SC2046 # words
  $launcher $(compiler_of "$machine") -std=c++20 -O1 -w -I. -Isrc/framework/include -Isrc/framework -Iinclude -Isrc -Itests \
    -isystem "$build/headers" -c "${object%.o}.cpp" -o "$object.new"
  mv "$object.new" "$object"
}
export -f compile compiler_of
export build

# link <machine> <program> <object>...
link() {
  local machine=$1 program=$2
  shift 2
  # shellcheck disable=SC2046
  $(compiler_of "$machine") "${@/%/.o}" -o "$program"
}

# grouped <name>: sources on the input, in lines of an object's name and a dozen of them, which takes half the time that they take one by one.
grouped() { xargs -n 12 | awk -v name="$1" '{ print name "_" NR, $0 }'; }

build_for() {
  local objects
  rm -rf "${build:?}/$1"
  mkdir -p "$build/$1"
  {
    sources_of "$1" | grep '^src/framework/' | grouped framework
    sources_of "$1" | grep -v '^src/framework/' | grouped library
    for source in "${checks[@]}"; do echo "check_$(basename "$source" .cpp) $source"; done
    echo "example examples/library/library.cpp"
  } >"$build/$1/objects"
  xargs -P "$jobs" -I {} bash -euc 'compile $1 $2' bash "$1" {} <"$build/$1/objects" || return 1
  (cd "$build/$1" && mapfile -t objects < <(cut -d' ' -f1 objects | grep -v '^example$') && link "$1" check "${objects[@]}" &&
    mapfile -t objects < <(cut -d' ' -f1 objects | grep -v '^check_') && link "$1" example "${objects[@]}")
}

# run_on <machine> <program> [arguments...]: counts what the program counts, or the program itself.
run_on() {
  local machine=$1 program=$2 suffix="" output status=0
  shift 2
  if [ "$machine" = windows ]; then suffix=.exe; fi
  # shellcheck disable=SC2046
  output=$(cd "$build/$machine" && WINEDEBUG=-all $(runner_of "$machine") "$build/$machine/$program$suffix" "$@" 2>&1 |
    tr -d '\r') || status=$?
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
  local begin=$SECONDS
  echo "== $1"
  # shellcheck disable=SC2046
  if ! install_packages $(packages_of "$1") || ! build_for "$1"; then
    echo "$1: cannot be built"
    failed=$((failed + 1))
    return 0
  fi
  run_on "$1" check
  run_on "$1" example archive.krb
  echo "$1: $((SECONDS - begin)) s"
}

# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages
make_headers
[ $# -gt 0 ] || set -- s390x aarch64 i686 libcxx windows
for machine in "$@"; do check_on "$machine"; done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
