#!/bin/sh
# The README's host compiles against the public headers alone and synchronises.
# usage: readme_host.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/small_library.sh"

code_of cpp "$1/README.md" >"$folder/host.cc"
"$3" -std=c++17 -Wall -Wextra -Werror -I "$1/include" "$folder/host.cc" -o "$folder/host" -ldl
"$folder/host" "$2/libmtllib.so" "$address" "$folder/copy"
expect_copy "$folder/copy"
