#!/usr/bin/env bash
# A release stops at the first thing that is not true: each is made untrue once, in a clone.
set -euo pipefail
. "$(dirname "$0")/../../scripts/lib.sh"
if ! git -C "$root" rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  echo "skipped: these sources are no clone"
  exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
version=$(project_version)
failed=0

commit() { git commit --quiet --all --message "$1"; }

git clone --quiet --no-tags "$root" "$work/clone"
cd "$work/clone"
git config user.name kr0 && git config user.email kr0@localhost
git checkout --quiet -B main
# The scripts as they are here, committed or not.
cp -r "$root"/{scripts,packaging} . && cp "$root/CHANGELOG.md" . && cp -r "$root/tests/packages" tests
git add --all && git commit --quiet --allow-empty --message "as it is here"
sed -i "0,/^## .*/s//## $version ($(date -u +%Y-%m-%d))/" CHANGELOG.md
commit "the section of this release" || true

# stops_with <words>: not to be released, and the reason has these words.
stops_with() {
  local said
  if said=$(scripts/release.sh --check 2>&1); then
    echo "FAIL: it does not stop: $1"
    failed=$((failed + 1))
  elif ! grep -qF "$1" <<<"$said"; then
    echo "FAIL: not \"$1\" but $said"
    failed=$((failed + 1))
  fi
  git reset --quiet --hard good
  git clean --quiet -fd
}

scripts/release.sh --check >"$work/said" 2>&1 || { cat "$work/said"; exit 1; }
git tag good
echo more >new_file
stops_with "not committed"
git checkout --quiet -b other
stops_with "this is the branch other"
git checkout --quiet main
sed -i "0,/^## .*/s//## $version (not released yet)/" CHANGELOG.md && commit change
stops_with "the first section of CHANGELOG.md"
git tag "v$version"
stops_with "v$version was released already"
git tag -d "v$version" >/dev/null && git tag v999.0.0
stops_with "v999.0.0 comes after v$version"
git tag -d v999.0.0 >/dev/null
sed -i 's/"version": ".*"/"version": "0.0.1"/' packaging/vcpkg/ports/kr0/vcpkg.json && commit change
stops_with "recipes"
sed -i 's/^version: .*/version: 0.0.1/' tests/abi/made.txt && commit change
stops_with "tests/abi describes another version"
echo "$((8 - failed)) passed, $failed failed"
[ "$failed" -eq 0 ]
