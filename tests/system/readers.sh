#!/bin/bash
# Tests readers that map the files of a copy while it is updated again and again: they find whole
# files of one release or another, and what they have mapped stays as it was.
# READER_UPDATES (12) says how many updates; a thorough run takes 100.
# usage: readers.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
tests=$1/tests/system
bin=$2
target=$folder/copy
. "$tests/releases.sh"
updates=${READER_UPDATES:-12}

readers=
stop_other_servers() {
  [ -z "$readers" ] || kill $readers 2>/dev/null || true
}

make_releases 200
publish_release 1
make_certificates
start_nginx "$folder/library"
update() {
  "$bin/mtlsync" -q --no-proxy --prune-most "http://127.0.0.1:$http_port/lib" "$target"
}
update

for i in 1 2; do
  python3 "$tests/readers.py" "$target" "$folder"/manifest-? >"$folder/reader-$i" 2>&1 &
  readers="$readers $!"
done
for i in 1 2; do
  until [ -s "$folder/reader-$i" ]; do sleep 0.05; done
done

for ((i = 1; i <= updates; i++)); do
  publish_release $((i % 3 + 1))
  update || fail "update $i fails"
  expect_release "$target" $((i % 3 + 1))
done

# Whoever has ended by itself found something.
for reader in $readers; do
  kill -0 "$reader" 2>/dev/null || fail "a reader ended: $(cat "$folder"/reader-?)"
done
kill $readers
for reader in $readers; do
  wait "$reader" || fail "a reader failed: $(cat "$folder"/reader-?)"
done
readers=
echo "$updates updates; $(tail -qn 1 "$folder"/reader-? | paste -sd ';')"
