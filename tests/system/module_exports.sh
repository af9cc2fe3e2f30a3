#!/bin/sh
# Each library exports what it is for and nothing else, and has a name that tells its ABI;
# the module imports the networking library as a shared library.
# usage: module_exports.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
module=$2/libmtllib.so

exports=$(nm -D --defined-only "$module" | awk '{ print $3 }')
if [ "$exports" != initDownloaderInterface ]; then
  echo "exported: $exports"
  exit 1
fi
readelf -d "$module" | grep -q 'NEEDED.*\[libkrell_networking\.so\.0\]'

if nm -D --defined-only "$2/libmtlhost.so" | grep -v ' T mtlhost_'; then
  exit 1
fi

for library in libmtllib libmtlhost libkrell_networking; do
  readelf -d "$2/$library.so" | grep -q "SONAME.*\[$library\.so\.0\]"
done

# The networking library shows nothing but its own names.
if nm -DC --defined-only "$2/libkrell_networking.so" | grep -v ' Krell::'; then
  exit 1
fi
