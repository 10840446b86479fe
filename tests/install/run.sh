#!/usr/bin/env bash
# Uses the library as others will: installed and found by CMake, installed and found by pkg-config, as a folder
# inside another project, and where pugixml or pybind11 is missing.
#
#   tests/install/run.sh find_package|pkg_config|examples|subdirectory|without_pugixml|without_pybind11 BUILD_FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
way=$1
build=$(cd "$2" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
unset LD_LIBRARY_PATH # what is found without it is found by those who know nothing of it

fail() {
  echo "$*" >&2
  exit 1
}

# The installed tree is moved once: nothing in it may know where it was first.
install_and_move() {
  cmake --install "$build" --prefix "$work/first" >/dev/null
  mv "$work/first" "$work/prefix"
}

# Nothing but one folder lies in include/, and the documentation is there.
check_listing() {
  local found page
  check_shell_helpers
  check_page_links
  found=$(ls prefix/include)
  [ "$found" = kr0 ] || fail "include/ holds: $found"
  for page in kr0.h kr/zero/Model.h kr/zero/io/BinaryParser.h kr/zero/ecore/Ecore.h kr/zero/archive/Archive.h foundation/core/except.h; do
    [ -f "prefix/include/kr0/$page" ] || fail "there is no include/kr0/$page"
  done
  for page in LICENSE README.md CHANGELOG.md docs/formats/direct.md docs/formats/tagged.md docs/formats/archive.md docs/guide/first-model.md; do
    cmp -s "$root/$page" "prefix/share/doc/kr0/$page" || fail "share/doc/kr0/$page is not the project's"
  done
}

# Links of the installed pages lead to what is installed.
check_page_links() {
  local page link
  while IFS=: read -r page link; do
    link=${link#](} link=${link%[#)]*}
    [ -e "$(dirname "$page")/$link" ] || fail "$page has a link to $link, which is not installed"
  done < <(grep -roE --include='*.md' '\]\([A-Za-z0-9_./-]+[#)]' prefix/share/doc/kr0)
}

# Manual pages of all verbs, and completion scripts where shells look for them.
check_shell_helpers() {
  local page
  for page in man/man1/kr0.1 man/man1/kr0-convert.1 man/man1/kr0-schema-diff.1 bash-completion/completions/kr0 \
    zsh/site-functions/_kr0 fish/vendor_completions.d/kr0.fish; do
    [ -s "prefix/share/$page" ] || fail "there is no share/$page"
  done
}

# configure_and_run [cmake options...]
configure_and_run() {
  local launcher=()
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  cmake -S "$here/consumer" -B consumer -G Ninja "${launcher[@]}" "$@" >/dev/null
  cmake --build consumer -j "$(nproc)" >/dev/null
  if [ "$way" = find_package ]; then consumer/typed_consumer; fi
  consumer/consumer
}

use_pkg_config() {
  export PKG_CONFIG_PATH
  PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name kr0-binary-io.pc)")
  local flags
  flags=$(pkg-config --cflags --libs kr0-archive)
  # shellcheck disable=SC2086 # the flags are words
  ${CXX:-g++} -std=c++20 "$here/consumer/main.cpp" $flags -o program
  ./program
}

# Where the loader looks anyway, the libraries' path must not get into programs.
check_system_prefix() {
  DESTDIR="$work/staged" cmake --install "$build" --prefix /usr >/dev/null
  local file
  file=$(find staged -name kr0-binary-io.pc)
  [ -n "$file" ] || fail "kr0-binary-io.pc is not installed below /usr"
  if grep -q rpath "$file"; then fail "a system prefix is named in programs: $(grep rpath "$file")"; fi
}

# Everything but kr0::ecore is there, and a word says why that is not.
configure_without_pugixml() {
  local said
  said=$(cmake -S "$root" -B without -G Ninja -DCMAKE_DISABLE_FIND_PACKAGE_pugixml=ON -DKR0_BUILD_TOOL=OFF \
    -DKR0_BUILD_TESTS=OFF 2>&1) || fail "$said"
  grep -q "kr0::ecore is left out: pugixml was not found" <<<"$said" || fail "nothing is said of kr0::ecore: $said"
  cmake --build without --target help | grep -q '^kr0_binary_io:' || fail "kr0_binary_io is missing"
  if cmake --build without --target help | grep -q '^kr0_ecore:'; then fail "kr0_ecore is there"; fi
}

# Everything but the Python module is there, and a word says why that is not.
configure_without_pybind11() {
  local said
  said=$(cmake -S "$root" -B without -G Ninja -DCMAKE_DISABLE_FIND_PACKAGE_pybind11=ON -DKR0_BUILD_PYTHON=ON \
    -DKR0_BUILD_TESTS=OFF 2>&1) || fail "$said"
  grep -qE "the Python module is left out: (pybind11 was not found|no Python of)" <<<"$said" || fail "nothing is said of it: $said"
  cmake --build without --target help | grep -q '^kr0_archive:' || fail "kr0_archive is missing"
  if cmake --build without --target help | grep -q '^kr0_python:'; then fail "kr0_python is there"; fi
}

# Each example is a project of its own where kr0 is installed, and does what its README shows.
use_examples() {
  local lists example launcher=()
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  for lists in "$root"/examples/*/CMakeLists.txt; do
    example=$(basename "$(dirname "$lists")")
    cp -r "$root/examples/$example" "$example"
    cmake -S "$example" -B "built/$example" -G Ninja "${launcher[@]}" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
    cmake --build "built/$example" || fail "$example does not build"
    PATH="$work/built/$example:$PATH" "$root/tests/pages/run.sh" example "$example" "$build" || fail "$example does something else"
  done
}

# expect_note <what the program said>
expect_note() { [ "$1" = "it came back" ] || fail "the program said: $1"; }

case $way in
  find_package)
    install_and_move
    check_listing
    expect_note "$(configure_and_run -DCMAKE_PREFIX_PATH="$work/prefix")"
    prefix/bin/kr0 --version >/dev/null
    ;;
  pkg_config)
    install_and_move
    expect_note "$(use_pkg_config)"
    check_system_prefix
    ;;
  examples)
    install_and_move
    use_examples
    ;;
  subdirectory) expect_note "$(configure_and_run -DKR0_FOLDER="$root")" ;;
  without_pugixml) configure_without_pugixml ;;
  without_pybind11) configure_without_pybind11 ;;
  *)
    echo "unknown way: $way" >&2
    exit 2
    ;;
esac
echo "$way works"
