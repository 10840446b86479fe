#!/usr/bin/env bash
# Whether each public header compiles alone, with each of the compilers that are here, without warnings.
#
#   scripts/check_headers.sh [COMPILER...]   g++ and clang++, unless given
#
# Ends with "N passed, M failed".
set -euo pipefail
. "$(dirname "$0")/lib.sh"

cd "$root"
[ $# -gt 0 ] || set -- g++ clang++
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
folders=(include src/framework/include archive/include compare/include evolution/include inspect/include
  interop/cpp/include interop/ecore/include interop/json/include interop/tables/include study/include)

# compile <compiler> <header>: as a header of others' projects, so that no "pragma once in main file" is in the way.
compile() {
  local places
  places=$(printf -- '-I%s ' $FOLDERS)
  # shellcheck disable=SC2086 # the places are words
  if echo "#include \"$2\"" | $1 -std=c++20 -fsyntax-only -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Werror \
    $places -x c++ -; then
    echo good >>"$WORK/good.$$"
  else
    echo "$1: $2 does not compile alone"
    echo bad >>"$WORK/bad.$$"
  fi
}
export -f compile
export FOLDERS="${folders[*]}" WORK=$work

for compiler in "$@"; do
  if ! command -v "$compiler" >/dev/null; then
    echo "skipped: there is no $compiler"
    continue
  fi
  for folder in "${folders[@]}"; do find "$folder" -name '*.h' -printf '%P\n'; done | sort |
    xargs -P "$jobs" -I {} bash -c 'compile "$@"' bash "$compiler" {}
done
passed=$(find "$work" -name 'good.*' | wc -l)
failed=$(find "$work" -name 'bad.*' | wc -l)
echo "$passed passed, $failed failed"
[ "$passed" -gt 0 ] && [ "$failed" -eq 0 ]
