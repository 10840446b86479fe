#!/usr/bin/env bash
# Uses the library as others will: installed and found by CMake, installed and found by pkg-config, and
# as a folder inside another project.
#
#   tests/install/run.sh find_package|pkg_config|subdirectory BUILD_FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
way=$1
build=$(cd "$2" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# The installed tree is moved once: nothing in it may know where it was first.
install_and_move() {
  cmake --install "$build" --prefix "$work/first" >/dev/null
  mv "$work/first" "$work/prefix"
}

# configure_and_run [cmake options...]
configure_and_run() {
  local launcher=()
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  cmake -S "$here/consumer" -B consumer -G Ninja "${launcher[@]}" "$@" >/dev/null
  cmake --build consumer -j "$(nproc)" >/dev/null
  consumer/typed_consumer
  consumer/consumer
}

use_pkg_config() {
  export PKG_CONFIG_PATH
  PKG_CONFIG_PATH=$(dirname "$(find prefix -name kr0-binary-io.pc)")
  local flags
  flags=$(pkg-config --cflags --libs kr0-binary-io)
  # shellcheck disable=SC2086 # the flags are words
  ${CXX:-g++} -std=c++20 "$here/consumer/main.cpp" $flags -o program
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir kr0-binary-io) ./program
}

case $way in
  find_package)
    install_and_move
    said=$(configure_and_run -DCMAKE_PREFIX_PATH="$work/prefix")
    prefix/bin/kr0 --version >/dev/null
    ;;
  pkg_config)
    install_and_move
    said=$(use_pkg_config)
    ;;
  subdirectory) said=$(configure_and_run -DKR0_FOLDER="$here/../..") ;;
  *)
    echo "unknown way: $way" >&2
    exit 2
    ;;
esac
[ "$said" = "it came back" ] || {
  echo "the program said: $said" >&2
  exit 1
}
echo "$way works"
