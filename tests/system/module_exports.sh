#!/bin/sh
# The libraries have names that tell their ABI; the module imports the networking library as
# a shared library.
# usage: module_exports.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
readelf -d "$2/libmtllib.so" | grep -q 'NEEDED.*\[libkrell_networking\.so\.0\]'

for library in libmtllib libmtlhost libkrell_networking; do
  readelf -d "$2/$library.so" | grep -q "SONAME.*\[$library\.so\.0\]"
done
