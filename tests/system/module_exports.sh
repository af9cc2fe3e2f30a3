#!/bin/sh
# Each library exports what it is for and nothing else; the module imports the networking
# library as a shared library.
# usage: module_exports.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
module=$2/libmtllib.so

exports=$(nm -D --defined-only "$module" | awk '{ print $3 }')
if [ "$exports" != initDownloaderInterface ]; then
  echo "exported: $exports"
  exit 1
fi
readelf -d "$module" | grep -q 'NEEDED.*\[libkrell_networking.so\]'

if nm -D --defined-only "$2/libmtlhost.so" | grep -v ' T mtlhost_'; then
  exit 1
fi

# The networking library shows nothing but its own names.
if nm -DC --defined-only "$2/libkrell_networking.so" | grep -v ' Krell::'; then
  exit 1
fi
