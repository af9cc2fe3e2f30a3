#!/bin/bash
# Tests a hostile mirror, which attacks copies of a signed library in one way after another. No
# attack takes effect: each update is refused, the copy stays as it was byte for byte, and the next
# update from an honest mirror succeeds.
# CLIENTS (all but Blender) says which of the functions below bring copies up to date.
# STAMP_BYTES (400, which is all of them) says how many bytes of a stamp are changed, one at a time;
# fewer of them by clients that take long to start.
# usage: hostile_mirror.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
source=$1
tests=$1/tests/system
bin=$2
target=$folder/copy
. "$tests/releases.sh"
stamp_bytes=${STAMP_BYTES:-400}

mirror_pid=
stop_other_servers() {
  [ -z "$mirror_pid" ] || kill "$mirror_pid" 2>/dev/null || true
}

# Each brings the copy up to date, with the key as the only one, and ends with status 5 when what it
# is offered was not signed.
mtlsync() {
  "$bin/mtlsync" -q --no-proxy --retries 0 --key "$folder/oak.pub" "$address" "$target"
}
host_in_c() {
  "$bin/pinned_host" "$folder/oak.pub" "$address" "$target"
}
host_in_python() {
  PYTHONPATH=$source/python PYTHONDONTWRITEBYTECODE=1 MTLLIB_LIBRARY=$bin/libmtlhost.so \
    python3 - "$address" "$target" "$folder/oak.pub" <<'END'
import sys

import mtllib

url, directory, key = sys.argv[1:]
options = mtllib.UpdateOptions(tries=1)
try:
    with mtllib.Library(url, directory, proxy=None, options=options, keys=key) as library:
        library.sync()
except mtllib.SyncError as error:
    print(error, file=sys.stderr)
    is_content = error.failure == mtllib.Failure.CONTENT
    sys.exit(5 if is_content or isinstance(error, mtllib.UntrustedError) else 1)
END
}
# With the add-on and the Python package as they lie in the source.
host_in_blender() {
  local home=$folder/blender status=0
  if [ ! -e "$home" ]; then
    mkdir -p "$home/scripts/addons"
    cp -r "$source/integrations/blender/mtllib_blender" "$home/scripts/addons"
    ln -s "$source/python" "$home/scripts/addons/mtllib_blender/vendor"
  fi
  BLENDER_USER_RESOURCES=$home HOME=$home PYTHONDONTWRITEBYTECODE=1 \
    MTLLIB_LIBRARY=$bin/libmtlhost.so \
    blender --background --factory-startup --python-exit-code 5 --python-expr "
import bpy
bpy.ops.preferences.addon_enable(module='mtllib_blender')
preferences = bpy.context.preferences.addons['mtllib_blender'].preferences
preferences.address, preferences.folder = '$address', '$target'
preferences.keys, preferences.proxy = '$folder/oak.pub', 'NONE'
bpy.ops.mtllib.synchronise()
" >"$folder/blender.log" 2>&1 || status=$?
  [ $status -eq 0 ] || cat "$folder/blender.log" >&2
  return $status
}
clients=${CLIENTS:-mtlsync host_in_c host_in_python}

# attack NAME: what the mirror does from now on.
attack() {
  echo "$1" >"$folder/attack.new"
  mv "$folder/attack.new" "$folder/attack"
}

# release NAME [KEY [LIBRARY [OPTIONS...]]]: signs what lies in $folder/releases/NAME.
release() {
  "$bin/mtlpublish" build --quiet --sign "$folder/${2:-oak}.key" --name "${3:-oak}" "${@:4}" \
    "$folder/releases/$1"
}

# sign_by_hand NAME COMMENT: with a comment that mtlpublish would not write now.
sign_by_hand() {
  local list=$folder/releases/$1/filelist.json
  minisign -S -s "$folder/oak.key" -m "$list" -x "$folder/releases/$1/id.txt" \
    -t "$2; list: $(wc -c <"$list") bytes" >/dev/null </dev/null
}

make_library() {
  "$bin/mtlpublish" keygen --no-password "$folder/oak" >/dev/null 2>&1
  "$bin/mtlpublish" keygen --no-password "$folder/thief" >/dev/null 2>&1
  mkdir -p "$folder/releases/old/maps"
  echo "old oak" >"$folder/releases/old/oak.mtl"
  echo "old leaf" >"$folder/releases/old/maps/leaf.tx"
  echo "bark" >"$folder/releases/old/maps/bark.tx"
  # For shorter lists there are no differences.
  for ((i = 0; i < 40; i++)); do
    echo $i >"$folder/releases/old/maps/map $i.tx"
  done
  release old
  cp -a "$folder/releases/old" "$folder/releases/new"
  echo "new oak" >"$folder/releases/new/oak.mtl"
  echo "new leaf" >"$folder/releases/new/maps/leaf.tx"
  release new
  comment=$(sed -n 's/^trusted comment: //p' "$folder/releases/new/id.txt")
  for name in elm beta thief twin expired; do
    cp -a "$folder/releases/new" "$folder/releases/$name"
    echo "$name" >"$folder/releases/$name/oak.mtl"
  done
  release elm oak elm
  release beta oak oak --sub-path beta
  release thief thief
  release twin
  sign_by_hand twin "${comment%; list*}"
  release expired
  sign_by_hand expired "library: oak; serial: 99999999999; published: 2020-01-01T00:00:00Z; \
expires: 2021-01-01T00:00:00Z"
}

# begin_with RELEASE: a copy that $client has made of it.
begin_with() {
  rm -rf "$target"
  [ "$1" = nothing ] || cp -a "$folder/copies/$client-$1" "$target"
}

# expect_refusal COPY ATTACK WORDS
expect_refusal() {
  begin_with "$1"
  attack "$2"
  got=0
  $client >"$folder/out" 2>"$folder/err" || got=$?
  [ $got -eq 5 ] || fail "$client, $2: status $got: $(cat "$folder/err")"
  grep -q -- "$3" "$folder/err" || fail "$client, $2: no \"$3\" in: $(cat "$folder/err")"
  if [ "$1" = nothing ]; then
    [ ! -d "$target" ] || [ -z "$(manifest_of "$target")" ] || fail "$client, $2: files were made"
  else
    manifest_of "$target" | diff "$folder/manifest-$1" - || fail "$client, $2: the copy has changed"
  fi
  attack none
  $client || fail "$client, after $2: no update from an honest mirror"
  manifest_of "$target" | diff "$folder/manifest-new" - || fail "$client, after $2: not the release"
}

make_library
attack none
python3 "$tests/hostile_mirror.py" "$folder/releases" "$folder/attack" >"$folder/port" &
mirror_pid=$!
until [ -s "$folder/port" ]; do
  kill -0 $mirror_pid || fail "the mirror does not start"
  sleep 0.05
done
address=http://127.0.0.1:$(cat "$folder/port")
mkdir "$folder/copies"
for name in old new; do
  manifest_of "$folder/releases/$name" >"$folder/manifest-$name"
done

for client in $clients; do
  echo "$client"
  for name in old new; do
    [ $name = new ] || attack "old stamp with old list"
    $client || fail "$client: the first update fails"
    attack none
    cp -a "$target" "$folder/copies/$client-$name"
  done
  attacks=0
  while IFS='|' read -r copy name words; do
    expect_refusal "$copy" "$name" "$words"
    attacks=$((attacks + 1))
  done <<'END'
old|arbitrary file|does not have the SHA-256
old|longer file|does not have the
old|arbitrary list|not the list that was signed
old|page for a list|not the list that was signed
old|added file|longer than the list that was signed
old|removed file|not the list that was signed
nothing|old stamp with new list|not the list that was signed
old|new stamp with old list|not the list that was signed
old|new stamp with old files|does not have the SHA-256
new|old stamp with old list|older release
new|old stamp with new list|older release
old|endless stamp|longer than a signature may be
nothing|endless stamp|longer than a signature may be
old|endless list|longer than the list that was signed
old|expired|it expired at
nothing|expired|it expired at
new|same serial|from the same release
old|other library|stamp of "elm", not of "oak"
old|other sub-path|sub-path "beta"
nothing|other sub-path|sub-path "beta"
old|other key|not one of those given
nothing|other key|not one of those given
old|not signed|not signed
nothing|not signed|not signed
old|cut signature|not a whole signature
old|changed comment|wrong signature
END
  # The list itself makes up for these.
  for name in "arbitrary form" "cut form" "form of an evil list" "form that grows" "endless form" \
    "arbitrary difference" "cut difference" "difference and more" "difference of another list" \
    "difference to another list" "difference to an evil list" "difference that leads outside" \
    "difference that copies too much" "difference of small steps" \
    "difference that inserts too much" "difference that grows" "huge difference" \
    "endless difference"; do
    begin_with old
    attack "$name"
    rm -f "$folder/attack.log"
    $client >"$folder/out" 2>"$folder/err" || fail "$client, $name: $(cat "$folder/err")"
    manifest_of "$target" | diff "$folder/manifest-new" - || fail "$client, $name: not the release"
    kind=form
    [ "${name/difference/}" = "$name" ] || kind=difference
    grep -qx $kind "$folder/attack.log" || fail "$client, $name: the mirror was not asked for it"
    attacks=$((attacks + 1))
  done
  size=$(wc -c <"$folder/releases/new/id.txt")
  tries=$stamp_bytes
  case $client in
    host_in_python) tries=$((stamp_bytes / 10)) ;;
    host_in_blender) tries=$((stamp_bytes / 40)) ;;
  esac
  step=$((size > tries ? size / tries : 1))
  changed=0
  begin_with old
  for ((i = RANDOM % step; i < size; i += step)); do
    attack "byte $i"
    got=0
    $client >"$folder/out" 2>"$folder/err" || got=$?
    [ $got -eq 5 ] || fail "$client, byte $i of the stamp: status $got: $(cat "$folder/err")"
    changed=$((changed + 1))
  done
  manifest_of "$target" | diff "$folder/manifest-old" - || fail "$client: the copy has changed"
  echo "$attacks attacks and $changed of $size bytes changed: none took effect"
done
