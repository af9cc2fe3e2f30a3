#!/bin/sh
# Tests that the examples in Rust and C# compile without a warning, synchronise, and print for a
# failure what it is about, what happened, and what to do.
# usage: other_languages.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS
set -eu
. "$1/tests/system/small_library.sh"
export LD_LIBRARY_PATH=$2 LC_ALL=C.UTF-8

for source in "$1/examples/rust/sync.rs" "$1/tests/system/other_languages/panics.rs"; do
  /usr/bin/rustc --edition 2021 -D warnings -L "$2" --out-dir "$folder" "$source"
done
for source in "$1/examples/csharp/Sync.cs" "$1/tests/system/other_languages/Throws.cs"; do
  name=${source##*/}
  mcs -warnaserror -out:"$folder/${name%.cs}.exe" "$source" "$1/examples/csharp/MtlHost.cs"
done

fail() {
  echo "FAILED: $*" >&2
  cat "$folder/out" "$folder/err" >&2
  exit 1
}

# run STATUS COMMAND...: with its output in $folder/out and $folder/err.
run() {
  wanted=$1 got=0
  shift
  "$@" >"$folder/out" 2>"$folder/err" || got=$?
  [ "$got" -eq "$wanted" ] || fail "exit status $got instead of $wanted: $*"
}

# expect_host NAME COMMAND...: it behaves as the example of that name is to.
expect_host() {
  copy="$folder/copy of $1: дуб"
  shift
  run 0 "$@" "$address" "$copy"
  expect_copy "$copy"
  grep -q '^Downloading files: 4 of 4 bytes' "$folder/out" || fail "no progress"
  [ "$(tail -n 1 "$folder/out" | tr -d '\r')" = Updated. ] || fail "no update"
  run 0 "$@" "$address" "$copy"
  [ "$(tail -n 1 "$folder/out" | tr -d '\r')" = "Up to date." ] || fail "a second update"

  run 1 "$@" "$address/nothing" "$folder/none"
  grep -q '^Answer: .*404' "$folder/err" || fail "no sentence"
  [ -n "$(sed -n 2p "$folder/err")" ] || fail "no hint"
  run 1 "$@" "ftp://127.0.0.1/" "$folder/none"
  grep -q '^Address: ' "$folder/err" || fail "no kind"
  [ ! -e "$folder/none" ] || fail "a folder for nothing"
}
expect_host Rust "$folder/sync"
run 0 "$folder/panics" "$address" "$folder/none"
expect_host C# mono "$folder/Sync.exe"
run 0 mono "$folder/Throws.exe" "$address" "$folder/none"
[ ! -e "$folder/none/oak.mat" ] || fail "a file in spite of all"
echo "Rust $(/usr/bin/rustc --version), C# $(mono --version | head -n 1)"
