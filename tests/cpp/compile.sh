#!/usr/bin/env bash
# Generates code for meta models and has a compiler look at all of it: every class with every member, under the
# warnings that others build with, as errors.
#
#   tests/cpp/compile.sh TOOL INCLUDE_FOLDERS COMPILER META.ecore...
#
# INCLUDE_FOLDERS are joined by ":". Where a meta model is not there the check is skipped, with exit code 77.
set -euo pipefail
tool=$1 folders=$2 compiler=$3
shift 3
for path in "$@"; do
  if [ ! -e "$path" ]; then
    echo "skipped: $path is not there"
    exit 77
  fi
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$tool" generate cpp "$@" -o "$work"

# Members of templates are looked at when they are instantiated: so all of them are.
{
  for header in "$work"/*.kr0.h; do echo "#include \"$(basename "$header")\""; done
  awk '
    /^namespace / { space = "::" $2 }
    /^class Basic[A-Za-z0-9_]*$/ { class = space "::" $2; print "template class " class "<::kr::zero::Element>;" }
    / public ::[A-Za-z0-9_:]*Features<Basic/ {
      match($0, /::[A-Za-z0-9_:]*Features</); features = substr($0, RSTART, RLENGTH)
      match($0, /, Handle, [0-9]+>/); first = substr($0, RSTART + 10, RLENGTH - 10)
      print "template class " features class "<::kr::zero::Element>, ::kr::zero::Element, " first ";"
    }' "$work"/*.kr0.h
} >"$work/everything.cpp"
grep -q '^template class .*Features<' "$work/everything.cpp" # or there was nothing to look at

read -r -a includes <<<"-I$work -I${folders//:/ -I}"
for source in "$work/everything.cpp" "$work/meta_models.kr0.cpp"; do
  "$compiler" -std=c++20 -c -o /dev/null -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wpedantic -Werror \
    "${includes[@]}" "$source"
done
echo "compiled $(grep -c '^template class .*Features<' "$work/everything.cpp") groups of features with $compiler"
