#!/usr/bin/env bash
# Whether every public name has a comment, and no comment speaks of what is not there: makes the reference of the
# public interface, where each warning is an error. Ends with 77 where Doxygen is missing.
#
#   scripts/check_api.sh BUILD_FOLDER
set -euo pipefail
if ! command -v doxygen >/dev/null; then
  echo "skipped: there is no doxygen (Debian: apt-get install doxygen)"
  exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
{
  cat "$1/docs/Doxyfile"
  echo "OUTPUT_DIRECTORY = $work"
  echo "WARN_AS_ERROR = FAIL_ON_WARNINGS"
} | doxygen -
pages=$(find "$work" -name 'class*.html' | wc -l)
if [ "$pages" -lt 50 ]; then
  echo "the reference has $pages classes: headers are missing" >&2
  exit 1
fi
echo "every public name is documented: $pages pages of classes"
