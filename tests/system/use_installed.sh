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
"$folder/build/cpp_host" "$address" "$folder/cpp"
"$folder/build/c_host" "$address" "$folder/c"

# And those that are built with nothing but pkg-config, whose libraries and module the system's
# loader finds.
export PKG_CONFIG_PATH="$libraries/pkgconfig"
[ "$prefix" = /usr ] || export LD_LIBRARY_PATH="$libraries"
build_pc_host() {  # PACKAGE PROGRAM [OPTION...] SOURCE
  package=$1
  program=$2
  shift 2
  [ "$(pkg-config --modversion "$package")" = "$version" ]
  # shellcheck disable=SC2046  # options, not one word
  "$compiler" "$@" -x none -o "$program" $(pkg-config --cflags --libs "$package")
}
build_pc_host mtllib "$folder/linking" -std=c++17 "$1/tests/system/downstream/linking_host.cc"
build_pc_host mtllib-host "$folder/kit" -std=c++17 "$folder/hosts/cpp_host.cc"
build_pc_host mtlhost "$folder/interface" -std=c11 -x c "$folder/hosts/c_host.c"
"$folder/linking" "$address" "$folder/pc"
"$folder/kit" "$address" "$folder/pc_kit"
"$folder/interface" "$address" "$folder/pc_interface"
"$folder/build/loading_host" "$(pkg-config --variable module mtllib)" "$address" "$folder/pc_loaded"

for copy in loaded linked cpp c pc pc_kit pc_interface pc_loaded; do
  expect_copy "$folder/$copy"
done
