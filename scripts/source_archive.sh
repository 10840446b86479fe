#!/usr/bin/env bash
# Packs the sources: kr0-VERSION.tar.gz, which builds without git and has the same bytes whenever and wherever it is made
# of the same commit.
#
#   scripts/source_archive.sh FOLDER [COMMIT]   of what is committed last, unless given
set -euo pipefail
. "$(dirname "$0")/lib.sh"

folder=$(realpath "$1")
name=kr0-$(project_version)
git -C "$root" archive --format=tar --prefix="$name/" "${2:-HEAD}" | gzip -9n >"$folder/$name.tar.gz"
echo "$folder/$name.tar.gz"
