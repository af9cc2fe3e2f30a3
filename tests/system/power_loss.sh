#!/bin/bash
# Tests a loss of power at any moment during an update, and after it. A disk without power is a copy
# of a disk's image, made while the client is stopped. Once its journal has been replayed, every
# file is old or new, the stamp is not ahead of the files, and the next run completes the copy.
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
sign_releases
make_certificates
publish_release 1
start_nginx "$folder/library"

# use_copies COPIES: what updates begin with from now on. Of nothing, of release 1, or of release 1
# with the key of signed releases.
use_copies() {
  copies=$1
  from=1
  [ "$copies" != nothing ] || from=0
  variant=with
  update=("$bin/mtlsync" -q --no-proxy --prune-most)
  if [ "$copies" = signed ]; then
    variant=signed
    update+=(--key "$folder/oak.pub")
  fi
  update+=("http://127.0.0.1:$http_port/lib" "$target")
  use_variant $variant
}

for copies in nothing old signed; do
  use_copies $copies
  cp --sparse=always "$folder/empty.img" "$folder/$copies.img"
  mount_image "$folder/$copies.img"
  [ $from -eq 0 ] || "${update[@]}"
  umount "$folder/disk"
done
publish_release 2

begin() {
  cp --sparse=always "$folder/$copies.img" "$folder/live.img"
  mount_image "$folder/live.img"
}

# What was written while it was copied is missed, or a write before it is: then once more.
copy_live_image() {
  cp --sparse=always "$folder/live.img" "$folder/cut.img"
  until cmp -s "$folder/live.img" "$folder/cut.img"; do
    cp --sparse=always "$folder/live.img" "$folder/cut.img"
  done
}

# lose_power SECONDS WHERE: so long after the client has got where it is.
lose_power() {
  sleep "$1"
  copy_live_image
  [ -z "$client" ] || kill -9 "$client"
  [ -z "$client" ] || { wait "$client" || true; } 2>/dev/null
  umount "$folder/disk"
  mount_image "$folder/cut.img"
  local when="$copies, change $2, $1 s later"
  echo "$when: $(ls -A "$target" 2>/dev/null | wc -l) in the copy" >>"$folder/log"
  (expect_old_or_new "$target" $from 2) || fail "$when"
  [ "$variant" != signed ] || (expect_record "$target" $from 2) || fail "$when"
  "${update[@]}" || fail "$when: the next run fails"
  expect_release "$target" 2
  umount "$folder/disk"
}

for copies in nothing old signed; do
  use_copies $copies
  begin
  changes=$(count_points "${update[@]}")
  umount "$folder/disk"
  for ((i = 0; i < moments; i++)); do
    # Over all of it, and then the last ones.
    point=$((i * 2 < moments ? 1 + (i * 2 * changes + RANDOM % (2 * changes)) / moments : changes - moments + 1 + i))
    last=$changes
    use_variant $variant
    if [ "$copies" != signed ] && [ $((RANDOM % 3)) -eq 0 ]; then
      # A first copy makes a few changes less then.
      use_variant without
      # The copy is of the release that still has them, and its stamp says so.
      cp "$folder/manifest-1-with" "$folder/manifest-1"
      last=$((changes - 10))
    fi
    for seconds in 0 1.3; do
      begin
      stop_at $((point < last ? point : last)) "${update[@]}"
      lose_power $seconds "$point of $changes"
    done
  done
  client=
  for seconds in 0 1.3 7; do
    begin
    "${update[@]}"
    lose_power $seconds "after the last"
    [ "$moments" -ge 10 ] || break
  done
done
echo "$(wc -l <"$folder/log") times power was lost, each at one of $changes changes or after them"
