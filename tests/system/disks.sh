#!/bin/bash
# Disks that fail under the module: each run ends with a message that says why and leaves the
# old stamp, and the next run on a healthy disk makes everything good.
# usage: disks.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
bin=$2
target=$folder/disk/copy
. "$1/tests/system/write_points.sh"
by_module=(--module "$bin/libmtllib.so")

mkdir -p "$folder/library/maps" "$folder/disk"
head -c 300000 /dev/urandom >"$folder/library/large"
for name in a b maps/c maps/d; do
  head -c 3000 /dev/urandom >"$folder/library/$name"
done
"$bin/mtlpublish" build "$folder/library" >/dev/null
make_certificates
start_nginx "$folder/library"

synchronise() {
  "$bin/mtlsync" "${by_module[@]}" -q --no-proxy "http://127.0.0.1:$http_port/lib" "$target"
}

begin_anew() {
  rm -rf "$target"
  mkdir -p "$target"
  echo old >"$target/id.txt"
}

expect_old_stamp() {
  [ "$(cat "$target/id.txt")" = old ] || fail "the stamp is not the old one"
}

expect_repair() {
  synchronise || fail "the next run fails"
  expect_same_tree "$folder/library" "$target"
}

# Only who may mount can have a disk of a few kilobytes.
if mount -t tmpfs -o size=128k tmpfs "$folder/disk" 2>/dev/null; then

  begin_anew
  expect 1 synchronise
  expect_text "There is not enough space on the disk."
  expect_old_stamp
  mount -o remount,size=4m "$folder/disk"
  expect_repair

  begin_anew
  mount -o remount,ro "$folder/disk"
  expect 1 synchronise
  expect_text "The media is write protected."
  expect_old_stamp
  mount -o remount,rw "$folder/disk"
  expect_repair
else
  echo "Not tried: a full and a read-only disk; this user may not mount."
fi

begin_anew
limited() {
  (ulimit -f 100 && synchronise)
}
expect 1 limited
expect_text "The file size exceeds the limit allowed and cannot be saved."
expect_old_stamp
expect_repair

# Fewer handles than the program wants: at first none to begin with, later some that must
# be shared.
for handles in 5 6 7 8 9 10 11 12 13 14; do
  begin_anew
  if (ulimit -n $handles && timeout 60 "$bin/mtlsync" "${by_module[@]}" -q --no-proxy \
    "http://127.0.0.1:$http_port/lib" "$target") 2>"$folder/err"; then
    [ $handles -gt 5 ] || fail "$handles handles are enough"
    expect_same_tree "$folder/library" "$target"
  else
    [ -s "$folder/err" ] || fail "with $handles handles: no message"
    expect_old_stamp
    expect_repair
  fi
done

begin_anew
echo "a file" >"$target/maps"
expect 1 synchronise
expect_text "already exists, but is not a valid directory"
expect_old_stamp
rm "$target/maps"
expect_repair

begin_anew
mkdir "$target/a"
expect 1 synchronise
expect_text 'Could not create file "a"'
expect_old_stamp
rmdir "$target/a"
expect_repair

# The file names of most file systems have at most 255 bytes.
begin_anew
long=$(printf 'x%.0s' $(seq 200))$(printf 'y%.0s' $(seq 100))
printf '[{"path":"%s"}]\n' "$long" >"$folder/library/filelist.json"
cp "$folder/library/a" "$folder/library/$long" 2>/dev/null && fail "the name is not too long here"
expect 1 synchronise
expect_old_stamp
"$bin/mtlpublish" build "$folder/library" >/dev/null
expect_repair

# A target that is removed in the middle comes back with what is saved from then on.
begin_anew
points=$(count_points "$bin/mtlsync" "${by_module[@]}" -q --no-proxy "http://127.0.0.1:$http_port/lib" "$target")
for point in 1 2 $((RANDOM % points + 1)) $((RANDOM % points + 1)) $((points - 2)); do
  begin_anew
  stop_at $point "$bin/mtlsync" "${by_module[@]}" -q --no-proxy "http://127.0.0.1:$http_port/lib" "$target"
  rm -rf "$target"
  kill -CONT $client
  wait $client || true
  # The second change writes the first file; the next one is saved into a new folder.
  [ "$point" -ne 2 ] || [ -d "$target" ] || fail "nothing was saved after change $point"
  rm -rf "$target"
  expect_repair
done
