#!/bin/sh
# What is installed works where it was moved to: hosts outside the tree build against it and
# synchronise, and so do its programs. All of it tells the same version.
# usage: installed.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/small_library.sh"
build=$(dirname "$2")

cmake --install "$build" --prefix "$folder/first" >/dev/null
mv "$folder/first" "$folder/moved"
prefix=$folder/moved
libraries=$(dirname "$(find "$prefix" -name cmake -type d)")
if grep -rlF -e "$folder/first" -e "$build" -e "$1" "$prefix"; then
  echo "FAILED: these tell where they come from" >&2
  exit 1
fi

# The programs, which find the module.
version=$("$prefix/bin/mtlsync" --version | sed 's/.* //')
[ "$("$prefix/bin/mtlpublish" --version | sed 's/.* //')" = "$version" ]
"$prefix/bin/mtlpublish" build "$folder/library"
"$prefix/bin/mtlsync" --quiet "$address" "$folder/copy"
expect_copy "$folder/copy"

# Hosts that are built with CMake.
mkdir "$folder/hosts"
code_of cpp "$1/README.md" >"$folder/hosts/loading_host.cc"
code_of cpp "$1/docs/hosts.md" >"$folder/hosts/cpp_host.cc"
code_of c "$1/docs/hosts.md" >"$folder/hosts/c_host.c"
{
  cmake -S "$1/tests/system/downstream" -B "$folder/build" -D CMAKE_BUILD_TYPE=Release \
    -D CMAKE_CXX_COMPILER="$3" -D CMAKE_PREFIX_PATH="$prefix" \
    -D VERSION="$version" -D HOSTS="$folder/hosts"
  cmake --build "$folder/build"
} >"$folder/log" 2>&1 || {
  cat "$folder/log"
  exit 1
}
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
