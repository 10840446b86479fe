#!/usr/bin/env bash
# Fails where the committed formatter configuration would change a source file.
set -euo pipefail
cd "$(dirname "$0")/.."

# Without git (an archive, say) the folders of sources stand for the list of files.
list_sources() {
  if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    git ls-files -- '*.cpp' '*.h'
  else
    find apps benchmarks examples fuzz include interop src tests -name '*.cpp' -o -name '*.h'
  fi
}

mapfile -t sources < <(list_sources)
[ "${#sources[@]}" -gt 0 ] || { echo "no sources found" >&2; exit 1; }
clang-format --dry-run -Werror "${sources[@]}"
echo "${#sources[@]} files are formatted"
