#!/usr/bin/env bash
# Makes the site of the documentation: guides, formats and all other pages, what the tool says of its verbs, what headers
# and the Python package say of themselves. Searching it needs no server. A warning, or a link that leads nowhere within the site,
# ends it.
#
#   scripts/site.sh [--external] [BUILD_FOLDER [SITE_FOLDER]]
#
#   --external    follows links that lead out of the site, too
#   BUILD_FOLDER  has the tool and the Python module; without it they are built, in build/release
#   SITE_FOLDER   becomes the site, where all went well; build/site without it. What it is made from is beside it, in
#                 SITE_FOLDER.work
set -euo pipefail
. "$(dirname "$0")/lib.sh"

external=()
if [ "${1:-}" = --external ]; then
  external=(--external)
  shift
fi
build=${1:-$root/build/release}
site=$(realpath -m "${2:-$root/build/site}")
if [ -e "$site" ] && [ ! -e "$site/searchindex.js" ]; then
  echo "$0: $site is there, and is no site" >&2
  exit 1
fi
# shellcheck disable=SC2086 # the list is words
install_packages $site_packages
if [ $# -eq 0 ]; then
  # shellcheck disable=SC2086 # the lists are words
  install_packages $build_packages $python_packages
  KR0_BUILD_TARGET="kr0 kr0_python" build_preset release -DKR0_BUILD_PYTHON=ON
fi
build=$(realpath "$build")
for needed in apps/kr0/kr0 python/kr0/__init__.py docs/Doxyfile; do
  if [ ! -e "$build/$needed" ]; then
    echo "$0: there is no $build/$needed: the site takes a build with -DKR0_BUILD_PYTHON=ON" >&2
    exit 1
  fi
done
python=$(sed -n 's/^Python3_EXECUTABLE:[A-Z]*=//p' "$build/CMakeCache.txt")

# The pages lie as in the tree, so that links between them are the same on a forge and here.
work=$site.work
rm -rf "$work"
mkdir -p "$work/source/reference"
for entry in "$root"/*; do
  case ${entry##*/} in build* | dist) ;; *) ln -s "$entry" "$work/source/" ;; esac
done
cat "$root/README.md" "$root/docs/site/contents.md" > "$work/source/index.md"
ln -s "$root/docs/site/reference/python" "$work/source/reference/python"

"$build/apps/kr0/kr0" man -o "$work/man"
"$python" "$root/docs/site/tool_pages.py" "$work/man" "$work/source/reference/tool"

{
  cat "$build/docs/Doxyfile"
  printf '%s\n' "OUTPUT_DIRECTORY = $work" "GENERATE_HTML = NO" "GENERATE_XML = YES" "XML_PROGRAMLISTING = NO" \
    "MAX_INITIALIZER_LINES = 0" "WARN_AS_ERROR = FAIL_ON_WARNINGS"
} | doxygen -
"$python" "$root/docs/site/header_pages.py" "$root" "$work/xml" "$work/source/reference/cpp"

KR0_SITE_VERSION=$("$build/apps/kr0/kr0" --version | grep -oE '[0-9]+\.[0-9]+\.[0-9]+')
export KR0_SITE_VERSION KR0_SITE_XML=$work/xml PYTHONPATH=$build/python PYTHONDONTWRITEBYTECODE=1
"$python" -m sphinx -q -W --keep-going -n -j "$jobs" -c "$root/docs/site" -d "$work/doctrees" "$work/source" "$work/site"
"$python" "$root/docs/site/check_links.py" "${external[@]}" "$work/site"
rm -rf "$site"
mv "$work/site" "$site"
echo "see $site/index.html"
