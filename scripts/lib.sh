# shellcheck shell=bash disable=SC2034 # whoever sources this uses the lists
# Shared by the scripts of this folder; to be sourced by bash with -euo pipefail.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc 2>/dev/null || echo 2)

build_packages="g++ cmake ninja-build libboost-dev libpugixml-dev libcli11-dev libutfcpp-dev nlohmann-json3-dev \
  libzstd-dev libxxhash-dev zlib1g-dev libssl-dev libsqlite3-dev pkg-config"
test_packages="libgtest-dev libgmock-dev librapidcheck-dev clang-format python3 xz-utils zstd graphviz"
# The Python package: its module, its tests, what some of its functions use, its wheel.
python_packages="pybind11-dev python3-dev python3-numpy python3-pytest mypy python3-flake8 python3-pandas \
  python3-networkx python3-dask python3-distributed python3-nbclient python3-ipykernel python3-psutil \
  python3-build python3-setuptools python3-wheel python3-venv python3-pip"
ci_packages="clang ccache lintian doxygen default-jdk-headless libeclipse-emf-common-java libeclipse-emf-ecore-java libeclipse-emf-ecore-xmi-java"

# Programs that build and try the page of kr0 report, each as program:package.
page_programs="node:nodejs npm:npm chromium:chromium"

# What scripts/coverage.sh needs beside those.
coverage_packages="clang-19 llvm-19"
abi_packages="abigail-tools binutils xz-utils"
lint_packages="clang-tidy cppcheck"
release_packages="mmdebstrap"
# What scripts/site.sh needs.
site_packages="doxygen python3-sphinx python3-myst-parser python3-breathe furo"
fuzz_packages="clang-19 libclang-rt-19-dev llvm-19 zstd"

# The version, which stands in CMakeLists.txt alone.
project_version() { sed -nE 's/^project\(kr0 VERSION ([0-9.]+).*/\1/p' "$root/CMakeLists.txt"; }

is_installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

as_root() { if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi; }

# install_packages <name>...: installs what is missing, or says in one line what to install.
install_packages() {
  local name missing=()
  if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    echo "$0: no apt-get here; what Debian calls these is needed: $*" >&2
    return 0 # it may be there under other names
  fi
  for name in "$@"; do is_installed "$name" || missing+=("$name"); done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "== installing ${missing[*]}"
  as_root apt-get -qq update </dev/null >/dev/null 2>&1 || true # old lists may do
  if as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends install "${missing[@]}" \
    </dev/null >/dev/null 2>&1; then
    return 0
  fi
  echo "$0: cannot install packages here; please run: apt-get install ${missing[*]}" >&2
  return 1
}

# install_programs <program:package>...: installs the packages of programs that are not there, whoever brought the others.
# (Debian's npm does not go with a Node.js that has its own.)
install_programs() {
  local each missing=()
  for each in "$@"; do command -v "${each%:*}" >/dev/null || missing+=("${each#*:}"); done
  [ ${#missing[@]} -eq 0 ] || install_packages "${missing[@]}"
}

# build_preset <preset> [cmake options...]: configures and builds into build/<preset>. Options in
# KR0_CONFIGURE_OPTIONS are added. All is built, or the targets in KR0_BUILD_TARGET. Sources are compiled several at a
# time, which takes half as long where everything is built; whoever changes one of them builds quicker without
# (cmake --preset).
build_preset() {
  local preset=$1
  shift
  export CCACHE_SLOPPINESS=pch_defines,time_macros # or it passes over whatever uses precompiled headers
  command -v ccache >/dev/null && set -- -DCMAKE_CXX_COMPILER_LAUNCHER=ccache "$@"
  echo "== building $preset"
  # shellcheck disable=SC2086 # the options and targets are words
  (cd "$root" &&
    cmake --preset "$preset" -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=12 "$@" ${KR0_CONFIGURE_OPTIONS:-} >/dev/null &&
    cmake --build "build/$preset" --target ${KR0_BUILD_TARGET:-all} -j "$jobs")
}
