#!/usr/bin/env bash
# Prints which layer includes how many headers of which other, and fails on an arrow that points back:
#
#   apps -> interop, library, framework     interop -> framework
#   library -> framework's public headers   framework -> nothing of the others
#
#   scripts/check_layers.sh [FOLDER]       checks a source tree, this one unless given
#   scripts/check_layers.sh --self-check   shows that wrong arrows are found
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

allowed=" apps:interop apps:library apps:framework interop:framework library:framework "
include_folders="src/framework/include include interop/ecore/include src/framework src interop/ecore apps/kr0"

layer_of() {
  case $1 in
    src/framework/include/*) echo framework ;;
    src/framework/*) echo framework-internal ;;
    include/*) echo library ;;
    src/*) echo library-internal ;;
    interop/*) echo interop ;;
    apps/*) echo apps ;;
    *) echo outside ;;
  esac
}

own_folders() {
  case $1 in
    framework*) echo "src/framework/include src/framework" ;;
    library*) echo "include src" ;;
    interop) echo "interop/ecore/include interop/ecore" ;;
    apps) echo "apps/kr0" ;;
  esac
}

# find_header <including file> <its layer> <name>: the file that the name means; nothing for a header
# that is not of this tree.
find_header() {
  local folder
  for folder in "$(dirname "$1")" $(own_folders "$2") $include_folders; do
    [ -e "$folder/$3" ] || continue
    realpath --relative-to=. "$folder/$3"
    return 0
  done
}

list_includes() {
  find apps include interop src \( -name '*.cpp' -o -name '*.h' \) -print0 2>/dev/null |
    xargs -0 -r grep -HoE '^[[:space:]]*#[[:space:]]*include[[:space:]]*["<](kr/|fl/|foundation/|resource_core/|[^">]+\.h")[^">]*' |
    sed -E 's/^([^:]+):.*["<]([^">]+).*/\1 \2/; s/"$//' | sort -u
}

# "<layer> <layer> <file> <name>" for every include of one layer's header by another layer.
list_arrows() {
  local file name from target to
  while read -r file name; do
    from=$(layer_of "$file")
    target=$(find_header "$file" "$from" "$name")
    [ -n "$target" ] || continue
    to=$(layer_of "$target")
    [ "${from%-internal}" = "${to%-internal}" ] || echo "${from%-internal} $to $file $name"
  done < <(list_includes)
}

check() {
  local arrows from to file name wrong=0
  arrows=$(list_arrows)
  awk 'NF { ++n[$1 " -> " $2] } END { for (a in n) printf "%-32s %4d\n", a, n[a] }' <<<"$arrows" | sort
  while read -r from to file name; do
    [ -n "$from" ] || continue
    [[ $allowed == *" $from:$to "* ]] && continue
    echo "$file: includes $name, but $from must not use $to" >&2
    wrong=1
  done <<<"$arrows"
  return "$wrong"
}

# A small tree in which every layer has one header of its own.
make_tree() {
  mkdir -p src/framework/include/kr/zero src/framework/model include/kr/zero/io src/direct \
    interop/ecore/include/kr/zero/ecore apps/kr0
  touch src/framework/include/kr/zero/Public.h src/framework/model/Internal.h include/kr/zero/io/Library.h \
    src/direct/Direct.h interop/ecore/include/kr/zero/ecore/Ecore.h apps/kr0/Tool.h
}

# expect <0 or 1> <file> <header>: how a check of a tree with just this include ends.
expect() {
  local tree status=0
  tree=$(mktemp -d)
  (cd "$tree" && make_tree && printf '#include "%s"\n' "$3" > "$2")
  "$here/check_layers.sh" "$tree" >/dev/null 2>&1 || status=$?
  rm -rf "$tree"
  if [ "$status" -eq "$1" ]; then return 0; fi
  echo "self-check: $2 with $3 ended with $status instead of $1" >&2
  return 1
}

self_check() {
  expect 0 src/framework/model/a.cpp kr/zero/Public.h
  expect 0 src/framework/model/a.cpp model/Internal.h
  expect 0 src/direct/a.cpp kr/zero/Public.h
  expect 0 apps/kr0/a.cpp kr/zero/ecore/Ecore.h
  expect 0 apps/kr0/a.cpp kr/zero/io/Library.h
  expect 1 src/framework/model/a.cpp kr/zero/io/Library.h
  expect 1 src/framework/model/a.cpp ../../direct/Direct.h
  expect 1 src/framework/include/kr/zero/Public.h kr/zero/ecore/Ecore.h
  expect 1 src/direct/a.cpp framework/model/Internal.h
  expect 1 src/direct/a.cpp kr/zero/ecore/Ecore.h
  expect 1 src/direct/a.cpp Tool.h
  expect 1 interop/ecore/a.cpp kr/zero/io/Library.h
  expect 1 interop/ecore/a.cpp Tool.h
  expect 1 apps/kr0/a.cpp direct/Direct.h
  echo "wrong arrows are found"
}

if [ "${1:-}" = --self-check ]; then self_check; exit; fi
cd "${1:-$here/..}"
check
