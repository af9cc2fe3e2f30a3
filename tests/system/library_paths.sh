#!/bin/sh
# Tests that nothing that is built or installed loads libraries from the current folder, where a
# list may have put them.
# usage: library_paths.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
build=$(dirname "$2")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$1/scripts/check-library-paths" "$build"
cmake --install "$build" --prefix "$folder/installed" >/dev/null
cmake --install "$build" --prefix "$folder/python" --component python >/dev/null
for tree in installed python; do
  "$1/scripts/check-library-paths" "$folder/$tree"
done

# make_library PATHS: one that looks for others there.
make_library() {
  echo 'int nothing;' | "$3" -x c++ -shared -nostdlib -Wl,-rpath,"$1" -o "$2/library.so" -
}

# The check sees what it has to see.
mkdir "$folder/made"
# shellcheck disable=SC2016  # for the system's loader
for paths in : lib '$ORIGIN:' '/usr/lib::$ORIGIN' '$ORIGINAL'; do
  make_library "$paths" "$folder/made" "$3"
  if "$1/scripts/check-library-paths" "$folder/made" 2>"$folder/errors"; then
    echo "FAILED: \"$paths\" was not seen" >&2
    exit 1
  fi
  grep -q 'library\.so: looks for libraries in' "$folder/errors"
done
# shellcheck disable=SC2016
make_library '/usr/lib:$ORIGIN:$ORIGIN/lib' "$folder/made" "$3"
"$1/scripts/check-library-paths" "$folder/made"
