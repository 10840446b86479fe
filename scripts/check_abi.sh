#!/usr/bin/env bash
# Whether programs that were built with the libraries of the last version still run with those of a build: holds the
# binary interface of each library against its description in tests/abi, and the version number against what changed.
# Before 1.0 a change that breaks programs needs a new minor number, afterwards a new major one; an addition needs
# none. Either way the descriptions are made anew then.
#
#   scripts/check_abi.sh BUILD_FOLDER [--renew]   --renew makes the descriptions anew
#
# Ends with "N passed, M failed"; with 77 where the descriptions are of another compiler or machine.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

[ $# -ge 1 ] || { sed -n '2,10s/^# \{0,1\}//p' "$0"; exit 2; }
folder=$(cd "$1" && pwd)
renew=${2:-}
cd "$root"
# shellcheck disable=SC2086 # the list is words
install_packages $abi_packages

descriptions="$root/tests/abi"
headers=()
for each in include src/framework/include */include interop/*/include; do headers+=(--headers-dir "$each"); done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The compiler as the libraries name it, and the machine: what a description depends on.
made_by() {
  readelf -p .comment "$1" | sed -nE 's/^ *\[ *[0-9a-f]+\] *((GCC|[A-Za-z ]*clang)[^0-9]*)(\([^)]*\) *)?([0-9]+)\..*/\2 \4/p' | sort -u | paste -sd, -
  uname -m
}

describe() {
  abidw --suppressions "$descriptions/suppressions.ini" --no-show-locs --no-corpus-path --no-comp-dir-path \
    --no-elf-needed --no-parameter-names --drop-private-types "${headers[@]}" "$1"
}

version=$(project_version)
# What may differ only where programs may break: "0.1" of 0.1.7, "2" of 2.4.1.
era_of() { if [[ $1 == 0.* ]]; then cut -d. -f1,2 <<<"$1"; else cut -d. -f1 <<<"$1"; fi; }

mapfile -t libraries < <(find "$folder" -name 'libkr0_*.so.*.*.*' -type f | sort)
[ ${#libraries[@]} -gt 0 ] || { echo "there are no libraries in $folder"; echo "0 passed, 1 failed"; exit 1; }
here=$(made_by "${libraries[0]}" | paste -sd' ' -)
name_of() { basename "$1" | sed 's/^lib//; s/\.so.*//'; }

if [ "$renew" = --renew ]; then
  rm -f "$descriptions"/*.abi.xz
  for library in "${libraries[@]}"; do describe "$library" | xz -9 >"$descriptions/$(name_of "$library").abi.xz"; done
  printf 'version: %s\nmade by: %s\n' "$version" "$here" >"$descriptions/made.txt"
  echo "${#libraries[@]} libraries described"
  exit 0
fi

made=$(sed -n 's/^made by: //p' "$descriptions/made.txt")
if [ "$made" != "$here" ]; then
  echo "skipped: the descriptions are of libraries made by $made, these are by $here"
  echo "0 passed, 0 failed, 1 skipped"
  exit 77
fi
before=$(sed -n 's/^version: //p' "$descriptions/made.txt")

# compare <library>: says what changed, and whether that fits the version.
compare() {
  local name description kind
  name=$(name_of "$1") description="$descriptions/$(name_of "$1").abi.xz"
  if [ ! -f "$description" ]; then
    echo "$name: there is no description of it"
    return 1
  fi
  xz -dc "$description" >"$work/before.abi"
  describe "$1" >"$work/after.abi"
  if abidiff --no-show-locs "$work/before.abi" "$work/after.abi" >"$work/report.txt"; then
    echo "$name: as before"
    return 0
  fi
  cat "$work/report.txt"
  # Anything but additions may break a program.
  kind=additions
  if grep -E 'summary:' "$work/report.txt" | grep -qvE ': 0 Removed.*, 0 Changed.*'; then kind="breaking changes"; fi
  if [ "$kind" = additions ] || [ "$(era_of "$version")" != "$(era_of "$before")" ]; then
    echo "$name: $kind, which version $version may have after $before; describe them: $0 $folder --renew"
  else
    echo "$name: $kind, which programs built with $before do not survive: undo them, or give CMakeLists.txt a new version" \
      "($([[ $version == 0.* ]] && echo 0.MINOR || echo MAJOR)) and run: $0 $folder --renew"
  fi
  return 1
}

passed=0 failed=0
for library in "${libraries[@]}"; do
  if compare "$library"; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
done
for description in "$descriptions"/*.abi.xz; do
  name=$(basename "$description" .abi.xz)
  if ! printf '%s\n' "${libraries[@]}" | grep -q "/lib$name\.so"; then
    echo "$name: is gone, or was not built"
    failed=$((failed + 1))
  fi
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
