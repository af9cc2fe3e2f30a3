# Sourced after nginx.sh, with $bin set: makes releases of a library that differ in every way,
# serves them one at a time, and checks copies on their way from one to another.

# make_releases [FILES]: releases 1 to 3 of about so many files (100), in $folder/releases. Most
# stay as they are; some change, some change their path, some come and some go, and one is large.
make_releases() {
  local count=${1:-100} release i
  mkdir -p "$folder/releases/1"
  for ((i = 0; i < count; i++)); do
    mkdir -p "$folder/releases/1/$((i % 10))"
    head -c $((i * i % 50000 + 1)) /dev/urandom >"$folder/releases/1/$((i % 10))/$i.tx"
  done
  head -c 300000 /dev/urandom >"$folder/releases/1/large.tx"
  for release in 2 3; do
    cp -r "$folder/releases/$((release - 1))" "$folder/releases/$release"
    cd "$folder/releases/$release"
    for ((i = release; i < count; i += 3)); do
      head -c $((i * i % 30000 + release)) /dev/urandom >"$((i % 10))/$i.tx"
    done
    head -c $((300000 + release)) /dev/urandom >large.tx
    mv 9 "moved $release"
    mkdir 9
    mv "moved $release/9.tx" "9/was 9.tx"
    mkdir "only in $release"
    head -c 3000 /dev/urandom >"only in $release/new.tx"
    cp "only in $release/new.tx" "only in $release/twice.tx"
    : >"only in $release/empty.tx"
    rm -rf "only in $((release - 1))" "$release/1$release.tx"
    cd - >/dev/null
  done
  for release in 1 2 3; do
    "$bin/mtlpublish" build "$folder/releases/$release" >/dev/null
  done
  keep_variant with
  for release in 1 2 3; do
    sed -i 's/, *"sha256": *"[0-9a-f]*"//' "$folder/releases/$release/filelist.json"
    # Nor does the stamp know a digest, as those of older publishers.
    sed -i 2d "$folder/releases/$release/id.txt"
  done
  keep_variant without
  use_variant with
}

# sign_releases: all of them, for the key in $folder/oak.pub, as releases of one library.
sign_releases() {
  "$bin/mtlpublish" keygen --no-password "$folder/oak" >/dev/null 2>&1
  for release in 1 2 3; do
    "$bin/mtlpublish" build --sign "$folder/oak.key" --name oak "$folder/releases/$release" >/dev/null
    sleep 1.1 # Serials are at least the time.
  done
  keep_variant signed
}

# keep_variant NAME: the releases as they are, for use_variant.
keep_variant() {
  for release in 1 2 3; do
    manifest_of "$folder/releases/$release" >"$folder/manifest-$release-$1"
    cp "$folder/releases/$release/filelist.json" "$folder/list-$release-$1"
    cp "$folder/releases/$release/id.txt" "$folder/id-$release-$1"
  done
}

# use_variant with|without|signed: all releases list digests, do not, or are signed, from now on.
use_variant() {
  for release in 1 2 3; do
    cp "$folder/manifest-$release-$1" "$folder/manifest-$release"
    cp "$folder/list-$release-$1" "$folder/releases/$release/filelist.json"
    cp "$folder/id-$release-$1" "$folder/releases/$release/id.txt"
  done
}

# manifest_of FOLDER: digest and path of each file that belongs to a copy.
manifest_of() {
  (cd "$1" && find . -type f ! -path './.mtl*' ! -path './filelist.json*' ! -path './changes/*' -exec sha256sum {} + | sort)
}

# publish_release NUMBER: what clients get from now on, of the server that start_nginx starts
# with $folder/library.
publish_release() {
  ln -sfnT "$folder/releases/$1" "$folder/library"
}

# expect_whole_files COPY FROM TO: each is as it was, or as it will be. FROM may be 0: there was
# nothing.
expect_whole_files() {
  touch "$folder/manifest-0"
  manifest_of "$1" >"$folder/found"
  sort -u "$folder/manifest-$2" "$folder/manifest-$3" | comm -23 "$folder/found" - >"$folder/neither"
  [ ! -s "$folder/neither" ] || fail "neither old nor new: $(cat "$folder/neither")"
}

# expect_old_or_new COPY FROM TO: so they are, and the stamp is not the new one before everything
# else is new.
expect_old_or_new() {
  [ -d "$1" ] || return 0
  expect_whole_files "$@"
  ! cmp -s "$1/id.txt" "$folder/releases/$3/id.txt" || cmp "$folder/found" "$folder/manifest-$3" ||
    fail "the stamp is ahead"
}

# expect_record COPY FROM TO: what the copy has had with keys is what it had, as long as no file is
# new, and otherwise the new release.
expect_record() {
  local record=$1/.mtllib/trusted
  ! cmp -s "$record" "$folder/releases/$3/id.txt" || return 0
  if [ "$2" -eq 0 ]; then
    [ ! -e "$record" ] || fail "a record of nothing that there was: $(cat "$record")"
  else
    cmp "$record" "$folder/releases/$2/id.txt" || fail "the record is neither old nor new"
  fi
  manifest_of "$1" 2>/dev/null | comm -23 - "$folder/manifest-$2" >"$folder/ahead"
  [ ! -s "$folder/ahead" ] || fail "the record is behind $(cat "$folder/ahead")"
}

# expect_release COPY NUMBER: it is what a fresh copy is, and nothing is unfinished.
expect_release() {
  manifest_of "$1" | diff - "$folder/manifest-$2" || fail "not a copy of release $2"
  expect_nothing_unfinished "$1"
}

# fill_disk: not a byte more fits onto $folder/disk.
fill_disk() {
  dd if=/dev/zero of="$folder/disk/filling" bs=1M 2>/dev/null || true
  dd if=/dev/zero of="$folder/disk/filling" bs=512 oflag=append conv=notrunc 2>/dev/null || true
}
