#!/bin/sh
# Tests that the examples, which are a project of their own, build against an installation without
# a warning, and run.
# usage: installed_examples.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/small_library.sh"

{
  cmake --install "$(dirname "$2")" --prefix "$folder/prefix"
  cmake -S "$1/examples" -B "$folder/build" -D CMAKE_BUILD_TYPE=Release \
    -D CMAKE_CXX_COMPILER="$3" -D CMAKE_PREFIX_PATH="$folder/prefix" \
    -D CMAKE_CXX_FLAGS="-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror"
  cmake --build "$folder/build"
} >"$folder/log" 2>&1 || {
  cat "$folder/log"
  exit 1
}

module=$(find "$folder/prefix" -name libmtllib.so)
for host in minimal_host kit_host progress_host 'threaded_host 1000'; do
  name=${host% *}
  seconds=${host#"$name"}
  # shellcheck disable=SC2086  # one word, or none
  "$folder/build/$name" "$module" "$address" "$folder/$name" $seconds
  expect_copy "$folder/$name"
done
"$folder/build/reload_host" "$address" "$folder/reloaded" oak.mat
expect_copy "$folder/reloaded"
"$folder/build/two_libraries" "$address" "$folder/first" "$address" "$folder/second"
expect_copy "$folder/first"
expect_copy "$folder/second"
"$folder/build/background_check" "$address" "$folder/first" 1000
