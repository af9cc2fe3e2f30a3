#!/bin/sh
# Tests that an installation does not reveal where it was built or first installed, and works after
# it has been moved.
# usage: installed.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
build=$(dirname "$2")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

cmake --install "$build" --prefix "$folder/first" >/dev/null
mv "$folder/first" "$folder/moved"
if grep -rlF -e "$folder/first" -e "$build" -e "$1" "$folder/moved"; then
  echo "FAILED: these tell where they come from" >&2
  exit 1
fi
"$1/tests/system/use_installed.sh" "$1" "$folder/moved/bin" "$3"
