#!/usr/bin/env bash
# Makes the site of the documentation, and looks whether all that it is to have is on it and is found without a server.
#
#   tests/site/run.sh BUILD_FOLDER
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

python=$(sed -n 's/^Python3_EXECUTABLE:[A-Z]*=//p' "$build/CMakeCache.txt")
if ! command -v doxygen >/dev/null || ! command -v chromium >/dev/null || ! "$python" -c 'import breathe, furo, myst_parser, sphinx' 2>/dev/null; then
  echo "skipped: doxygen, chromium, sphinx, breathe, myst_parser or furo is missing (scripts/site.sh installs all but chromium)"
  exit 77
fi
"$root/scripts/site.sh" "$build" "$work/site" >"$work/said" 2>&1 || {
  cat "$work/said" >&2
  exit 1
}
if grep -i 'warning' "$work/said" >&2; then exit 1; fi
PYTHONPATH=$build/python PYTHONDONTWRITEBYTECODE=1 "$python" "$root/tests/site/check.py" "$root" "$work/site" "$build/apps/kr0/kr0"
