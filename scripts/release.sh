#!/usr/bin/env bash
# Makes a release, and stops at the first thing that is not true. What it makes lies in build/release-VERSION; nothing is
# published: the last lines say what is left to do by hand.
#
#   scripts/release.sh            all of it, about an hour and a half
#   scripts/release.sh --check    only what is told in a second: whether everything says the same version, and more
#
# The list that it goes through:
#    1  the work is committed, on the branch main
#    2  CHANGELOG.md has a section for the version, with today's date, and nothing above it
#    3  no release has this version already, and it is the next one
#    4  the recipes and the described binary interface are of this version
#    5  the sources are formatted and include each other one way
#    6  .ci/run passes, binary interface included
#    7  the source archive has the same bytes twice, builds without git, and makes packages that install, work and go
#    8  the wheel installs and works
#    9  the site of the documentation is made without a warning
#   10  the inventory of the build (SPDX) is written, and digests of all files
set -euo pipefail
. "$(dirname "$0")/lib.sh"
cd "$root"

version=$(project_version)
out=$root/build/release-$version

step() { echo "== $*"; }
stop() {
  echo "$0: $*" >&2
  exit 1
}

# What can be told at once.
check_words() {
  step "the work is committed, on the branch main"
  [ -z "$(git status --porcelain)" ] || stop "there is work that is not committed: $(git status --short | head -n 5)"
  [ "$(git branch --show-current)" = main ] || stop "this is the branch $(git branch --show-current)"

  step "CHANGELOG.md has a section for $version"
  local head
  head=$(grep -m 1 '^## ' CHANGELOG.md)
  [ "$head" = "## $version ($(date -u +%Y-%m-%d))" ] ||
    stop "the first section of CHANGELOG.md is \"$head\", not \"## $version ($(date -u +%Y-%m-%d))\""

  step "$version comes after the last release"
  local last
  last=$(git tag --list 'v*' --sort=-v:refname | head -n 1)
  [ "$last" != "v$version" ] || stop "v$version was released already; the version stands in CMakeLists.txt"
  [ "$(printf '%s\n' "$last" "v$version" | sort -V | tail -n 1)" = "v$version" ] || stop "$last comes after v$version"

  step "the recipes and the described binary interface are of $version"
  python3 tests/packages/recipes.py 2>&1 || stop "the recipes in packaging/ are not of this version"
  grep -qx "version: $version" tests/abi/made.txt || stop "tests/abi describes another version: scripts/check_abi.sh build/release --renew"

  step "the sources are formatted and include each other one way"
  scripts/check_format.sh
  scripts/check_layers.sh >/dev/null
}

make_files() {
  rm -rf "$out"
  mkdir -p "$out"
  step "the source archive, and Debian packages from it, without git, in a system that has nothing else"
  tests/packages/run.sh /usr/bin/python3 "$out"
  step "the wheel"
  tests/python/wheel.sh /usr/bin/python3 "$out"
  step "the site"
  scripts/site.sh
  tar -c --sort=name --mtime="@$SOURCE_DATE_EPOCH" --owner=0 --group=0 --numeric-owner -C build site |
    gzip -9n >"$out/kr0-$version-site.tar.gz"
  step "digests"
  (cd "$out" && sha256sum -- * >SHA256SUMS)
}

SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH
check_words
[ "${1:-}" != --check ] || exit 0
# shellcheck disable=SC2086 # the lists are words
install_packages $build_packages $test_packages $python_packages $ci_packages $release_packages
step "the long checks"
.ci/run
make_files
ls -l "$out"
cat <<END
All of it is true. Left to do:
  git tag --sign v$version --message "kr0 $version" && git push origin v$version
  sign $out/SHA256SUMS, and put the files of that folder beside the tag
  set the next version in CMakeLists.txt, and begin a section "## NEXT (not released yet)" in CHANGELOG.md
END
