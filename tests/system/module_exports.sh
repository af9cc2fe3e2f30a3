#!/bin/sh
# Tests that the names of the libraries have the number of their ABI, that they read the environment
# only in ways that a set-user-id program may, and that the module imports the networking library as
# a shared library.
# usage: module_exports.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
readelf -d "$2/libmtllib.so" | grep -q 'NEEDED.*\[libkrell_networking\.so\.0\]'

for library in libmtllib libmtlhost libkrell_networking; do
  readelf -d "$2/$library.so" | grep -q "SONAME.*\[$library\.so\.0\]"
  if readelf --wide --dyn-syms "$2/$library.so" | grep -E ' UND getenv(@|$)'; then
    echo "FAILED: $library calls it instead of secure_getenv" >&2
    exit 1
  fi
done
