#!/bin/bash
# Measures and tests what it costs to keep real files up to date: icons, fonts and scenes of
# Debian's packages, published again and again by nginx over HTTP and HTTPS. After each release the
# copy is the same as a fresh one, and what was requested is what the lists say is new. Prints the
# requests and bytes from nginx's log. With COMPARE_MODULE=1, those of the module as well; further
# folders make the library larger.
# usage: real_libraries.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER [FOLDER...]
set -eu
# In memory where there is room: many times over, so many files are a disk's work.
room=$(df --output=avail /dev/shm 2>/dev/null | tail -n 1)
[ "${room:-0}" -lt 2000000 ] || export TMPDIR=/dev/shm
. "$1/tests/system/nginx.sh"
PATH=$2:$PATH
module=$2/libmtllib.so
shift 3
unset CURL_CA_BUNDLE SSL_CERT_FILE SSL_CERT_DIR

library=$folder/library
mkdir -p "$library/maps"
cp -rL /usr/share/povray* /usr/share/icons/Adwaita /usr/share/fonts/truetype/noto "$@" "$library"
# Maps and their lossy variants: icons in two sizes.
find "$library/Adwaita/48x48" -name '*.png' | sort | while read -r large; do
  small=$library/Adwaita/16x16/${large#"$library/Adwaita/48x48/"}
  [ -f "$small" ] || continue
  name=$(basename "$large" .png)
  cp "$large" "$library/maps/$name.tx"
  cp "$small" "$library/maps/$name.jpeg.tx"
done

# publish OPTION...: with what clients of the kit and of the module are foretold to ask for.
publish() {
  if [ -e "$library/filelist.json" ]; then
    cp "$library/filelist.json" "$folder/old.json"
    cp "$library/id.txt" "$folder/old.id"
  fi
  expect 0 mtlpublish diff --json --allow changed-missing "$@" "$library"
  foretold=$(python3 -c 'import json, sys
result = json.load(sys.stdin)
for client in ("byKit", "byModule"):
    print(result[client]["requests"], result[client]["bytes"])' <"$folder/out")
  expect 0 mtlpublish build --allow changed-missing "$@" "$library"
}

# The requests for the new release, and the bytes of their bodies: for the stamp, the list in the
# form that is offered to clients of the old release, and each content that no file of that has.
cost_by_lists() {
  python3 - "$library" "$folder/old.json" "$folder/old.id" <<'END'
import hashlib, json, os, sys

def contents(file):
    with open(file, encoding="utf-8") as text:
        return {entry["sha256"]: entry.get("jpegSize") or entry["size"]
                for entry in json.load(text) if entry["download"] != "never"}

library, old, old_id = sys.argv[1:]
new = contents(library + "/filelist.json")
for digest in contents(old) if os.path.exists(old) else ():
    new.pop(digest, None)
form = "filelist.json.gz"
if os.path.exists(old_id):
    with open(old_id, "rb") as stamp:
        difference = f"changes/{hashlib.sha256(stamp.read()).hexdigest()}.gz"
    if os.path.exists(f"{library}/{difference}"):
        form = difference
own = [os.path.getsize(f"{library}/{name}") for name in ("id.txt", form)]
print(2 + len(new), sum(own) + sum(new.values()))
END
}

logged() {
  awk '{ requests++; bytes += $3 } END { print requests + 0, bytes + 0 }' "$folder/bodies.log"
}

expect_cost() {
  await_requests
  [ "$(logged)" = "$1" ] || fail "requests and bytes were $(logged) instead of $1"
}

address_of() {
  case $1 in
    https) echo "https://localhost:$https_port/lib" ;;
    *) echo "http://127.0.0.1:$http_port/lib" ;;
  esac
}

# update COPY OPTION...: the copy, named after how it is kept. The log is that of this run.
update() {
  await_requests
  : >"$folder/bodies.log"
  expect 0 mtlsync -q --no-proxy "${@:2}" "$(address_of "$1")" "$folder/$1"
}

# release NAME: has the copies follow it.
release() {
  cost=$(cost_by_lists)
  [ "$(echo "$foretold" | head -n 1)" = "$cost" ] || fail "$1: foretold were $foretold, not $cost"
  rm -rf "$folder/fresh"
  update fresh
  for scheme in http https; do
    update $scheme --prune
    expect_cost "$cost"
    expect 0 mtlsync --verify "$folder/$scheme"
    diff -r -x .mtllib "$folder/fresh" "$folder/$scheme" || fail "$1: the copy is not as a new one"
  done
  if [ -n "${COMPARE_MODULE:-}" ]; then
    update by-module --module "$module"
    expect_cost "$(echo "$foretold" | tail -n 1)"
    cost="$cost $(logged)"
  fi
  # shellcheck disable=SC2086  # two numbers, or four
  set -- "$1" $cost
  printf "%-22s$(printf ' %%%ds' 8 12 8 12 | cut -d' ' -f "1-$#")\n" "$@"
}

# change NUMBER: so many files, from all over the library.
change() {
  find "$library" -type f ! -path '*/.mtlpublish-*' ! -name id.txt ! -name 'filelist.json*' ! -path '*/changes/*' | sort |
    awk -v wanted="$1" '{ names[NR] = $0 }
      END { for (i = 0; i < wanted; ++i) print names[int((i + 0.5) * NR / wanted) + 1] }' |
    while read -r name; do echo changed >>"$name"; done
}

make_certificates
export CURL_CA_BUNDLE=$folder/ca.pem
publish
start_nginx "$library" "log_format bodies '\$request_uri \$status \$body_bytes_sent';
  access_log $folder/bodies.log bodies;"
cp -a "$library" "$folder/first"

files=$(grep -c '"path"' "$library/filelist.json")
[ "$files" -ge 6000 ] || fail "only $files files"
du -sb --apparent-size "$library" | awk -v files="$files" '{ print files " files, " $1 " bytes" }'
release 'first run'
change 1
publish
release '1 file changed'
change 100
publish
release '100 files changed'
mv "$library/Adwaita/96x96" "$library/Adwaita/large"
publish
release 'folder renamed'
find "$library/noto" -name 'NotoSerif*' -delete
publish
release 'files withdrawn'
publish --missing 'noto/*' --missing 'Adwaita/*' --never '*.svg'
release 'policies changed'
change 100
publish --missing 'noto/*' --missing 'Adwaita/*' --never '*.svg'
release '100 changed, missing'
publish
release 'policies changed back'
publish --lossy
release 'lossy maps on'
publish
release 'lossy maps off'
rsync -a --delete --exclude 'filelist.json*' --exclude changes --exclude id.txt "$folder/first/" "$library/"
publish
release 'rolled back'
