#!/usr/bin/env bash
# Holds README.md to what it shows:
#
#   tests/readme/run.sh program BUILD_FOLDER   its C++ program compiles, runs and prints what it says
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

check_program() {
  local build=$1 lines
  block cpp 1 > "$work/program.cpp"
  lines=$(wc -l < "$work/program.cpp")
  if [ "$lines" -eq 0 ] || [ "$lines" -gt 20 ]; then
    echo "the program has $lines lines" >&2
    exit 1
  fi
  "${CXX:-g++}" -std=c++20 -Wall -Wextra -Werror -I"$root/include" -I"$root/src/framework/include" \
    "$work/program.cpp" -o "$work/program" \
    -L"$build/src" -L"$build/src/framework" -lkr0_binary_io -lkr0_framework \
    -Wl,-rpath,"$build/src:$build/src/framework"
  (cd "$work" && ./program) | diff <(block text 1) -
}

check_demo() { "$root/scripts/demo.sh" "$1" | diff <(block text 2) -; }

case $1 in
  program) check_program "$(cd "$2" && pwd)" ;;
  demo) check_demo "$2" ;;
  *) exit 2 ;;
esac
echo "README.md tells the truth"
