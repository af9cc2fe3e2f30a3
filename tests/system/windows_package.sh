#!/bin/sh
# Tests that the zip for Windows is complete: once it is unpacked, its programs run under Wine, and
# hosts build against it with the cross-compiler and synchronise. It contains the licences.
# usage: windows_package.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
if [ -z "${MTLLIB_WINE_TEST_ENV:-}" ]; then
  exec "$1/scripts/wine-test-env" "$0" "$@"
fi
package=$(mktemp -d)
trap 'rm -rf "$package"' EXIT

cpack --config "$(dirname "$2")/CPackConfig.cmake" -B "$package/zip" >/dev/null
unzip -q "$package"/zip/*.zip -d "$package"
prefix=$(echo "$package"/mtllib-*)

# Its programs under the names that they have elsewhere.
mkdir "$package/programs"
for program in mtlsync mtlpublish; do
  printf '#!/bin/sh\nexec /usr/lib/wine/wine64 "%s" "$@"\n' "$prefix/bin/$program.exe" \
    >"$package/programs/$program"
  chmod +x "$package/programs/$program"
done
set -- "$1" "$package/programs" "$3"
. "$1/tests/system/small_library.sh"
. "$1/tests/system/downstream/build.sh"
trap 'clean_up; rm -rf "$package"' EXIT
address=$(echo "$address" | tr -d '\r')

version=$("$2/mtlsync" --version | sed 's/.* //' | tr -d '\r')
for file in mtllib.dll krell_networking.dll mtlhost.dll mtlsync.exe mtlpublish.exe; do
  x86_64-w64-mingw32-strings -el "$prefix/bin/$file" | grep -qxF "$version"
done
"$2/mtlsync" --quiet "$address" "$folder/synchronised"
expect_copy "$folder/synchronised"

build_hosts "$1" "$3" "$prefix" "$version" -D CMAKE_SYSTEM_NAME=Windows \
  -D CMAKE_C_COMPILER="$(echo "$3" | sed 's/g++/gcc/')" -D CMAKE_EXE_LINKER_FLAGS=-static
# A host that loads a DLL by its name alone has those that it needs beside itself.
cp "$folder/build"/*.exe "$prefix/bin"
host() {
  name=$1
  shift
  /usr/lib/wine/wine64 "$prefix/bin/$name.exe" "$@"
}
host loading_host "$(cat "$folder/build/module")" "$address" "$folder/loaded"
host linking_host "$address" "$folder/linked"
host cpp_host "$address" "$folder/cpp"
host c_host "$address" "$folder/c"
for copy in loaded linked cpp c; do
  expect_copy "$folder/$copy"
done

cmp "$1/LICENSE" "$prefix/share/doc/mtllib/LICENSE"
for part in cli11 cpp-httplib curl gcc jsoncpp libsodium llhttp mingw-w64 rapidjson tomlplusplus \
  utf8proc zlib; do
  grep -qi copyright "$prefix/share/doc/mtllib/licences/$part"
done
