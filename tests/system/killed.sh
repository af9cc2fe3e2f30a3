#!/bin/bash
# A client, or its server, that is killed at any moment of a run: the new stamp stands only
# where every file is complete, and the next run makes everything good. KILL_POINTS (20)
# says how often each; a thorough run takes 200.
# usage: killed.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
bin=$2
target=$folder/copy
. "$1/tests/system/write_points.sh"
kills=${KILL_POINTS:-20}

mkdir "$folder/library"
for ((i = 0; i < 300; i++)); do
  mkdir -p "$folder/library/$((i % 10))"
  head -c $((i * i % 50000 + 1)) /dev/urandom >"$folder/library/$((i % 10))/$i"
done
"$bin/mtlpublish" build "$folder/library" >/dev/null

url() {
  echo "http://127.0.0.1:$http_port/lib"
}

begin_anew() {
  rm -rf "$target"
  mkdir "$target"
  [ $((RANDOM % 2)) -eq 0 ] || echo old >"$target/id.txt"
}

expect_no_new_stamp() {
  ! cmp -s "$folder/library/id.txt" "$target/id.txt" || fail "point $point: the stamp is new"
}

expect_repair() {
  "$bin/mtlsync" -q --no-proxy "$(url)" "$target" || fail "point $point: the next run fails"
  expect_same_tree "$folder/library" "$target"
}

make_certificates
start_nginx "$folder/library"
begin_anew
points=$(count_points "$bin/mtlsync" -q --no-proxy "$(url)" "$target")
# Each file is made, written and put in its place, and the stamp at last.
[ "$points" -ge 903 ] || fail "only $points changes"

# The last two are those of the stamp.
for ((i = 0; i < kills; i++)); do
  point=$((i < 2 ? points - i : RANDOM % points + 1))
  begin_anew
  kill_at $point "$bin/mtlsync" -q --no-proxy "$(url)" "$target"
  expect_no_new_stamp
  expect_repair
done
echo "$kills clients killed, each at one of $points changes"

# The second half of the changes needs no server: they put the files in their places. What is on its
# way when the server ends may still arrive; with the last files that is all.
failed=0
for ((i = 0; i < kills; i++)); do
  point=$((RANDOM % (points / 2) + 1))
  begin_anew
  stop_at $point "$bin/mtlsync" -q --no-proxy --retries 0 "$(url)" "$target"
  stop_nginx
  kill -CONT $client
  if wait $client; then
    expect_same_tree "$folder/library" "$target"
  else
    failed=$((failed + 1))
    expect_no_new_stamp
  fi
  start_nginx "$folder/library"
  expect_repair
done
echo "$kills servers killed, each at one of $((points / 2)) changes, which ended $failed runs"
[ $((failed * 4)) -ge $((kills * 3)) ] || fail "too few runs noticed that the server was killed"
