#!/bin/bash
# Tests clients that are killed or interrupted, or whose server is killed, at any moment of a run:
# there is a new stamp only if every file is complete, and the next run completes the copy, even if
# there is a new release by then. KILL_POINTS (6) says how often each; a thorough run takes 500.
# usage: killed.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
bin=$2
target=$folder/copy
. "$1/tests/system/write_points.sh"
. "$1/tests/system/releases.sh"
kills=${KILL_POINTS:-6}

url() {
  echo "http://127.0.0.1:$http_port/lib"
}

make_releases 120
sign_releases
publish_release 1
make_certificates
start_nginx "$folder/library"

# The engine: from a copy of release 1, or from nothing, to release 2.

variants=(with without signed)
update() {
  "${engine[@]}" "$(url)" "$target"
}

# begin_with CASE: nothing (0), or a copy of release 1 (1); the same without digests (2 and 3), and
# signed, with the key (4 and 5).
begin_with() {
  case=$1
  from=$((case % 2))
  variant=${variants[case / 2]}
  engine=("$bin/mtlsync" -q --no-proxy --prune-most)
  [ "$variant" != signed ] || engine+=(--key "$folder/oak.pub")
  rm -rf "$target"
  use_variant "$variant"
  publish_release 1
  [ "$from" -eq 0 ] || update || fail "the first run fails"
  publish_release 2
}

# count_requests: how many were answered since they were forgotten.
count_requests() {
  await_requests
  wc -l <"$folder/requests.log"
}

# A run that had all it asks for when the server ended has nothing to notice; any other one has.
expect_all_answered() {
  [ "$answered" -eq "$1" ] ||
    fail "point $point: $answered of $1 requests were answered, and the run noticed nothing"
}

begin_anew() {
  begin_with $((RANDOM % 3 * 2 + (RANDOM % 4 > 0)))
}

# expect_cut: what a run that was cut may leave behind.
expect_cut() {
  expect_old_or_new "$target" $from 2
  [ "$variant" != signed ] || expect_record "$target" $from 2
}

# With keys, no run goes back to an older release.
expect_repair() {
  local oldest=1
  [ "$variant" != signed ] || oldest=2
  publish_release $((RANDOM % (4 - oldest) + oldest))
  update || fail "the next run fails"
  expect_release "$target" "$(basename "$(readlink "$folder/library")")"
  [ "$variant" != signed ] || cmp "$target/id.txt" "$target/.mtllib/trusted" || fail "another record"
}

for case in 0 1 2 3 4 5; do
  begin_with $case
  forget_requests
  points[case]=$(count_points "${engine[@]}" "$(url)" "$target")
  needed[case]=$(count_requests)
  expect_release "$target" 2
done
echo "The engine makes ${points[0]} changes for a first copy, ${points[1]} for an update," \
  "${points[2]} and ${points[3]} without digests, ${points[4]} and ${points[5]} with keys"

# Every other one at a moment, and not at a change.
for ((i = 0; i < kills; i++)); do
  begin_anew
  if [ $((i % 2)) -eq 0 ]; then
    point=$((i < 6 ? points[case] - i / 2 : RANDOM % points[case] + 1))
    kill_at $point "${engine[@]}" "$(url)" "$target"
  else
    point="after $((RANDOM % 80)) ms"
    "${engine[@]}" "$(url)" "$target" 2>"$folder/err" &
    sleep "$(printf '0.%03d' "${point//[^0-9]/}")"
    kill -9 $! 2>/dev/null || true
    { wait $! || true; } 2>/dev/null
  fi
  expect_cut
  expect_repair
done
echo "$kills clients killed"

interrupted=0
for ((i = 0; i < kills; i++)); do
  begin_anew
  point=$((RANDOM % (points[case] / 2) + 1))
  stop_at $point "${engine[@]}" "$(url)" "$target"
  kill -INT $client
  kill -CONT $client
  status=0
  wait $client || status=$?
  expect_cut
  case $status in
    0) expect_release "$target" 2 ;;
    130)
      interrupted=$((interrupted + 1))
      expect_text "mtlsync: interrupted"
      ;;
    *) fail "point $point: exit status $status: $(cat "$folder/err")" ;;
  esac
  expect_repair
done
echo "$kills clients told to stop, of which $interrupted did"
[ $interrupted -gt 0 ] || fail "no client did"

# While files are fetched; what is on its way when the server ends may still arrive.
failed=0
for ((i = 0; i < kills; i++)); do
  begin_anew
  point=$((RANDOM % (points[case] / 4) + 1))
  forget_requests
  stop_at $point "${engine[@]}" --retries 0 "$(url)" "$target"
  answered=$(count_requests)
  stop_nginx
  kill -CONT $client
  status=0
  wait $client || status=$?
  expect_cut
  case $status in
    0) expect_release "$target" 2 && expect_all_answered "${needed[case]}" ;;
    3) failed=$((failed + 1)) ;;
    *) fail "point $point: exit status $status: $(cat "$folder/err")" ;;
  esac
  start_nginx "$folder/library"
  expect_repair
done
echo "$kills servers killed, which ended $failed runs"
[ $failed -gt 0 ] || fail "no run noticed that the server was killed"

# A repair: of files that have lost their content unnoticed, are cut, or are gone.
damage_copy() {
  local rotten=$target/large.tx
  cp -p "$rotten" "$folder/as-it-was"
  printf rotten | dd of="$rotten" bs=1 seek=1000 conv=notrunc 2>/dev/null
  touch -r "$folder/as-it-was" "$rotten"
  truncate -s -1 "$target/7/37.tx"
  rm -r "$target/moved 2"
  manifest_of "$target" >"$folder/manifest-damaged"
}

repair=("$bin/mtlsync" -q --no-proxy --repair)
for ((i = 0; i <= kills; i++)); do
  begin_with 0
  update
  damage_copy
  if [ $i -eq 0 ]; then
    expect 7 "$bin/mtlsync" -q --verify "$target"
    changes=$(count_points "${repair[@]}" "$(url)" "$target")
  else
    point=$((RANDOM % changes + 1))
    kill_at $point "${repair[@]}" "$(url)" "$target"
    expect_whole_files "$target" damaged 2
    "${repair[@]}" "$(url)" "$target" || fail "point $point: the next repair fails"
  fi
  expect_release "$target" 2
  expect 0 "$bin/mtlsync" -q --verify "$target"
done
echo "$kills repairs killed, each at one of $changes changes"

# The module: in place, so that files may be cut, but never under the new stamp.

module=("$bin/mtlsync" --module "$bin/libmtllib.so" -q --no-proxy)
update() {
  "${module[@]}" "$(url)" "$target"
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
  update || fail "point $point: the next run fails"
  expect_same_tree "$folder/library" "$target"
}

publish_release 2
use_variant with
begin_anew
forget_requests
changes=$(count_points "${module[@]}" "$(url)" "$target")
needed_by_module=$(count_requests)
# Each file is made and written, and the stamp at last.
[ "$changes" -ge 240 ] || fail "only $changes changes"

# The last two are those of the stamp.
for ((i = 0; i < kills; i++)); do
  point=$((i < 2 ? changes - i : RANDOM % changes + 1))
  begin_anew
  kill_at $point "${module[@]}" "$(url)" "$target"
  expect_no_new_stamp
  expect_repair
done
echo "The module: $kills clients killed, each at one of $changes changes"

failed=0
for ((i = 0; i < kills; i++)); do
  point=$((RANDOM % changes + 1))
  begin_anew
  forget_requests
  stop_at $point "${module[@]}" "$(url)" "$target"
  answered=$(count_requests)
  stop_nginx
  kill -CONT $client
  if wait $client; then
    expect_same_tree "$folder/library" "$target"
    expect_all_answered "$needed_by_module"
  else
    failed=$((failed + 1))
    expect_no_new_stamp
  fi
  start_nginx "$folder/library"
  expect_repair
done
echo "The module: $kills servers killed, each at one of $changes changes, which ended $failed runs"
[ $failed -gt 0 ] || fail "no run noticed that the server was killed"
