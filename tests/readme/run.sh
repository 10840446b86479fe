#!/usr/bin/env bash
# Holds README.md to what it shows:
#
#   tests/readme/run.sh program BUILD_FOLDER   its C++ program compiles, runs and prints what it says, and so does
#                                              what it shows of generated code
#   tests/readme/run.sh demo TOOL              the demo prints what it says
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# block <language> <n>: the n-th fenced block of a language.
block() {
  awk -v fence="\`\`\`$1" -v wanted="$2" '
    $0 == "```" { inside = 0 }
    inside { print }
    $0 == fence && ++seen == wanted { inside = 1 }' "$root/README.md"
}

# compile <source> <more options>...: with the libraries of a build folder.
compile() {
  "${CXX:-g++}" -std=c++20 -Wall -Wextra -Werror -I"$root/include" -I"$root/src/framework/include" \
    "$@" -o "$work/program" \
    -L"$build/src" -L"$build/src/framework" -lkr0_binary_io -lkr0_framework \
    -Wl,-rpath,"$build/src:$build/src/framework"
}

check_typed() {
  "$build/apps/kr0/kr0" generate cpp "$root/examples/library/library.ecore" -o "$work/generated"
  {
    printf '#include <iostream>\n#include "library.kr0.h"\nint main() {\n'
    printf 'auto& registry = kr::zero::meta::MetaRegistry::instance();\nmodels::library::registerIn(registry);\n'
    printf 'kr::zero::Model model(registry);\n'
    block cpp 2
    echo '}'
  } > "$work/typed.cpp"
  compile "$work/typed.cpp" "$work/generated/meta_models.kr0.cpp" -I"$work/generated"
  [ "$("$work/program")" = "Moby Dick" ]
}

check_program() {
  local lines
  block cpp 1 > "$work/program.cpp"
  lines=$(wc -l < "$work/program.cpp")
  if [ "$lines" -eq 0 ] || [ "$lines" -gt 20 ]; then
    echo "the program has $lines lines" >&2
    exit 1
  fi
  compile "$work/program.cpp"
  (cd "$work" && ./program) | diff <(block text 1) -
}

check_demo() { "$root/scripts/demo.sh" "$1" | diff <(block text 2) -; }

case $1 in
  program)
    build=$(cd "$2" && pwd)
    check_program
    check_typed
    ;;
  demo) check_demo "$2" ;;
  *) exit 2 ;;
esac
echo "README.md tells the truth"
