#!/usr/bin/env bash
# Installs the Debian packages into a system that has nothing else, uses them as somebody would on the first day, and
# takes them away again. Tells how long each step took.
#
#   tests/packages/clean_root.sh FOLDER_OF_PACKAGES
#
# Needs root, mmdebstrap and the archive of the distribution.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
packages=$(realpath "$1")

skip() {
  echo "skipped: $*"
  exit 77
}

fail() {
  echo "$*" >&2
  exit 1
}

[ "$(id -u)" -eq 0 ] || skip "only root can enter another system"
command -v mmdebstrap >/dev/null || skip "there is no mmdebstrap"
work=$(mktemp -d)
system=$work/system
trap 'umount -q "$system/proc" || true; rm -rf "$work"' EXIT

# step <what> <command>...
step() {
  local what=$1 began=$EPOCHREALTIME
  shift
  "$@" >"$work/said" 2>&1 || fail "$what: $(tail -n 20 "$work/said")"
  awk -v a="$began" -v b="$EPOCHREALTIME" -v what="$what" 'BEGIN { printf "%7.1f s  %s\n", b - a, what }'
}

inside() {
  chroot "$system" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
    sh -ec "$*"
}

make_system() {
  # shellcheck disable=SC1091 # every system has it
  mmdebstrap --quiet --variant=apt --skip=cleanup/apt "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$system"
  mount -t proc proc "$system/proc"
  cp /etc/resolv.conf "$system/etc"
  mkdir "$system/packages" "$system/root/shelf"
  cp "$packages"/*.deb "$system/packages"
  cp "$root"/examples/library/library.{ecore,xmi} "$system/root/shelf"
}

# Names of files and folders that the packages left; what they brought is called after them.
left_over() { (cd "$system" && find etc usr var -path var/log -prune -o -path var/cache -prune -o -name '*kr0*' -print); }

# The program of the page that people see first.
readme_program() { awk '/^```cpp$/ { inside = 1; next } /^```$/ { if (inside) exit } inside' "$root/README.md"; }

if ! make_system >"$work/said" 2>&1; then
  grep -qiE 'resolve|connect|unreachable|failed to fetch' "$work/said" && skip "the archive of the distribution cannot be reached"
  fail "cannot make a system: $(tail -n 20 "$work/said")"
fi

step "install the tool" inside 'apt-get install -y --no-install-recommends /packages/kr0_*.deb /packages/libkr0-0*.deb'
step "convert a model" inside 'cd /root/shelf && kr0 convert library.xmi library.krb -m library.ecore &&
  kr0 convert library.krb back.xmi -m library.ecore && cmp library.xmi back.xmi'
# The tool has no page where it was built without Node.js, and says so.
step "write the page" inside 'cd /root/shelf && if kr0 report library.krb -m library.ecore -o report.html 2>said; then
    grep -q "<title>library.krb" report.html; else grep -q "built without the page" said; fi'
inside 'test -s /usr/share/man/man1/kr0-convert.1.gz && test -s /usr/share/bash-completion/completions/kr0' ||
  fail "manual pages or completion are not where they belong"

step "install the compiler and what programs are built with" inside 'apt-get install -y --no-install-recommends g++ pkg-config /packages/libkr0-dev_*.deb'
readme_program >"$system/root/shelf/shelf.cpp"
step "compile the program of README" inside 'cd /root/shelf && g++ -std=c++20 shelf.cpp -o shelf $(pkg-config --cflags --libs kr0-binary-io)'
[ "$(inside 'cd /root/shelf && ./shelf')" = "Moby Dick, 635 pages" ] || fail "the program of README says something else"

step "install the Python package" inside 'apt-get install -y --no-install-recommends /packages/python3-kr0_*.deb /packages/kr0-doc_*.deb'
[ "$(inside 'cd /root/shelf && python3 -c "import kr0; print(len(kr0.load(\"library.xmi\", kr0.Registry.from_ecore(\"library.ecore\"))))"')" = 37 ] ||
  fail "the Python package reads something else"
inside 'test -s /usr/share/doc/kr0/docs/formats/direct.md' || fail "the pages on the formats are not where they belong"

step "remove them all" inside 'apt-get purge -y "*kr0*"'
[ -z "$(left_over)" ] || fail "left over is: $(left_over)"
[ -z "$(inside 'dpkg --audit; dpkg -l | grep kr0 || true; ldconfig -p | grep kr0 || true')" ] || fail "the system still knows of the packages"
echo "installed, used and removed"
