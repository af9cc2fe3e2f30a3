#!/bin/bash
# Tests, under Wine, updates of files that a program has open or mapped in the ways of Windows, a
# second run, clients that are killed, and full disks. Files that cannot be replaced are named, the
# rest stays staged, and the next run completes the copy without fetching anything again.
# usage: windows_in_use.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
if [ -z "${MTLLIB_WINE_TEST_ENV:-}" ]; then
  exec "$1/scripts/wine-test-env" "$0" "$@"
fi
. "$1/tests/system/nginx.sh"
programs=$2
target=$folder/copy
kills=${KILL_POINTS:-4}
RANDOM=${SEED:=$(od -A n -N 2 -t u2 /dev/urandom)}
echo "SEED=$((SEED))"
wine=/usr/lib/wine/wine64

windows_name() {
  echo "Z:$1" | tr / '\\'
}
bin=$folder/bin
mkdir "$bin"
printf '#!/bin/sh\nexec %s "%s" build "Z:$2"\n' "$wine" "$programs/mtlpublish.exe" >"$bin/mtlpublish"
chmod +x "$bin/mtlpublish"
. "$1/tests/system/releases.sh"

make_releases 30
publish_release 1
make_certificates
start_nginx "$folder/library"
update=("$wine" "$programs/mtlsync.exe" -q --no-proxy --prune-most "http://127.0.0.1:$http_port/lib"
  "$(windows_name "$target")")

begin_with_copy() {
  rm -rf "$target"
  publish_release 1
  "${update[@]}" || fail "the first run fails"
  expect_release "$target" 1
  publish_release 2
}

# hold WAY FILE: until release_it.
holder=
stop_other_servers() {
  [ -z "$holder" ] || kill "$holder" 2>/dev/null || true
}
hold() {
  rm -f "$folder/end" "$folder/held"
  mkfifo "$folder/end"
  "$wine" "$programs/hold_file.exe" "$1" "$(windows_name "$2")" <"$folder/end" >"$folder/held" &
  holder=$!
  exec 3>"$folder/end"
  until grep -q held "$folder/held"; do
    kill -0 $holder 2>/dev/null || fail "$2 cannot be held"
    sleep 0.05
  done
}
release_it() {
  exec 3>&-
  wait $holder || fail "the program that has the file failed"
  holder=
  grep -q "as it was" "$folder/held" || fail "the program that has the file reads something else"
}

expect_finish() {
  forget_requests
  "${update[@]}" || fail "the next run fails"
  expect_release "$target" 2
}

# expect_in_use FILE: the update says so, and has done all else.
expect_in_use() {
  expect 4 "${update[@]}"
  expect_text "$1"
  expect_old_or_new "$target" 1 2
  manifest_of "$target" | comm -13 - "$folder/manifest-2" | grep -v -e "$1\$" -e ./id.txt >"$folder/late" || true
  [ ! -s "$folder/late" ] || fail "not brought up to date: $(cat "$folder/late")"
}

echo "A file that is open without sharing"
begin_with_copy
hold alone "$target/large.tx"
expect_in_use large.tx
[ -n "$(ls -A "$target/.mtllib/stage")" ] || fail "nothing stays staged"
expect_in_use large.tx
release_it
expect_finish
await_requests
# The list was kept.
[ "$(cat "$folder/requests.log")" = "GET /lib/id.txt 200" ] || fail "fetched again: $(cat "$folder/requests.log")"

echo "A file that is withdrawn, and open without sharing"
begin_with_copy
hold alone "$target/2/12.tx"
expect 4 "${update[@]}"
expect_text "2/12.tx"
release_it
expect_finish

# Windows lets it be replaced, older systems and Wine do not; but nothing lets it be cut.
for way in shared mapped; do
  echo "A file that is $way"
  begin_with_copy
  hold $way "$target/large.tx"
  status=0
  "${update[@]}" 2>"$folder/err" || status=$?
  case $status in
    0) expect_release "$target" 2 ;;
    4) expect_text "large.tx" ;;
    *) fail "exit status $status: $(cat "$folder/err")" ;;
  esac
  expect_old_or_new "$target" 1 2
  release_it
  expect_finish
done

echo "$kills clients are killed"
for ((i = 0; i < kills; i++)); do
  begin_with_copy
  milliseconds=$((RANDOM % 1000))
  "${update[@]}" 2>/dev/null &
  client=$!
  sleep "$(printf '0.%03d' $milliseconds)"
  kill -9 $client 2>/dev/null || true
  { wait $client || true; } 2>/dev/null
  (expect_old_or_new "$target" 1 2) || fail "after $milliseconds ms"
  expect_finish
done

echo "A second run"
begin_with_copy
"${update[@]}" --limit-rate 50k 2>"$folder/err" &
client=$!
until [ -n "$(ls -A "$target/.mtllib/stage" 2>/dev/null)" ]; do
  kill -0 $client 2>/dev/null || fail "the first run is over: $(cat "$folder/err")"
  sleep 0.05
done
kill -STOP $client
expect 6 "${update[@]}"
expect_text "another run is using this folder"
kill -CONT $client
wait $client || fail "the first run fails"
expect_release "$target" 2

# Only who may mount can have a disk of a few megabytes.
mkdir "$folder/disk"
if mount -t tmpfs -o size=6m tmpfs "$folder/disk" 2>/dev/null; then
  target=$folder/disk/copy
  update[-1]=$(windows_name "$target")
  for ((i = 0; i < kills; i++)); do
    begin_with_copy
    milliseconds=$((RANDOM % 1000))
    echo "A disk that is full $milliseconds ms after the start"
    "${update[@]}" 2>"$folder/err" &
    client=$!
    sleep "$(printf '0.%03d' $milliseconds)"
    fill_disk
    status=0
    wait $client || status=$?
    (expect_old_or_new "$target" 1 2) || fail "after $milliseconds ms"
    case $status in
      0) expect_release "$target" 2 ;;
      4) grep -qE "Disk full|not enough space|too little room" "$folder/err" || fail "$(cat "$folder/err")" ;;
      *) fail "exit status $status: $(cat "$folder/err")" ;;
    esac
    rm "$folder/disk/filling"
    expect_finish
  done
fi
