#!/bin/bash
# Power that is lost at any moment of an update, and after it: what the disk holds then is what
# an image of it holds that is copied while the client has stopped. After its journal was
# replayed every file is old or new, the stamp is not ahead, and the next run completes.
# POWER_POINTS (4) says how many moments of each kind; a thorough run takes 50.
# usage: power_loss.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
bin=$2
target=$folder/disk/copy
. "$1/tests/system/write_points.sh"
. "$1/tests/system/releases.sh"
moments=${POWER_POINTS:-4}

# As strict as ext4 can be: renames do not make it write the files' contents, but names and sizes
# are durable within a second.
mount_image() {
  mount -o loop,commit=1,noauto_da_alloc "$1" "$folder/disk" 2>/dev/null
}

mkdir "$folder/disk"
truncate -s 32M "$folder/empty.img"
PATH=$PATH:/usr/sbin:/sbin
if ! mkfs.ext4 -q -J size=4 "$folder/empty.img" || ! mount_image "$folder/empty.img"; then
  echo "Not tried: this user may not mount an image."
  exit 0
fi
umount "$folder/disk"

make_releases 60
publish_release 1
make_certificates
start_nginx "$folder/library"
update=("$bin/mtlsync" -q --no-proxy --prune-most "http://127.0.0.1:$http_port/lib" "$target")

# Old copies: none at all, and one of release 1.
cp --sparse=always "$folder/empty.img" "$folder/old-0.img"
cp --sparse=always "$folder/empty.img" "$folder/old-1.img"
mount_image "$folder/old-1.img"
"${update[@]}"
umount "$folder/disk"
publish_release 2

# begin_with FROM
begin_with() {
  cp --sparse=always "$folder/old-$1.img" "$folder/live.img"
  mount_image "$folder/live.img"
}

# What was written while it was copied is missed, or a write before it is: then once more.
copy_live_image() {
  cp --sparse=always "$folder/live.img" "$folder/cut.img"
  until cmp -s "$folder/live.img" "$folder/cut.img"; do
    cp --sparse=always "$folder/live.img" "$folder/cut.img"
  done
}

# lose_power SECONDS FROM WHERE: so long after the client has got where it is.
lose_power() {
  sleep "$1"
  copy_live_image
  [ -z "$client" ] || kill -9 "$client"
  [ -z "$client" ] || { wait "$client" || true; } 2>/dev/null
  umount "$folder/disk"
  mount_image "$folder/cut.img"
  echo "release $2, change $3, $1 s later: $(ls -A "$target" 2>/dev/null | wc -l) in the copy" >>"$folder/log"
  (expect_old_or_new "$target" "$2" 2) || fail "change $3 from release $2, $1 s later"
  "${update[@]}" || fail "change $3 from release $2, $1 s later: the next run fails"
  expect_release "$target" 2
  umount "$folder/disk"
}

for from in 0 1; do
  list_digests with
  begin_with $from
  changes=$(count_points "${update[@]}")
  umount "$folder/disk"
  for ((i = 0; i < moments; i++)); do
    # Over all of it, and then the last ones.
    point=$((i * 2 < moments ? 1 + (i * 2 * changes + RANDOM % (2 * changes)) / moments : changes - moments + 1 + i))
    digests=with
    last=$changes
    if [ $((RANDOM % 3)) -eq 0 ]; then
      # A first copy makes a few changes less then.
      digests=without
      last=$((changes - 10))
    fi
    list_digests $digests
    for seconds in 0 1.3; do
      begin_with $from
      stop_at $((point < last ? point : last)) "${update[@]}"
      lose_power $seconds $from "$point of $changes"
    done
  done
  client=
  for seconds in 0 1.3 7; do
    begin_with $from
    "${update[@]}"
    lose_power $seconds $from "after the last"
    [ "$moments" -ge 10 ] || break
  done
done
echo "$(wc -l <"$folder/log") times power was lost, each at one of $changes changes or after them"
