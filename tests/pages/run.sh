#!/usr/bin/env bash
# Holds the pages of the project to what they show:
#
#   tests/pages/run.sh programs PAGE BUILD_FOLDER   its C++ programs compile, run and print what it says
#   tests/pages/run.sh typed BUILD_FOLDER           so does what README.md shows of generated code
#   tests/pages/run.sh demo TOOL                    the demo prints what README.md says
#
# Every block "```cpp" of a page is a program of its own. Where the next block is "```text", that is what it prints.
# A block with a name behind its language ("```xml shelf.ecore") is a file, which lies where the programs run.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
most_readme_lines=20
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Puts each block of a page down as a file: N.cpp, N.text for what program N prints, or the file that it names.
split_page() {
  awk -v folder="$work" '
    $0 == "```" && file != "" { close(file); file = ""; next }
    file != "" { print > file; next }
    /^```[a-z]/ {
      language = substr($1, 4)
      file = "/dev/null"
      if (NF > 1) file = folder "/" $2
      else if (language == "cpp") file = folder "/" ++programs ".cpp"
      else if (language == "text" && before == "cpp") file = folder "/" programs ".text"
      before = language
      printf "" > file
    }' "$1"
}

# compile <program> <build folder>
compile() {
  local build=$2 libraries=(-lkr0_binary_io -lkr0_framework)
  if grep -q kr/zero/ecore "$1"; then libraries=(-lkr0_ecore "${libraries[@]}"); fi
  "${CXX:-g++}" -std=c++20 -O0 -Wall -Wextra -Werror -I"$root/include" -I"$root/src/framework/include" \
    -I"$root/interop/ecore/include" "$1" -o "${1%.cpp}" -pthread \
    -L"$build/src" -L"$build/src/framework" -L"$build/interop/ecore" "${libraries[@]}" \
    -Wl,-rpath,"$build/src:$build/src/framework:$build/interop/ecore"
}

check_programs() {
  local page=$1 build=$2 program shown printed
  split_page "$root/$page"
  if [ ! -s "$work/1.cpp" ]; then
    echo "$page shows no program" >&2
    exit 1
  fi
  if [ "$page" = README.md ] && [ "$(wc -l < "$work/1.cpp")" -gt "$most_readme_lines" ]; then
    echo "the program has more than $most_readme_lines lines" >&2
    exit 1
  fi
  cd "$work"
  for program in *.cpp; do
    compile "$work/$program" "$build"
    shown=${program%.cpp}.text printed=${program%.cpp}.printed
    "./${program%.cpp}" > "$printed"
    if [ -e "$shown" ]; then diff "$shown" "$printed"; fi
  done
}

# What README.md shows of generated code, in a program around it.
check_typed() {
  local build=$1
  split_page "$root/README.md"
  "$build/apps/kr0/kr0" generate cpp "$root/examples/library/library.ecore" -o "$work/generated"
  {
    printf '#include <iostream>\n#include "generated/library.kr0.h"\n#include "generated/meta_models.kr0.cpp"\n'
    printf 'int main() {\nauto& registry = kr::zero::meta::MetaRegistry::instance();\n'
    printf 'models::library::registerIn(registry);\nkr::zero::Model model(registry);\n'
    cat "$work/typed.inc"
    echo '}'
  } > "$work/typed.cpp"
  compile "$work/typed.cpp" "$build"
  [ "$("$work/typed")" = "Moby Dick" ]
}

check_demo() {
  "$root/scripts/demo.sh" "$1" > "$work/printed"
  diff <(awk '$0 == "```" { inside = 0 } inside { print } $0 == "```text" && ++seen == 2 { inside = 1 }' \
    "$root/README.md") "$work/printed"
}

case $1 in
  programs) check_programs "$2" "$(cd "$3" && pwd)" ;;
  typed) check_typed "$(cd "$2" && pwd)" ;;
  demo) check_demo "$2" ;;
  *) exit 2 ;;
esac
echo "the page tells the truth"
