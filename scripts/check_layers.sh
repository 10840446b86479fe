#!/usr/bin/env bash
# Prints which layer includes how many headers of which other, and fails on an arrow that points back:
#
#   apps -> all others                      archive -> evolution, interop, library, framework
#   interop -> framework                    evolution -> framework      interop/cpp -> interop/ecore too
#   inspect -> library with its internal headers, framework
#   interop/json, interop/tables -> framework
#   study -> framework
#   library -> framework's public headers   framework -> nothing of the others
#   compare -> framework                    python -> all others but apps, inspect and interop/cpp
#
# The framework has layers of its own, told by folder; each may use those of its own line and of the lines above:
#
#   foundation, text
#   log
#   events, rules
#   meta
#   model
#   io
#
#   scripts/check_layers.sh [FOLDER]       checks a source tree, this one unless given
#   scripts/check_layers.sh --self-check   shows that wrong arrows are found
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

inner_layers=(foundation,text log events,rules meta model io) # from the ground up
allowed=" apps:interop apps:cpp apps:library apps:framework apps:archive apps:evolution apps:inspect cpp:interop cpp:framework \
interop:framework library:framework evolution:framework archive:evolution archive:interop archive:library archive:framework \
apps:json apps:tables json:framework tables:framework apps:study study:framework apps:compare compare:framework \
inspect:library inspect:library-internal inspect:framework \
python:archive python:evolution python:interop python:json python:tables python:compare python:study python:library python:framework "
include_folders="src/framework/include include interop/ecore/include interop/cpp/include interop/json/include interop/tables/include evolution/include compare/include archive/include study/include inspect/include \
src/framework src interop/ecore interop/cpp interop/json interop/tables evolution compare archive study inspect apps/kr0 python/src"

layer_of() {
  case $1 in
    src/framework/include/*) echo framework ;;
    src/framework/*) echo framework-internal ;;
    include/*) echo library ;;
    src/*) echo library-internal ;;
    interop/cpp/include/*) echo cpp ;;
    interop/cpp/*) echo cpp-internal ;;
    interop/json/include/*) echo json ;;
    interop/json/*) echo json-internal ;;
    interop/tables/include/*) echo tables ;;
    interop/tables/*) echo tables-internal ;;
    interop/ecore/include/*) echo interop ;;
    interop/*) echo interop-internal ;;
    evolution/include/*) echo evolution ;;
    evolution/*) echo evolution-internal ;;
    study/include/*) echo study ;;
    study/*) echo study-internal ;;
    compare/include/*) echo compare ;;
    compare/*) echo compare-internal ;;
    archive/include/*) echo archive ;;
    archive/*) echo archive-internal ;;
    inspect/include/*) echo inspect ;;
    inspect/*) echo inspect-internal ;;
    apps/*) echo apps ;;
    python/*) echo python ;;
    *) echo outside ;;
  esac
}

# The framework's own layer of one of its files; "unknown" for a folder that has none.
inner_layer_of() {
  case ${1#src/framework/} in
    include/foundation/* | include/resource_core/* | include/kr/zero/export.h | include/kr/zero/Error.h) echo foundation ;;
    include/fl/* | include/kr/zero/ustring.h | include/kr/zero/TextHash.h | include/kr/zero/KeptMemory.h) echo text ;;
    include/modeling/sylvan/grammar/*) echo rules ;;
    include/modeling/*) echo events ;;
    include/kr/zero/log/*) echo log ;;
    include/kr/zero/meta/*) echo meta ;;
    include/kr/zero/io/*) echo io ;;
    include/kr/zero/*) echo model ;;
    foundation/* | text/* | log/* | events/* | rules/* | meta/* | model/* | io/*)
      local folder=${1#src/framework/}
      echo "${folder%%/*}"
      ;;
    *) echo unknown ;;
  esac
}

# Position of an inner layer's line; of an unknown one none.
line_of() {
  local line
  for line in "${!inner_layers[@]}"; do
    if [[ ,${inner_layers[line]}, == *",$1,"* ]]; then echo "$line"; fi
  done
}

# is_allowed <layer> <layer>: whether the first may use the second.
is_allowed() {
  if [[ $allowed == *" $1:$2 "* ]]; then return 0; fi
  if [[ $1 != framework/* ]]; then return 1; fi
  local from to
  from=$(line_of "${1#framework/}") to=$(line_of "${2#framework/}")
  [ -n "$from" ] && [ -n "$to" ] && [ "$to" -le "$from" ]
}

own_folders() {
  case $1 in
    framework*) echo "src/framework/include src/framework" ;;
    library*) echo "include src" ;;
    interop*) echo "interop/ecore/include interop/ecore" ;;
    cpp*) echo "interop/cpp/include interop/cpp" ;;
    json*) echo "interop/json/include interop/json" ;;
    tables*) echo "interop/tables/include interop/tables" ;;
    evolution*) echo "evolution/include evolution" ;;
    study*) echo "study/include study" ;;
    compare*) echo "compare/include compare" ;;
    archive*) echo "archive/include archive" ;;
    inspect*) echo "inspect/include inspect" ;;
    apps) echo "apps/kr0" ;;
    python) echo "python/src" ;;
  esac
}

# find_header <including file> <its layer> <name>: sets $found to the file that the name means, or to nothing for a
# header that is not of this tree. To print it would take a process for each of two thousand includes. Keeps what it
# asks for of layers in the table $own.
find_header() {
  local folder
  found=
  : "${own[$2]:=$(own_folders "$2")}"
  for folder in "${1%/*}" ${own[$2]} $include_folders; do
    [ -e "$folder/$3" ] || continue
    found=$folder/$3
    if [[ $found == *../* ]]; then found=$(realpath --relative-to=. "$found"); fi
    return 0
  done
}

list_includes() {
  find apps archive compare evolution include inspect interop python src study \( -name '*.cpp' -o -name '*.h' \) -print0 2>/dev/null |
    xargs -0 -r grep -HoE '^[[:space:]]*#[[:space:]]*include[[:space:]]*["<](kr/|fl/|foundation/|resource_core/|[^">]+\.h")[^">]*' |
    sed -E 's/^([^:]+):.*["<]([^">]+).*/\1 \2/; s/"$//' | sort -u
}

# "<layer> <layer> <file> <name>" for every include of one layer's header by another layer.
list_arrows() {
  local file name from found to inner_from inner_to
  local -A layer own
  while read -r file name; do
    from=${layer[$file]:=$(layer_of "$file")}
    find_header "$file" "$from" "$name"
    [ -n "$found" ] || continue
    to=${layer[$found]:=$(layer_of "$found")}
    if [ "${from%-internal}" != "${to%-internal}" ]; then
      echo "${from%-internal} $to $file $name"
    elif [ "${from%-internal}" = framework ]; then
      inner_from=$(inner_layer_of "$file") inner_to=$(inner_layer_of "$found")
      if [ "$inner_from" != "$inner_to" ]; then echo "framework/$inner_from framework/$inner_to $file $name"; fi
    fi
  done < <(list_includes)
}

check() {
  local arrows from to file name wrong=0
  arrows=$(list_arrows)
  awk 'NF { ++n[$1 " -> " $2] } END { for (a in n) printf "%-32s %4d\n", a, n[a] }' <<<"$arrows" | sort
  while read -r from to file name; do
    [ -n "$from" ] || continue
    if is_allowed "$from" "$to"; then continue; fi
    echo "$file: includes $name, but $from must not use $to" >&2
    wrong=1
  done <<<"$arrows"
  return "$wrong"
}

# A small tree in which every layer has one header of its own.
make_tree() {
  mkdir -p src/framework/include/{kr/zero/{meta,log,io},modeling/sylvan,fl} src/framework/{new,text,log,meta,model,io/walk,io/files} include/kr/zero/io src/direct inspect/include/kr/zero/inspect \
    interop/ecore/include/kr/zero/ecore interop/cpp/include/kr/zero/cpp interop/json interop/tables/include/kr/zero/tables apps/kr0 python/src
  touch src/framework/include/kr/zero/Public.h src/framework/model/Internal.h include/kr/zero/io/Library.h \
    src/framework/include/{kr/zero/{meta/Meta.h,log/Log.h,io/Io.h},modeling/sylvan/Event.h,fl/Text.h} \
    src/framework/io/files/Files.h src/direct/Direct.h interop/ecore/include/kr/zero/ecore/Ecore.h interop/ecore/Inner.h \
    interop/cpp/include/kr/zero/cpp/Cpp.h interop/cpp/Code.h apps/kr0/Tool.h \
    inspect/include/kr/zero/inspect/Inspect.h inspect/Scan.h interop/json/Names.h \
    interop/tables/include/kr/zero/tables/Tables.h python/src/Module.h
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
  expect 0 apps/kr0/a.cpp kr/zero/cpp/Cpp.h
  expect 0 interop/cpp/a.cpp kr/zero/ecore/Ecore.h
  expect 0 interop/cpp/a.cpp Code.h
  expect 0 interop/ecore/a.cpp Inner.h
  expect 1 apps/kr0/a.cpp Code.h
  expect 0 inspect/a.cpp direct/Direct.h
  expect 1 inspect/a.cpp kr/zero/ecore/Ecore.h
  expect 1 src/direct/a.cpp kr/zero/inspect/Inspect.h
  expect 1 apps/kr0/a.cpp Scan.h
  expect 1 interop/cpp/a.cpp ../ecore/Inner.h
  expect 1 interop/cpp/a.cpp kr/zero/io/Library.h
  expect 1 interop/ecore/a.cpp kr/zero/cpp/Cpp.h
  expect 0 interop/json/a.cpp kr/zero/Public.h
  expect 0 apps/kr0/a.cpp kr/zero/tables/Tables.h
  expect 1 apps/kr0/a.cpp ../../interop/json/Names.h
  expect 1 interop/tables/a.cpp ../json/Names.h
  expect 1 interop/json/a.cpp kr/zero/io/Library.h
  expect 0 python/src/a.cpp kr/zero/tables/Tables.h
  expect 0 python/src/a.cpp Module.h
  expect 1 python/src/a.cpp ../../src/direct/Direct.h
  expect 1 python/src/a.cpp kr/zero/inspect/Inspect.h
  expect 1 apps/kr0/a.cpp ../../python/src/Module.h
  expect 0 src/framework/model/a.cpp kr/zero/meta/Meta.h
  expect 0 src/framework/log/a.cpp fl/Text.h
  expect 0 src/framework/io/walk/a.cpp io/files/Files.h
  expect 0 src/framework/include/kr/zero/Public.h kr/zero/meta/Meta.h
  expect 1 src/framework/meta/a.cpp kr/zero/Public.h
  expect 1 src/framework/meta/a.cpp model/Internal.h
  expect 1 src/framework/text/a.cpp kr/zero/log/Log.h
  expect 1 src/framework/log/a.cpp modeling/sylvan/Event.h
  expect 1 src/framework/include/kr/zero/meta/Meta.h kr/zero/io/Io.h
  expect 1 src/framework/include/fl/Text.h kr/zero/Public.h
  expect 1 src/framework/new/a.cpp kr/zero/Public.h
  echo "wrong arrows are found"
}

if [ "${1:-}" = --self-check ]; then self_check; exit; fi
cd "${1:-$here/..}"
check
