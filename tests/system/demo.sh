#!/bin/sh
# Tests that the demonstration runs to its end and leaves nothing behind.
# usage: demo.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
TMPDIR=$(mktemp -d)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT

"$1/scripts/demo" "$2"
if [ -n "$(ls -A "$TMPDIR")" ]; then
  ls -lA "$TMPDIR"
  exit 1
fi
