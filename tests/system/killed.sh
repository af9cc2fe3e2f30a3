#!/bin/bash
# A client, or its server, that is killed at any moment of a run: the new stamp stands only
# where every file is complete, and the next run makes everything good. KILL_POINTS (40)
# says how often each; a thorough run takes 200.
# usage: killed.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
bin=$2
points=${KILL_POINTS:-40}

mkdir "$folder/library"
for ((i = 0; i < 300; i++)); do
  mkdir -p "$folder/library/$((i % 10))"
  head -c $((i * i % 50000 + 1)) /dev/urandom >"$folder/library/$((i % 10))/$i"
done
"$bin/mtlpublish" build "$folder/library" >/dev/null

synchronise() {
  "$bin/mtlsync" -q --no-proxy "http://127.0.0.1:$http_port/lib" "$folder/copy" 2>/dev/null
}

milliseconds() {
  echo $(($(date +%s%N) / 1000000))
}

begin_anew() {
  rm -rf "$folder/copy"
  mkdir "$folder/copy"
  [ $((RANDOM % 2)) -eq 0 ] || echo old >"$folder/copy/id.txt"
}

expect_no_false_stamp() {
  if cmp -s "$folder/library/id.txt" "$folder/copy/id.txt"; then
    expect_same_tree "$folder/library" "$folder/copy"
    complete=$((complete + 1))
  fi
}

expect_repair() {
  synchronise || fail "the next run fails"
  expect_same_tree "$folder/library" "$folder/copy"
}

# somewhere: waits for a random part of what a run takes, and a little longer at most.
somewhere() {
  sleep "$(printf '0.%03d' $((RANDOM % (duration * 6 / 5 + 1))))"
}

make_certificates
start_nginx "$folder/library"
begin_anew
start=$(milliseconds)
synchronise
duration=$(($(milliseconds) - start))
[ "$duration" -lt 800 ] || duration=800

complete=0
for ((point = 0; point < points; point++)); do
  begin_anew
  synchronise 2>/dev/null &
  client=$!
  somewhere
  pkill -9 -P $client mtlsync 2>/dev/null || true
  wait $client 2>/dev/null || true
  expect_no_false_stamp
  expect_repair
done
echo "$points clients killed, $complete of them after the end"

complete=0
for ((point = 0; point < points; point++)); do
  begin_anew
  synchronise 2>/dev/null &
  client=$!
  somewhere
  stop_nginx
  wait $client || true
  expect_no_false_stamp
  start_nginx "$folder/library"
  expect_repair
done
echo "$points servers killed, $complete of them after the end"
