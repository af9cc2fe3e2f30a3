#!/bin/bash
# Tests updates on bad networks: a captive portal that answers everything with a page, proxies that
# cut bodies or cannot reach the server, from the first request on or in the middle of a run; and a
# library that is published again during a run. Each run ends with the right status and message,
# each file is either old or new, and the next run on a good network completes the copy.
# NETWORK_POINTS (3) says at how many moments of a run the network changes; a thorough run takes 40.
# usage: bad_networks.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
tests=$1/tests/system
bin=$2
target=$folder/copy
. "$tests/write_points.sh"
. "$tests/releases.sh"
moments=${NETWORK_POINTS:-3}

proxy_pid=
stop_other_servers() {
  [ -z "$proxy_pid" ] || kill "$proxy_pid" 2>/dev/null || true
}

# network MODE...: what bad_proxy.py does from now on.
network() {
  echo "$*" >"$folder/mode.new"
  mv "$folder/mode.new" "$folder/mode"
  : >"$folder/proxy.log"
}

make_releases 60
for release in 1 2 3; do
  head -c $((3000000 + release)) /dev/urandom >"$folder/releases/$release/huge.tx"
  "$bin/mtlpublish" build "$folder/releases/$release" >/dev/null
  manifest_of "$folder/releases/$release" >"$folder/manifest-$release"
done
publish_release 1
make_certificates
start_nginx "$folder/library"
network pass
python3 "$tests/bad_proxy.py" "$folder/mode" "$folder/proxy.log" "$SEED" >"$folder/port" &
proxy_pid=$!
until [ -s "$folder/port" ]; do
  kill -0 $proxy_pid || fail "the proxy does not start"
  sleep 0.05
done
common=("$bin/mtlsync" -q --proxy "127.0.0.1:$(cat "$folder/port")" --prune-most
  "http://127.0.0.1:$http_port/lib" "$target")
update=("${common[@]}" --retries 0)
patient=("${common[@]}" --retries 20)

begin_with_copy() {
  rm -rf "$target"
  network pass
  publish_release 1
  "${update[@]}" || fail "the first run fails"
  publish_release 2
}

expect_finish() {
  network pass
  "${update[@]}" || fail "the next run fails"
  expect_release "$target" $newest
}

# expect_failure STATUS WORDS: of an update, which leaves the copy as it was.
expect_failure() {
  expect "$1" "${update[@]}"
  expect_text "$2"
  if [ -e "$target" ]; then expect_old_or_new "$target" 1 1; fi
}

newest=2
while read -r mode status words; do
  echo "$mode from the first request on"
  rm -rf "$target"
  publish_release 2
  network "$mode"
  expect_failure "$status" "$words"
  [ ! -e "$target" ] || fail "a folder was made for no library: $(ls -A "$target")"
  expect_finish
  begin_with_copy
  network "$mode"
  expect_failure "$status" "$words"
  expect_finish
done <<'END'
portal 5 filelist.json
login 3 302
close 3 /id.txt
gone 3 502
END

# change_at_moments STATUSES COMMAND...: what happens while the client has stopped.
change_at_moments() {
  local statuses=$1 i point ended=
  shift
  begin_with_copy
  changes=$(count_points "${update[@]}")
  for ((i = 0; i < moments; i++)); do
    # Most of the changes are those of the large files, at the end.
    point=$((1 + (i * changes + RANDOM % changes) / moments / 3))
    begin_with_copy
    stop_at $((point < changes ? point : changes)) "${update[@]}"
    "$@"
    kill -CONT $client
    status=0
    wait $client || status=$?
    [[ $status =~ ^($statuses)$ ]] || fail "$* at change $point: status $status: $(cat "$folder/err")"
    [ $status -eq 0 ] || [ -s "$folder/err" ] || fail "$* at change $point: no message"
    "expect_after_$1" || fail "$* at change $point"
    ended="$ended $status at $point,"
    expect_finish
  done
  echo "$* in the middle: runs of $changes changes ended with${ended%,}"
}

expect_after_network() {
  (expect_old_or_new "$target" 1 2)
}

# The files are those of one release, that of the stamp or the one that was published then.
expect_after_publish_release() {
  manifest_of "$target" | grep -v ' ./id.txt$' >"$folder/found"
  for release in 2 3; do
    ! grep -v ' ./id.txt$' "$folder/manifest-$release" | cmp -s - "$folder/found" || return 0
  done
  return 1
}

change_at_moments "0|3|5" network portal
change_at_moments "0|3" network login
change_at_moments "0|3" network close
change_at_moments "0|3" network gone

# The run notices that files are not those of its list, and looks at the list once more.
newest=3
change_at_moments "0" publish_release 3

echo "Bodies are cut"
begin_with_copy
network cut 0.3
expect 0 "${patient[@]}"
expect_release "$target" 2
network cut 1
publish_release 1
expect 3 "${update[@]}"
expect_old_or_new "$target" 2 1
echo "What arrived of a large body is not fetched again, by the next run either"
publish_release 2
begin_with_copy
network cut 1
for _ in 1 2 3 4; do
  got=0
  "${update[@]}" 2>"$folder/err" || got=$?
  [ $got -eq 3 ] || fail "status $got: $(cat "$folder/err")"
done
sent=$(awk '/huge.tx$/ { sum += $2 } END { print sum + 0 }' "$folder/proxy.log")
forget_requests
network pass
expect 0 "${update[@]}"
expect_release "$target" 2
sent=$((sent + $(awk '/huge.tx$/ { sum += $2 } END { print sum + 0 }' "$folder/proxy.log")))
echo "$sent bytes were sent of one of 3000002"
[ $sent -le 3300002 ] || fail "too many"
