#!/usr/bin/env bash
# Whether the library prints the same documents where it was built against headers that know only the named
# operations.
#
#   tests/seam/run.sh NAMED ORDINARY
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$1" > "$work/named"
"$2" > "$work/ordinary"
[ -s "$work/ordinary" ]
cmp "$work/named" "$work/ordinary"
