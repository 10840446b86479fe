#!/usr/bin/env bash
# Holds the pages of the project to what they show:
#
#   tests/pages/run.sh page PAGE BUILD_FOLDER       its programs and commands run and print what it says
#   tests/pages/run.sh example NAME BUILD_FOLDER    so do the commands in the README of examples/NAME, beside its files;
#                                                   its program, if it is one, is in the PATH
#   tests/pages/run.sh demo TOOL                    the demo prints what docs/guide/verbs.md says
#
# Every block "```cpp" of a page is a program of its own, every block "```python" goes on from those before it, and every
# block "```sh" are commands of bash, which ends at the first that fails. Blocks of Python run where the Python package is
# built. Where the next block is "```text", that is what they print, on either stream; "..." stands for
# anything within a line. Blocks run in one folder, one behind the other, with the tool in the PATH. In the folder lie the
# example model, what is in the folder here of the page's name, and blocks with a name behind their language
# ("```xml shelf.ecore"). What blocks generate into a folder "generated" is compiled with the programs behind them.
#
# Blocks that nothing runs are in not_run.txt, each with its reason; not_run.py holds that.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
most_readme_lines=20
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Puts each block of a page down as a file: NN.cpp or NN.sh, NN.text for what block NN prints, or the file that it names.
split_page() {
  awk -v folder="$work" '
    $0 == "```" && file != "" { close(file); file = ""; next }
    file != "" { print > file; next }
    /^```[a-z]/ {
      language = substr($1, 4)
      file = "/dev/null"
      if (NF > 1) file = folder "/" $2
      else if (language == "cpp" || language == "python" || language == "sh") file = sprintf("%s/%02d.%s", folder, ++blocks, language)
      else if (language == "text" && (before == "cpp" || before == "python" || before == "sh")) file = sprintf("%s/%02d.text", folder, blocks)
      before = language
      printf "" > file
    }' "$1"
}

# Folders of libraries that a program may use, each behind those that it needs, as the linker wants them.
rooms=(archive study inspect compare evolution interop/ecore interop/json interop/tables src src/framework)

# compile <program> <build folder>
compile() {
  local build=$2 room name flags=() generated=()
  if [ -d generated ]; then
    flags+=(-Igenerated)
    generated=(generated/*.cpp)
  fi
  for room in "${rooms[@]}"; do
    name=$(basename "$room")
    case $room in
      src) name=binary_io flags+=("-I$root/include") ;;
      *) flags+=("-I$root/$room/include") ;;
    esac
    [ -e "$build/$room/libkr0_$name.so" ] && flags+=("-L$build/$room" "-Wl,-rpath,$build/$room" "-lkr0_$name")
  done
  "${CXX:-g++}" -std=c++20 -O0 -Wall -Wextra -Werror "$1" "${generated[@]}" -o "${1%.cpp}" -pthread -Wl,--as-needed "${flags[@]}"
}

# python_of <build folder>: the Python that the package was built for, or any.
python_of() {
  local python
  python=$(sed -n 's/^Python3_EXECUTABLE:[A-Z]*=//p' "$1/CMakeCache.txt")
  echo "${python:-$(command -v python3)}"
}

# run_python <block> <build folder>: by the Python that the package was built for, in one process for all blocks.
run_python() {
  local said
  if [ -z "${PYTHON_BLOCKS_PID:-}" ]; then
    coproc PYTHON_BLOCKS { PYTHONPATH="$2/python" PYTHONDONTWRITEBYTECODE=1 "$(python_of "$2")" "$root/tests/pages/blocks.py"; }
  fi
  echo "$1 ${1%.*}.printed" >&"${PYTHON_BLOCKS[1]}"
  read -r said <&"${PYTHON_BLOCKS[0]}" && [ "$said" = "done" ]
}

# compare <shown> <printed>: blanks at the end of a line, which tables have and pages do not, count for nothing.
compare() {
  local shown printed is_same=1
  while IFS= read -r shown <&3; do
    IFS= read -r printed <&4 || is_same=0
    printed=${printed%"${printed##*[! ]}"}
    case $shown in
      *...*) [[ $printed == "${shown%%...*}"*"${shown#*...}" ]] || is_same=0 ;;
      *) [ "$shown" = "$printed" ] || is_same=0 ;;
    esac
  done 3< "$1" 4< "$2"
  [ "$(wc -l < "$1")" -eq "$(wc -l < "$2")" ] || is_same=0
  if [ "$is_same" = 1 ]; then return 0; fi
  diff "$1" "$2" >&2
  return 1
}

# What an example's README shows, in a copy of its folder, with what was built of it and the Python package at hand.
check_example() {
  local build=$2
  cp -r "$root/examples/$1/." "$work"
  mkdir "$work/bin"
  ln -s "$(python_of "$build")" "$work/bin/python3"
  export PATH="$work/bin:$PATH" PYTHONPATH="$build/python" PYTHONDONTWRITEBYTECODE=1
  check_page "examples/$1/README.md" "$build"
}

check_page() {
  local page=$1 build=$2 block name
  cp "$root"/examples/library/library.{ecore,xmi} "$work"
  name=$(basename "$page" .md)
  if [ -d "$root/tests/pages/$name" ]; then cp "$root/tests/pages/$name"/* "$work"; fi
  split_page "$root/$page"
  cd "$work"
  find . -name '[0-9][0-9].cpp' -o -name '[0-9][0-9].python' -o -name '[0-9][0-9].sh' | sort > blocks
  if [ ! -s blocks ]; then
    echo "$page shows no program and no commands" >&2
    exit 1
  fi
  if [ "$page" = README.md ] && [ "$(wc -l < 01.cpp)" -gt "$most_readme_lines" ]; then
    echo "the program has more than $most_readme_lines lines" >&2
    exit 1
  fi
  while read -r block <&5; do
    name=${block%.*}
    case $block in
      *.cpp)
        compile "$work/$block" "$build"
        "$name" > "$name.printed"
        ;;
      *.python)
        compgen -G "$build/python/kr0/_core.*" >/dev/null || continue
        run_python "$block" "$build"
        ;;
      *.sh) PATH="$build/apps/kr0:$PATH" bash -euo pipefail "$block" > "$name.printed" 2>&1 || {
        cat "$name.printed" >&2
        exit 1
      } ;;
    esac
    if [ -e "$name.text" ]; then compare "$name.text" "$name.printed"; fi
  done 5< blocks
}

check_demo() {
  "$root/scripts/demo.sh" "$1" > "$work/printed"
  diff <(awk '$0 == "```" { inside = 0 } before == "```text" && /^\$ kr0 / { inside = 1 } inside { print } { before = $0 }' \
    "$root/docs/guide/verbs.md") "$work/printed"
}

case $1 in
  page) check_page "$2" "$(cd "$3" && pwd)" ;;
  example) check_example "$2" "$(cd "$3" && pwd)" ;;
  demo) check_demo "$2" ;;
  *) exit 2 ;;
esac
echo "the page tells the truth"
