#!/bin/bash
# Tests disks that fail, first with the module, then with the engine: each run ends with a message
# that says why and leaves the old stamp, and the next run on a working disk completes the copy.
# usage: disks.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
bin=$2
target=$folder/disk/copy
. "$1/tests/system/write_points.sh"
. "$1/tests/system/releases.sh"
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
expect_text '/a" cannot be written: '
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

# The engine: whatever fails and when, each file stays whole, and the next run finishes.
# DISK_POINTS (4) says at how many moments the disk fills up; a thorough run takes 50.
moments=${DISK_POINTS:-4}
stop_nginx
rm -rf "$folder/library" "$target"
make_releases 40
publish_release 1
start_nginx "$folder/library"

update() {
  "${update[@]}" "http://127.0.0.1:$http_port/lib" "$target"
}
update=("$bin/mtlsync" -q --no-proxy --prune-most)

# begin_with_copy: of release 1, to be brought to release 2.
begin_with_copy() {
  rm -rf "$target"
  publish_release 1
  update || fail "the first run fails"
  publish_release 2
}

# expect_failure WORDS COMMAND...: of the disk, and the copy is as good as it was.
expect_failure() {
  expect 4 "${@:2}"
  expect_text "$1"
  expect_old_or_new "$target" 1 2
}

expect_finish() {
  update || fail "the next run fails"
  expect_release "$target" 2
}

# fill_names: not a file more fits.
fill_names() {
  local name=0
  mkdir -p "$folder/disk/names"
  while { : >"$folder/disk/names/$name"; } 2>/dev/null; do name=$((name + 1)); done
}
# A quota that allows no more than what is used already.
fill_quota() {
  btrfs quota enable "$folder/disk"
  btrfs quota rescan -w "$folder/disk" >/dev/null
  sync -f "$folder/disk"
  btrfs qgroup limit "$(btrfs qgroup show --raw "$folder/disk" | awk '/^0\/5/ { print $2 }')" \
    "$folder/disk"
}
make_room() {
  rm -rf "$folder/disk/filling" "$folder/disk/names"
  [ "$(stat -fc %T "$folder/disk")" != btrfs ] || btrfs quota disable "$folder/disk"
}

# fill_at_moments FILL: each run ends with status 4 where it was filled too early, and else well.
fill_at_moments() {
  local i point failed=0
  begin_with_copy
  changes=$(count_points "${update[@]}" "http://127.0.0.1:$http_port/lib" "$target")
  for ((i = 0; i < moments; i++)); do
    point=$((1 + (i * changes + RANDOM % changes) / moments))
    begin_with_copy
    stop_at $((point < changes ? point : changes)) \
      "${update[@]}" "http://127.0.0.1:$http_port/lib" "$target"
    "$1"
    kill -CONT $client
    status=0
    wait $client || status=$?
    (expect_old_or_new "$target" 1 2) || fail "$1 at change $point"
    case $status in
      0) expect_release "$target" 2 ;;
      4)
        failed=$((failed + 1))
        grep -qE "No space left on device|Disk quota exceeded|too little room" "$folder/err" ||
          fail "$1 at change $point: $(cat "$folder/err")"
        ;;
      *) fail "$1 at change $point: exit status $status: $(cat "$folder/err")" ;;
    esac
    make_room
    expect_finish
  done
  echo "$1 on $(stat -fc %T "$folder/disk"): $failed of $moments runs failed, of $changes changes"
  [ "$failed" -gt 0 ] || fail "no run has noticed it"
}

! mountpoint -q "$folder/disk" || umount "$folder/disk"
if mount -t tmpfs -o size=6m,nr_inodes=400 tmpfs "$folder/disk" 2>/dev/null; then
  begin_with_copy
  mount -o remount,ro "$folder/disk"
  expect_failure "Read-only file system" update
  mount -o remount,rw "$folder/disk"
  expect_finish

  begin_with_copy
  fill_disk
  truncate -s -20000 "$folder/disk/filling"
  expect_failure "not enough free space: " update
  grep -qE "not enough free space: [0-9]+ bytes are needed, [0-9]+ are free" "$folder/err" ||
    fail "no figures: $(cat "$folder/err")"
  make_room
  expect_finish

  fill_at_moments fill_disk
  fill_at_moments fill_names
  umount "$folder/disk"

  # It promises room for what is written, and takes it only later.
  truncate -s 8M "$folder/image"
  PATH=$PATH:/usr/sbin:/sbin
  if mkfs.ext4 -q -m 0 -N 400 "$folder/image" &&
    mount -o loop "$folder/image" "$folder/disk" 2>/dev/null; then
    fill_at_moments fill_disk
    fill_at_moments fill_names
    umount "$folder/disk"
  fi

  truncate -s 120M "$folder/image"
  if mkfs.btrfs -q -f -m single "$folder/image" >/dev/null &&
    mount -o loop "$folder/image" "$folder/disk" 2>/dev/null; then
    fill_at_moments fill_quota
    umount "$folder/disk"
  fi
fi

begin_with_copy
limited() {
  (ulimit -f 100 && update)
}
expect_failure "File too large" limited
expect_finish

# Root has no right to pass over permissions, either.
without_rights=()
[ "$(id -u)" -ne 0 ] || without_rights=(setpriv --inh-caps=-all --bounding-set=-all)
for locked in "" .mtllib 2; do
  begin_with_copy
  chmod a-w "$target/$locked"
  expect_failure "Permission denied" "${without_rights[@]}" "${update[@]}" \
    "http://127.0.0.1:$http_port/lib" "$target"
  chmod u+w "$target/$locked"
  expect_finish
done

for handles in 5 7 8 9 10 12 14 20; do
  begin_with_copy
  status=0
  (ulimit -n $handles && timeout 60 "${update[@]}" "http://127.0.0.1:$http_port/lib" "$target") \
    2>"$folder/err" || status=$?
  # With very few, the system's loader has none for the libraries.
  case $status in
    0) ;;
    1 | 3 | 4 | 127) [ -s "$folder/err" ] || fail "with $handles handles: no message" ;;
    *) fail "with $handles handles: status $status" ;;
  esac
  expect_old_or_new "$target" 1 2
  expect_finish
done

# A target that is removed in the middle comes back with the next run at the latest.
for ((i = 0; i < moments; i++)); do
  begin_with_copy
  stop_at $((RANDOM % 100 + 1)) "${update[@]}" "http://127.0.0.1:$http_port/lib" "$target"
  rm -rf "$target"
  kill -CONT $client
  wait $client || true
  expect_finish
done
