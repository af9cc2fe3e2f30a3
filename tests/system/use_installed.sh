#!/bin/sh
# Used by the tests of installations: checks that the installed programs work, that hosts outside
# the source tree build against the installation and synchronise, and that all of it has one
# version.
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
[ "$(pkg-config --modversion mtllib mtllib-host mtlhost | sort -u)" = "$version" ]
# shellcheck disable=SC2046  # options, not one word
"$3" -std=c++17 -o "$folder/linking" "$1/tests/system/downstream/linking_host.cc" \
  $(pkg-config --cflags --libs mtllib)
# build_documented LANGUAGE PROGRAM: by the command of the document.
build_documented() {
  command=$(grep "^    g.*host\.$1 " "$document")
  (cd "$folder/hosts" && mv "$2.$1" "host.$1" && sh -eu -c "$command" && mv a.out "$folder/$2")
}
document=$1/docs/hosts.md
build_documented cc cpp_host
build_documented c c_host
"$folder/linking" "$address" "$folder/pc"
"$folder/cpp_host" "$address" "$folder/pc_kit"
"$folder/c_host" "$address" "$folder/pc_interface"
"$folder/build/loading_host" "$(pkg-config --variable module mtllib)" "$address" "$folder/pc_loaded"

for copy in loaded linked cpp c pc pc_kit pc_interface pc_loaded; do
  expect_copy "$folder/$copy"
done
