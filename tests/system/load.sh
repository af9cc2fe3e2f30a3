#!/bin/bash
# Tests the module under load: many downloaders in one process, each with a library of its own; one
# after another for a long time; and a library of very many files. LOAD_CYCLES (2,000) and
# LOAD_FILES (20,000) say how many; a thorough run takes 10,000 and 200,000.
# usage: load.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
bin=$2
cycles=${LOAD_CYCLES:-2000}
files=${LOAD_FILES:-20000}
downloaders=200

# Five connections and a few descriptors each.
ulimit -n 8192
ulimit -c 0

# Every library has other content under the same names.
for ((i = 0; i < downloaders; i++)); do
  mkdir -p "$folder/library/$i/maps"
  for name in a b c maps/d maps/e maps/f maps/g; do
    printf '%s of %d\n' "$name" "$i" >"$folder/library/$i/$name"
  done
  "$bin/mtlpublish" build "$folder/library/$i" >/dev/null
done
make_certificates
start_nginx "$folder/library"
url=http://127.0.0.1:$http_port/lib

"$bin/load_host" "$bin/libmtllib.so" "$url" "$folder/copies" threads $downloaders ||
  fail "not all of $downloaders downloaders completed"
for ((i = 0; i < downloaders; i++)); do
  expect_same_tree "$folder/library/$i" "$folder/copies/$i"
done

"$bin/load_host" "$bin/libmtllib.so" "$url/0" "$folder/copies/0" cycles "$cycles" ||
  fail "something grew, or a run failed"

mkdir "$folder/library/many"
for ((i = 0; i < files / 100; i++)); do
  mkdir "$folder/library/many/$i"
  for ((j = 0; j < 100; j++)); do
    echo "$i/$j" >"$folder/library/many/$i/$j"
  done
done
"$bin/mtlpublish" build "$folder/library/many" >/dev/null
"$bin/mtlsync" -q --no-proxy "$url/many" "$folder/copies/many" || fail "$files files did not arrive"
expect_same_tree "$folder/library/many" "$folder/copies/many"
