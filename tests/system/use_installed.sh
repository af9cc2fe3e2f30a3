#!/bin/sh
# For the tests of what is installed: its programs work, and hosts outside the tree build
# against it and synchronise. All of it tells the same version.
# usage: use_installed.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_INSTALLED_PROGRAMS COMPILER
set -eu
. "$1/tests/system/small_library.sh"
. "$1/tests/system/downstream/build.sh"
prefix=$(dirname "$2")
pc=$(find "$prefix/lib" -name mtllib.pc)
libraries=$(dirname "$(dirname "$pc")")

version=$("$2/mtlsync" --version | sed 's/.* //')
[ "$("$2/mtlpublish" --version | sed 's/.* //')" = "$version" ]
"$2/mtlsync" --quiet "$address" "$folder/synchronised"
expect_copy "$folder/synchronised"

# Hosts that are built with CMake.
build_hosts "$1" "$3" "$prefix" "$version"
module=$(cat "$folder/build/module")
[ "$(dirname "$module")" = "$libraries" ]
"$folder/build/loading_host" "$module" "$address" "$folder/loaded"
"$folder/build/linking_host" "$address" "$folder/linked"
"$folder/build/cpp_host" "$module" "$address" "$folder/cpp"
"$folder/build/c_host" "" "$address" "$folder/c"

# And those that are built with pkg-config.
export PKG_CONFIG_PATH="$libraries/pkgconfig"
[ "$(pkg-config --modversion mtllib)" = "$version" ]
# shellcheck disable=SC2046  # options, not one word
"$3" -std=c++17 "$1/tests/system/downstream/linking_host.cc" -o "$folder/host" \
  $(pkg-config --cflags --libs mtllib)
LD_LIBRARY_PATH=$libraries "$folder/host" "$address" "$folder/pc"
"$folder/build/loading_host" "$(pkg-config --variable module mtllib)" "$address" "$folder/pc_loaded"

for copy in loaded linked cpp c pc pc_loaded; do
  expect_copy "$folder/$copy"
done
