#!/usr/bin/env bash
# Makes the pictures of the page of `kr0 report` in docs/images anew, from the library example.
#
#   scripts/screenshots.sh [TOOL]      TOOL: build/release/apps/kr0/kr0 unless given
#
# It takes the browser and the modules that tests/report/run.sh uses, and pngquant.
set -euo pipefail
cd "$(dirname "$0")/.."
tool=$(realpath "${1:-build/release/apps/kr0/kr0}")
room=$(realpath -m build/report-page)
[ -d "$room/node_modules" ] || { echo "$room has no modules: run tests/report/run.sh first" >&2; exit 1; }
command -v pngquant >/dev/null || { echo "pngquant is not here" >&2; exit 1; }
KR0_TOOL=$tool KR0_REPORT_ROOM=$room node tests/report/screenshots.mjs docs/images
pngquant --force --ext .png --speed 1 --strip 128 docs/images/report-*.png
ls -l docs/images
