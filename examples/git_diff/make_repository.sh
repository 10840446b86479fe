#!/usr/bin/env bash
# Makes a repository with a model in it that git compares and merges by elements.
#
#   ./make_repository.sh FOLDER META.ecore MODEL.xmi
set -euo pipefail
meta=$(realpath "$2")
model=$(realpath "$3")
mkdir "$1"
cd "$1"
git init --quiet --initial-branch=main .
git config user.name "somebody" && git config user.email "somebody@example.org"
git config commit.gpgsign false
kr0 git-setup '*.krz' --apply

# change <sed program>: the model with a change, as somebody would make it in an editor.
change() {
  kr0 convert library.krz model.xmi
  sed -i "$1" model.xmi
  kr0 convert model.xmi library.krz -m library.ecore
  rm model.xmi
}

cp "$meta" library.ecore
kr0 convert "$model" library.krz -m library.ecore
git add --all && git commit --quiet --message "the library as it is"

git checkout --quiet -b moved
change "s/number=\"14\"/number=\"16\"/"
git commit --quiet --all --message "the library moved next door"

git checkout --quiet main
change "0,/pages=\"[0-9]*\"/s//pages=\"301\"/"
git commit --quiet --all --message "a second printing"
