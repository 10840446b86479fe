#!/usr/bin/env bash
# Takes the example model from XMI to both binary formats, back, and into an archive, and looks at it on the way.
#
#   scripts/demo.sh         installs what is missing and builds the tool first
#   scripts/demo.sh TOOL    uses a tool that is there
set -euo pipefail
. "$(dirname "$0")/lib.sh"

tool=${1:-$root/build/release/apps/kr0/kr0}
if [ $# -eq 0 ]; then
  # shellcheck disable=SC2086 # the lists are words
  install_packages $build_packages >&2
  build_preset release -DKR0_BUILD_TESTS=OFF -DKR0_BUILD_REPORT=OFF >&2
fi
tool=$(realpath "$tool")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$root"/examples/library/library.{ecore,xmi} "$work"
cd "$work"

# Shows a command as a user would type it, then runs it.
run() {
  echo "\$ kr0 $*"
  "$tool" "$@"
}

run convert library.xmi library.krb -m library.ecore
run info library.krb -m library.ecore
echo '$ kr0 cat library.krb -m library.ecore | head -n 12'
"$tool" cat library.krb -m library.ecore | head -n 12
run convert library.krb library.krt -m library.ecore
echo '$ kr0 cat library.krt | head -n 6'
"$tool" cat library.krt | head -n 6
run convert library.krt back.xmi -m library.ecore
cmp library.xmi back.xmi
run convert library.xmi library.krz -m library.ecore
echo '$ kr0 cat library.krz | head -n 2'
"$tool" cat library.krz | head -n 2
echo '$ kr0 unpack library.krz -d parts && ls parts'
"$tool" unpack library.krz -d parts && ls parts
cmp library.krb parts/library.krb
xmi=$(stat -c %s library.xmi) krb=$(stat -c %s library.krb) krt=$(stat -c %s library.krt)
echo "The model came back byte for byte: $xmi bytes as XMI, $krb bytes as krb ($((100 * krb / xmi)) %),"
echo "$krt bytes as krt, which needs no meta model to be looked at ($((100 * krt / xmi)) %)."
