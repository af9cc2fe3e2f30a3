#!/bin/sh
# Tests that release builds use every protection that the system has against buffer overruns, and
# check for overruns themselves.
# usage: hardening.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
cd "$2"

# expect FILE WHAT PATTERN READELF_OPTIONS...
expect() {
  file=$1
  what=$2
  pattern=$3
  shift 3
  if ! readelf -W "$@" "$file" | grep -Eq "$pattern"; then
    echo "FAILED: $file: no $what" >&2
    exit 1
  fi
}

for file in libmtllib.so libkrell_networking.so libmtlhost.so mtlsync mtlpublish; do
  expect "$file" "read-only relocations" 'GNU_RELRO' -l
  expect "$file" "binding at once" 'BIND_NOW|FLAGS.* NOW' -d
  expect "$file" "random placement" 'Type: +DYN' -h
  expect "$file" "stack without code" 'GNU_STACK .* RW ' -l
  expect "$file" "guarded stack" '__stack_chk_fail' --dyn-syms
done
for file in mtlsync mtlpublish; do
  expect "$file" "random placement of the program" 'FLAGS_1.* PIE' -d
done
# Only code that uses a buffer of known size shows a checked call.
expect libmtllib.so "checked library calls" '__v?snprintf_chk' --dyn-syms
