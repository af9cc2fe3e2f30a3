#!/bin/bash
# Tests that a copy always ends up as the library is: with module and engine alternately on one
# folder, copies that the engine has never seen, snapshots of hard links, several runs at once, and
# a signed library.
# TURNS (8) says how many; a thorough run takes 100.
# usage: by_turns.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
bin=$2
target=$folder/copy
. "$1/tests/system/write_points.sh"
. "$1/tests/system/releases.sh"
turns=${TURNS:-8}

make_releases 60
publish_release 1
make_certificates
start_nginx "$folder/library"
url="http://127.0.0.1:$http_port/lib"

engine() {
  "$bin/mtlsync" -q --no-proxy "$@" "$url" "$target"
}
# shellcheck disable=SC2120  # called by $who, too
module() {
  "$bin/mtlsync" -q --no-proxy --module "$bin/libmtllib.so" "$@" "$url" "$target"
}

# expect_holds RELEASE: all of it. What else is there was left by the module, which removes nothing.
expect_holds() {
  manifest_of "$target" >"$folder/found"
  comm -13 "$folder/found" "$folder/manifest-$1" >"$folder/lacking"
  [ ! -s "$folder/lacking" ] || fail "not of release $1: $(cat "$folder/lacking")"
  comm -23 "$folder/found" <(sort -u "$folder"/manifest-?) >"$folder/unknown"
  [ ! -s "$folder/unknown" ] || fail "of no release: $(cat "$folder/unknown")"
  expect_nothing_unfinished "$target"
}

echo "Of a copy that the engine has never seen, only what differs is fetched"
module
rm -rf "$target/.mtllib"
publish_release 2
forget_requests
engine
expect_holds 2
await_requests
# Each content once, the stamp among them, and the list.
contents=$(comm -23 "$folder/manifest-2" "$folder/manifest-1" | cut -c-64 | sort -u | wc -l)
[ "$(wc -l <"$folder/requests.log")" -le $((contents + 1)) ] ||
  fail "$contents contents differ, and these were asked for: $(cat "$folder/requests.log")"

echo "$turns turns"
for ((i = 0; i < turns; i++)); do
  release=$((RANDOM % 3 + 1))
  publish_release $release
  case $((RANDOM % 4)) in
    0) module ;;
    1) engine ;;
    2) engine --prune-most ;;
    3) rm -rf "$target/.mtllib" && engine ;;
  esac
  expect_holds $release
done

echo "A snapshot of hard links keeps what it has, and can be a copy of its own"
rm -rf "$target"
publish_release 1
engine
cp -al "$target" "$folder/snapshot"
publish_release 2
engine --prune-most
expect_release "$target" 2
manifest_of "$folder/snapshot" | diff - "$folder/manifest-1" || fail "the snapshot has changed"
expect 0 "$bin/mtlsync" --verify "$folder/snapshot"
publish_release 3
"$bin/mtlsync" -q --no-proxy --prune-most "$url" "$folder/snapshot"
expect_release "$folder/snapshot" 3
expect_release "$target" 2
expect 0 "$bin/mtlsync" --verify "$target"

echo "A second run fails at once, and names the first; or it waits"
for who in engine module; do
  publish_release 1
  engine --prune-most
  publish_release 2
  stop_at 60 "$bin/mtlsync" -q --no-proxy --prune-most "$url" "$target"
  expect 6 $who
  expect_text "another run is using this folder: process $client"
  $who --wait &
  waiting=$!
  kill -CONT $client
  wait $client || fail "the first run failed"
  wait $waiting || fail "the run that waits failed"
  expect_holds 2
done

echo "Many runs at once"
for ((i = 0; i < turns; i++)); do
  release=$((i % 3 + 1))
  publish_release $release
  runs=
  for number in 1 2 3 4 5 6; do
    case $number in
      1 | 2 | 3) engine 2>"$folder/err-$number" & ;;
      4) module 2>"$folder/err-$number" & ;;
      *) engine --wait --prune-most 2>"$folder/err-$number" & ;;
    esac
    runs="$runs $!"
  done
  number=0
  for run in $runs; do
    status=0
    wait "$run" || status=$?
    number=$((number + 1))
    [ $status -eq 0 ] || { [ $status -eq 6 ] && [ $number -lt 5 ]; } ||
      fail "run $number: status $status: $(cat "$folder/err-$number")"
  done
  expect_holds $release
done

echo "A signed library, by the module, and by the engine with the publisher's key"
rm -rf "$target"
sign_releases
use_variant signed
publish_release 1
module
expect_holds 1
engine --key "$folder/oak.pub"
expect_holds 1
publish_release 2
engine --key "$folder/oak.pub" --prune-most
expect_release "$target" 2
publish_release 3
expect 2 module
expect_text "without them, updates would not be checked"
expect_release "$target" 2
module --forget-keys
expect_holds 3
engine --key "$folder/oak.pub" --prune-most
expect_release "$target" 3
