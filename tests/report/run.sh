#!/usr/bin/env bash
# Builds the page of `kr0 report` in a folder of its own and tests it in a browser: unit tests, every view, keyboard,
# accessibility, hostile texts, figures.
#
#   tests/report/run.sh [FOLDER]      FOLDER: where it is built, build/report-page unless given
#
# KR0_TOOL=path takes pages from the tool too, KR0_MODELS=path real models with it; KR0_CHROMIUM names the browser.
# Without node, npm, a network or a browser it is skipped (exit code 77).
set -euo pipefail
cd "$(dirname "$0")/../.."
room=$(realpath -m "${1:-build/report-page}")

missing() {
  echo "skipped: $1 is not here"
  exit 77
}
command -v node >/dev/null || missing node
command -v npm >/dev/null || missing npm
[ -x "${KR0_CHROMIUM:-/usr/bin/chromium}" ] || missing "${KR0_CHROMIUM:-/usr/bin/chromium}"

# Modules are fetched anew only where the lock file has changed.
mkdir -p "$room"
cp -R web/report/. "$room.new" && rm -rf "$room.new/node_modules"
for each in "$room"/* "$room"/.npmrc; do
  case $(basename "$each") in node_modules | installed.json) ;; *) rm -rf "$each" ;; esac
done
cp -R "$room.new/." "$room" && rm -rf "$room.new"
if ! cmp -s "$room/package-lock.json" "$room/installed.json"; then
  if ! (cd "$room" && npm ci --no-audit --no-fund) >"$room/npm.log" 2>&1; then
    cat "$room/npm.log"
    grep -qE 'ENOTFOUND|EAI_AGAIN|ETIMEDOUT|ECONNREFUSED|ECONNRESET|ENETUNREACH' "$room/npm.log" && missing "the registry of npm"
    exit 1
  fi
  cp "$room/package-lock.json" "$room/installed.json"
fi

(cd "$room" && npm run --silent check && npm run --silent build -- --outfile="$room/report.html")
KR0_REPORT_ROOM=$room node --test --test-concurrency=2 tests/report/*.test.mjs
