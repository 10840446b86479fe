#!/usr/bin/env bash
# Looks for mistakes with clang-tidy (checks in .clang-tidy) and cppcheck (what it need not say in
# scripts/cppcheck.txt).
#
#   scripts/lint.sh [--analyze] [FILE or FOLDER...]   the sources of all libraries and of the tool, unless given
#
# --analyze adds clang's static analyzer, which takes three times as long.
# Ends with "N passed, M failed": a file each.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

cd "$root"
# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $lint_packages
build="$root/build/lint"
cmake --preset release -B "$build" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON -DKR0_BUILD_TOOL=ON -DKR0_BUILD_TESTS=OFF >/dev/null
# Sources that the build compiles; those of another system are not among them.
mapfile -t all < <(sed -nE 's/^ *"file": "(.*)",?$/\1/p' "$build/compile_commands.json" | sort -u | grep -v '/build/')
extra=
if [ "${1:-}" = --analyze ]; then
  extra=--checks=clang-analyzer-*
  shift
fi
files=("${all[@]}")
if [ $# -gt 0 ]; then
  files=()
  for place in "$@"; do
    place=$(realpath "$place")
    for file in "${all[@]}"; do
      if [[ $file == "$place" || $file == "$place"/* ]]; then files+=("$file"); fi
    done
  done
fi
[ ${#files[@]} -gt 0 ] || { echo "nothing to look at"; echo "0 passed, 0 failed, 1 skipped"; exit 0; }

findings=$(mktemp -d)
trap 'rm -rf "$findings"' EXIT
export build findings extra
# look <file>
look() {
  local report
  report="$findings/$(tr / _ <<<"$1")"
  # shellcheck disable=SC2086 # nothing, or one option
  clang-tidy -p "$build" --quiet $extra --warnings-as-errors='*' "$1" >"$report" 2>/dev/null && rm -f "$report"
}
export -f look
printf '%s\0' "${files[@]}" | xargs -0 -P "$jobs" -I {} bash -c 'look "$1" || true' bash {}
cat "$findings"/* 2>/dev/null || true
failed=$(find "$findings" -type f | wc -l)

# By file as well: "whole program" checks of cppcheck do not know of libraries.
includes=()
for folder in include src src/framework src/framework/include */include interop/*/include; do includes+=(-I "$folder"); done
# Files have the names that the list of what it need not say has.
if ! printf '%s\n' "${files[@]#"$root"/}" | xargs cppcheck --quiet --std=c++20 --language=c++ --enable=warning,performance,portability \
  --inline-suppr --suppressions-list=scripts/cppcheck.txt --error-exitcode=1 -j "$jobs" \
  --template='{file}:{line}: {severity}: {message} [{id}]' "${includes[@]}" 2>&1; then
  failed=$((failed + 1))
fi
echo "$((${#files[@]} + 1 - failed)) passed, $failed failed"
[ "$failed" -eq 0 ]
