#!/bin/sh
# Tests that an update needs at most 32 MiB of memory, whatever the sizes of files are, and the
# module at most 24 MiB and the five largest bodies.
# usage: peak_memory.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
#        [SMALL_FILES LARGE_MEBIBYTES]
set -eu
. "$1/tests/system/nginx.sh"
PATH=$2:$PATH
small=${4:-500}
large=${5:-48}

make_certificates
mkdir "$folder/library"
head -c 65536 /dev/urandom >"$folder/content"
for i in $(seq "$small"); do
  { echo "$i" && cat "$folder/content"; } >"$folder/library/small-$i"
done
for i in 1 2 3 4; do
  head -c "${large}M" /dev/urandom >"$folder/library/large-$i"
done
expect 0 mtlpublish build "$folder/library"
start_nginx "$folder/library"

# expect_peak KIBIBYTES [OPTION...]
expect_peak() {
  limit=$1
  shift
  rm -rf "$folder/copy"
  expect 0 /usr/bin/time -f %M -o "$folder/peak" \
    mtlsync "$@" --no-proxy -q "http://127.0.0.1:$http_port/lib" "$folder/copy"
  expect_same_tree "$folder/library" "$folder/copy"
  peak=$(cat "$folder/peak")
  echo "peak memory: $peak KiB of $limit KiB allowed"
  [ "$peak" -le "$limit" ] || fail "too much memory"
}
expect_peak $((32 * 1024))
expect_peak $(((4 * large + 24) * 1024 + 64)) --module "$2/libmtllib.so"
