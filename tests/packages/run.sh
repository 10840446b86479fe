#!/usr/bin/env bash
# Makes the Debian packages from the source archive, where there is no git, and uses what is in them: unpacked into an
# empty folder, and installed into a system that has nothing else.
#
#   tests/packages/run.sh PYTHON [FOLDER]   keeps source archive, packages and inventory in FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../../scripts/lib.sh"
python=$1
keep=${2:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset PYTHONPATH LD_LIBRARY_PATH

fail() {
  echo "$*" >&2
  exit 1
}

# The sources as they are here, committed or not; those of an archive are themselves.
unpack_sources() {
  local commit archive
  sources=$root
  git -C "$root" rev-parse --is-inside-work-tree >/dev/null 2>&1 || return 0
  commit=$(git -C "$root" -c user.name=kr0 -c user.email=kr0@localhost stash create || true)
  archive=$("$root/scripts/source_archive.sh" "$work" "${commit:-HEAD}")
  cp "$archive" "$work/first.tar.gz"
  "$root/scripts/source_archive.sh" "$work" "${commit:-HEAD}" >/dev/null
  cmp "$archive" "$work/first.tar.gz" || fail "the source archive has other bytes each time"
  tar xzf "$archive" -C "$work"
  sources=$work/$(basename "$archive" .tar.gz)
  mkdir "$work/no_git"
  printf '#!/bin/sh\necho "$0 $*" >>%s\nexit 1\n' "$work/git_calls" >"$work/no_git/git"
  chmod +x "$work/no_git/git"
}

# Sources are compiled as in scripts/lib.sh, in a folder with another name each time, which the compiler's cache is told.
make_packages() {
  local launcher=()
  if command -v ccache >/dev/null; then
    launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    export CCACHE_BASEDIR=$work CCACHE_NOHASHDIR=1
  fi
  (cd "$sources" && export PATH="$work/no_git:$PATH" && cmake --preset packages -B "$work/build" "${launcher[@]}" "-DPython3_EXECUTABLE=$python" \
    -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=12 -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON &&
    cmake --build "$work/build" --target package -j "$(nproc)") >"$work/said" 2>&1 || fail "$(tail -n 40 "$work/said")"
  [ ! -e "$work/git_calls" ] || fail "the build asks for git: $(cat "$work/git_calls")"
}

check_names() {
  local version machine
  version=$(project_version)-1
  machine=$(dpkg --print-architecture)
  library=libkr0-$(cut -d. -f1,2 <<<"$version")
  diff <(printf '%s\n' "kr0_${version}_$machine.deb" "kr0-doc_${version}_all.deb" "${library}_${version}_$machine.deb" \
    "libkr0-dev_${version}_$machine.deb" "python3-kr0_${version}_$machine.deb" | LC_ALL=C sort) \
    <(cd "$work/build" && printf '%s\n' *.deb | LC_ALL=C sort) || fail "these are not the packages"
}

# files_of <package>: all of a package, without folders.
files_of() { dpkg-deb --fsys-tarfile "$work/build/$1"_*.deb | tar tf - | grep -v '/$' | LC_ALL=C sort; }

# What an installation has is in one package each; what is there beside it only Debian asks for.
check_files() {
  local package
  for package in kr0 kr0-doc "$library" libkr0-dev python3-kr0; do
    files_of "$package" >"$work/$package.files"
    for file in copyright changelog.Debian.gz; do
      grep -qx "./usr/share/doc/$package/$file" "$work/$package.files" || fail "$package has no $file"
    done
  done
  (cd "$work" && cat ./*.files) | grep -vE '/(copyright|changelog\.Debian\.gz)$' | sed '/\/man1\//s/\.gz$//' |
    LC_ALL=C sort >"$work/packed"
  DESTDIR=$work/installed cmake --install "$work/build" >/dev/null
  diff <(cd "$work/installed" && find . ! -type d | LC_ALL=C sort) "$work/packed" || fail "the packages have other files than an installation"
}

# Each kind of file is in the package that its users install.
check_places() {
  local wrong
  wrong=$(grep -vE "^./usr/(lib/[^/]+/libkr0_[a-z_]+\.so\.[0-9.]+|share/doc/$library/[^/]+)$" "$work/$library.files") && fail "in $library: $wrong"
  wrong=$(grep -vE '^./usr/(include/kr0/|lib/[^/]+/(cmake/kr0/|pkgconfig/|libkr0_[a-z_]+\.so$)|share/doc/libkr0-dev/)' "$work/libkr0-dev.files") && fail "in libkr0-dev: $wrong"
  wrong=$(grep -vE '^./usr/(bin/kr0$|share/(man/man1/|bash-completion/|zsh/|fish/|doc/kr0/[^/]+$))' "$work/kr0.files") && fail "in kr0: $wrong"
  wrong=$(grep -vE '^./usr/(bin/kr0-corpus$|lib/python3/dist-packages/kr0/|share/doc/python3-kr0/)' "$work/python3-kr0.files") && fail "in python3-kr0: $wrong"
  wrong=$(grep -vE '^./usr/share/doc/kr0' "$work/kr0-doc.files") && fail "in kr0-doc: $wrong"
  return 0
}

# expect_dependency <package> <pattern>
expect_dependency() {
  dpkg-deb --field "$work/build/$1"_*.deb Depends | grep -qE "(^|, )$2(,|$)" || fail "$1 does not depend on $2: $(dpkg-deb --field "$work/build/$1"_*.deb Depends)"
}

check_dependencies() {
  local of_this_version="$library \(= [0-9.]+-1\)"
  expect_dependency "$library" 'libstdc\+\+6 \(>= [0-9.]+\)'
  expect_dependency "$library" 'libpugixml1v5 [^,]*'
  expect_dependency libkr0-dev "$of_this_version"
  expect_dependency libkr0-dev libboost-dev
  expect_dependency kr0 "$of_this_version"
  expect_dependency python3-kr0 "$of_this_version"
  expect_dependency python3-kr0 'python3 \(<< 3\.[0-9]+\)'
  dpkg-deb --field "$work/build"/python3-kr0_*.deb Suggests | grep -q python3-dask || fail "python3-kr0 does not suggest Dask"
  dpkg-deb --ctrl-tarfile "$work/build/$library"_*.deb | tar xOf - ./shlibs | grep -qE "^libkr0_framework [0-9.]+ $library" ||
    fail "packages that use the libraries would not learn from which one they are"
}

# A command that finds the unpacked files where the system finds them when they are installed.
unpacked() {
  local usr=$work/system/usr
  (cd "$work/library" && env -i HOME="$work" PATH="$usr/bin:/usr/bin:/bin" PYTHONDONTWRITEBYTECODE=1 \
    PYTHONPATH="$usr/lib/python3/dist-packages" LD_LIBRARY_PATH="$(echo "$usr"/lib/*-linux-*)" "$@")
}

check_use() {
  local package file
  cp -r "$root/examples/library" "$work/library"
  for package in "$work/build"/*.deb; do dpkg-deb -x "$package" "$work/system"; done
  rm -rf "$work/build" "$work/installed"
  while IFS= read -r file; do
    if readelf -d "$file" | grep -E 'R(UN)?PATH'; then fail "$file looks for libraries where the system does not"; fi
  done < <(find "$work/system/usr" -name '*.so*' -type f -o -path '*/bin/kr0')
  [ "$(unpacked kr0 info library.xmi -m library.ecore | sed -n 's/^elements: //p')" = 37 ] || fail "the tool does not work"
  unpacked "$python" - "$work/system" <<'END' || fail "the Python package does not work"
import sys
import kr0

model = kr0.load("library.xmi", kr0.Registry.from_ecore("library.ecore"))
assert len(kr0.loads(model.to_bytes("krz"), format="krz")) == 37
loaded = {line.split()[-1] for line in open("/proc/self/maps") if "kr0_" in line or "_core.c" in line}
assert len(loaded) > 8 and all(file.startswith(sys.argv[1]) for file in loaded), loaded
END
  if unpacked "$python" -c 'import dask, pandas' 2>/dev/null; then
    unpacked kr0-corpus --help | grep -q '^usage: kr0-corpus' || fail "kr0-corpus does not work"
  fi
}

# Debian's own judgement. Who makes the packages is not known here.
check_lintian() {
  command -v lintian >/dev/null || return 0
  lintian --allow-root --fail-on error --suppress-tags bogus-mail-host,bogus-mail-host-in-debian-changelog \
    "$work/build"/*.deb >"$work/judged" 2>&1 || fail "$(grep '^E' "$work/judged")"
}

if ! command -v dpkg-shlibdeps >/dev/null; then
  echo "skipped: there are no dpkg-dev tools"
  exit 77
fi
unpack_sources
make_packages
check_names
check_files
check_places
check_dependencies
check_lintian
"$here/clean_root.sh" "$work/build" || [ $? -eq 77 ]
if [ -n "$keep" ]; then
  "$sources/scripts/sbom.py" "$work/build" -o "$keep/$(basename "$sources").spdx.json"
  cp "$work"/build/*.deb "$sources.tar.gz" "$keep"
fi
check_use
echo "the packages work"
