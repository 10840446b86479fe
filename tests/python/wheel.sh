#!/usr/bin/env bash
# Makes a wheel and uses it as others will: from the source archive, installed into a new virtual environment where
# nothing of the sources and of the build can be reached, and taken away again.
#
#   tests/python/wheel.sh PYTHON [FOLDER]   keeps the wheel in FOLDER
set -euo pipefail
. "$(dirname "$0")/../../scripts/lib.sh"
python=$1
keep=${2:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset PYTHONPATH LD_LIBRARY_PATH

fail() {
  echo "$*" >&2
  exit 1
}

# Sources are compiled as in scripts/lib.sh. They lie in another folder each time, so the compiler's cache is told
# what part of their names means nothing.
build_wheel() {
  export TMPDIR=$work/temporary KR0_CONFIGURE_OPTIONS="-DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=12 -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON"
  mkdir "$TMPDIR"
  if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_BASEDIR=$work CCACHE_NOHASHDIR=1
  fi
  cp -r "$root/examples/library" "$work/library"
  copy_sources
  (cd "$work/sources" && "$python" -m build --no-isolation --outdir "$work/dist" >"$work/said" 2>&1) ||
    fail "$(tail -n 40 "$work/said")"
  unset TMPDIR
}

# Of a clone what git knows: so the source archive gets nothing that lies about.
copy_sources() {
  mkdir "$work/sources"
  if git -C "$root" rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    git -C "$root" ls-files -z | (cd "$root" && xargs -0 tar cf - --ignore-failed-read) | tar xf - -C "$work/sources"
  else
    (cd "$root" && tar cf - --exclude=./build --exclude='./build-*' .) | tar xf - -C "$work/sources"
  fi
}

# For this Python and this machine, and with all of the package in it.
check_wheel() {
  local version tag
  version=$(project_version)
  tag=$("$python" -c 'import sys; print("cp%d%d" % sys.version_info[:2])')
  [ "$(ls "$work/dist")" = "kr0-$version-$tag-$tag-linux_$(uname -m).whl
kr0-$version.tar.gz" ] || fail "made was: $(ls "$work/dist")"
  diff <(cd "$work/sources/python" && find kr0 -name '*.py' -o -name '*.pyi' -o -name py.typed | sort) \
    <("$python" -m zipfile -l "$work"/dist/*.whl | grep -oE '^kr0/[^ ]*(\.pyi?|py\.typed) ' | tr -d ' ' | sort) ||
    fail "the wheel has other files of Python than the package"
}

# Behind this nothing is left of sources and build but the wheel.
install_wheel() {
  "$python" -m venv --system-site-packages "$work/venv"
  [ -z "$keep" ] || cp "$work"/dist/*.whl "$keep"
  "$work/venv/bin/pip" install --quiet --no-index "$(echo "$work"/dist/*.whl)"
  rm -rf "$work/sources" "$work/temporary" "$work/dist"
  package=$(cd / && clean "$work/venv/bin/python" -c 'import kr0; print(kr0.__path__[0])')
  [[ $package = $work/venv/* ]] || fail "imported was $package"
}

# A command as somebody runs it who knows nothing of the build.
clean() { env -i HOME="$work" PATH="$work/venv/bin:/usr/bin:/bin" "$@"; }

# What is compiled is found within the package, knows no other folder, and has no symbols for debuggers.
check_binaries() {
  local file found=0
  while IFS= read -r file; do
    found=$((found + 1))
    if ! clean ldd "$file" | awk -v here="$package/" '/libkr0/ && index($3, here) != 1 { print; bad = 1 } END { exit bad }'; then
      fail "$file finds libraries elsewhere"
    fi
    if readelf -d "$file" | grep -E 'R(UN)?PATH' | grep -v '\[\$ORIGIN'; then fail "$file looks elsewhere"; fi
    if readelf -S "$file" | grep -E '\.debug_|\.symtab'; then fail "$file has symbols for debuggers"; fi
  done < <(find "$package" -name '*.so*' -o -path '*/bin/*' -type f)
  [ "$found" -gt 8 ] || fail "only $found compiled files are in the wheel"
  if grep -rlF -e "$root/" -e "$work/temporary" "$package"; then fail "files of the wheel name folders of the build"; fi
}

# A model is read, written and read again; all libraries that are loaded then are the wheel's.
check_module() {
  (cd "$work/library" && clean "$work/venv/bin/python" - "$package" <<'END'
import sys
import kr0

registry = kr0.Registry.from_ecore("library.ecore")
model = kr0.load("library.xmi", registry)
kr0.save(model, "library.krz")
again = kr0.load("library.krz")
assert len(again) == len(model) == 37
assert again.to_bytes("krb") == model.to_bytes("krb")
loaded = {line.split()[-1] for line in open("/proc/self/maps") if "kr0" in line.rsplit("/")[-1] or "_core.c" in line}
assert len(loaded) > 8, loaded
assert all(file.startswith(sys.argv[1]) for file in loaded), loaded
END
  ) || fail "the module does not work"
}

check_commands() {
  local version
  version=$(cd / && clean "$work/venv/bin/python" -c 'import kr0; print(kr0.__version__)')
  [ "$(cd / && clean kr0 --version)" = "kr0 $version" ] || fail "kr0 --version says: $(clean kr0 --version)"
  (cd "$work/library" && clean kr0 info library.krz | grep -q "^elements: 37$") || fail "kr0 info does not work"
  if clean kr0 info no-such-file 2>/dev/null; then fail "the tool's exit code is lost"; fi
  if ! clean python3 -c 'import dask, pandas' 2>/dev/null; then return; fi
  (cd / && clean kr0-corpus --help | grep -q '^usage: kr0-corpus') || fail "kr0-corpus --help does not work"
}

check_uninstall() {
  "$work/venv/bin/pip" uninstall --quiet --yes kr0
  [ ! -e "$package" ] || fail "left behind: $(find "$package")"
  [ ! -e "$work/venv/bin/kr0" ] && [ ! -e "$work/venv/bin/kr0-corpus" ] || fail "commands are left behind"
}

if ! "$python" -c 'import build, setuptools, wheel, venv' 2>/dev/null; then
  echo "skipped: $python has no build, setuptools, wheel or venv"
  exit 77
fi
build_wheel
check_wheel
install_wheel
check_binaries
check_module
check_commands
check_uninstall
echo "the wheel works"
