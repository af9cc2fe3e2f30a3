#!/bin/sh
# Tests docs/publishing/publish-to-s3 with rclone, an S3-compatible store, and a cache in front of
# it like those of a CDN. The store is s3rver, which "make test-publishing" installs; it replaces
# objects in place, so nothing can be published while clients run.
# usage: publishing_to_s3.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS S3RVER
set -eu
. "$1/tests/system/nginx.sh"
. "$1/tests/system/material_library.sh"
. "$1/tests/system/s3_store.sh"
PATH=$2:$1/docs/publishing:$PATH
unset http_proxy HTTP_PROXY https_proxy HTTPS_PROXY all_proxy ALL_PROXY

write_nginx_configuration() {
  mkdir -p "$folder/tmp"
  cat >"$folder/nginx.conf" <<EOF
user root;
daemon off;
pid $folder/nginx.pid;
events { worker_connections 1024; }
http {
  client_body_temp_path $folder/tmp; proxy_temp_path $folder/tmp; fastcgi_temp_path $folder/tmp;
  uwsgi_temp_path $folder/tmp; scgi_temp_path $folder/tmp;
  log_format plain '\$request_method \$request_uri \$upstream_cache_status';
  access_log $folder/requests.log plain;
  proxy_cache_path $folder/cache keys_zone=cdn:1m;
  server {
    listen 127.0.0.1:$http_port;
    location = /owner { return 200 "$folder"; }
    location / {
      proxy_pass $store/materials/;
      proxy_cache cdn;
      proxy_cache_revalidate on;
    }
  }
}
EOF
}

expect_life() {
  curl -s --noproxy '*' -D - -o /dev/null "$cdn/$1" | tr -d '\r' >"$folder/header"
  grep -qix "Cache-Control: $2" "$folder/header" || fail "$1: $(cat "$folder/header")"
}

publish() {
  make_generation "$1"
  : >"$folder/store.log"
  expect 0 publish-to-s3 "$folder/library" store:materials/library
}

start_store "$3"
start_nginx "$folder"
cdn="http://127.0.0.1:$http_port/library"

echo "Files go first, then the list compressed and as it is, and the stamp last"
publish 1
sed -n 's/.*Stored object "library\/\([^"]*\)".*/\1/p' "$folder/store.log" >"$folder/stored"
[ "$(wc -l <"$folder/stored")" -eq 13 ] || fail "$(cat "$folder/stored")"
[ "$(tail -n 3 "$folder/stored")" = "filelist.json.gz
filelist.json
id.txt" ] || fail "$(cat "$folder/stored")"
expect_life id.txt "max-age=60"
expect_life filelist.json "no-cache"
expect_life "materials/oak%20%26%201.mat" "no-cache"
expect_life "maps/oak%201.tx" "max-age=31536000, immutable"

echo "Behind the cache, a run gets nothing older than its stamp, and maps come from the cache"
expect 0 mtlsync --no-proxy "$cdn" "$folder/behind-1"
expect_same_tree "$folder/library" "$folder/behind-1"
expect 0 mtlpublish verify "$cdn"
publish 2
grep -q 'Stored object "library/maps/oak 2.tx"' "$folder/store.log" || fail "$(cat "$folder/store.log")"
! grep -q 'Stored object "library/maps/oak 1.tx"' "$folder/store.log" || fail "sent again"
: >"$folder/requests.log"
expect 0 mtlsync --no-proxy "$cdn" "$folder/behind-2"
expect_nothing_older_than_stamp "$folder/behind-2"
diff -r -x ".mtlpublish-*" -x .mtllib -x id.txt -x filelist.json -x filelist.json.gz -x changes "$folder/library" "$folder/behind-2" || fail "something old"
grep -q "GET /library/maps/oak%201.tx HIT" "$folder/requests.log" || fail "$(cat "$folder/requests.log")"

echo "A map that has changed under its name is refused, and nothing is published"
seq 10000 >"$folder/library/maps/oak 2.tx"
expect 0 mtlpublish build --allow changed-missing --missing 'maps/*' "$folder/library"
got=0
publish-to-s3 "$folder/library" store:materials/library 2>"$folder/err" || got=$?
[ "$got" -ne 0 ] || fail "a changed map was taken"
expect_text "oak 2.tx: Source and destination exist but do not match: immutable file modified"
curl -s --noproxy '*' "$store/materials/library/id.txt" | cmp - "$folder/id-2"

echo "What was removed goes when asked, and only what is published counts"
expect 1 publish-to-s3 --clean "$folder/library" store:materials/library
make_generation 2
mv "$folder/library/maps/oak 1.tx" "$folder/oak 1.tx"
expect 1 publish-to-s3 --clean "$folder/library" store:materials/library
expect_text "maps/oak 1.tx: is missing"
mv "$folder/oak 1.tx" "$folder/library/maps/oak 1.tx"
mkdir "$folder/failing"
cat >"$folder/failing/rclone" <<EOF
#!/bin/sh
[ "\$1" != lsf ] || exit 3
exec $(command -v rclone) "\$@"
EOF
chmod +x "$folder/failing/rclone"
(
  PATH=$folder/failing:$PATH
  expect 3 publish-to-s3 --clean "$folder/library" store:materials/library
)
expect 0 mtlpublish verify "$cdn"
expect 0 publish-to-s3 --clean "$folder/library" store:materials/library
rclone check --checksum --exclude '/.mtlpublish-*' "$folder/library" store:materials/library 2>"$folder/err" ||
  fail "$(cat "$folder/err")"

echo "Views go with all forms of their lists, and the Cache-Control of library.toml"
# where FOLDER: what the store has there, with its Cache-Control.
where() {
  rclone lsf --recursive --files-only "store:materials/$1" | LC_ALL=C sort | while IFS= read -r name; do
    control=$(curl -s --noproxy '*' -D - -o /dev/null "$store/materials/$1/$name" | tr -d '\r' |
      sed -n 's/^[Cc]ache-[Cc]ontrol: //p')
    printf '%s: %s\n' "$name" "$control"
  done
}
mkdir -p "$folder/oak/previews" "$folder/oak/maps"
for i in $(seq 60); do
  echo "$i" >"$folder/oak/previews/$i.png"
done
echo map >"$folder/oak/maps/a.tx"
cat >"$folder/oak/library.toml" <<'EOF'
address = "https://materials.example/site/oak"
[[cache]]
files = ["1.png"]
life = "no-cache"
[[cache]]
files = ["*.png"]
life = "1h"
[[cache]]
files = ["a.tx"]
life = "forever"
[[view]]
sub-path = "beta"
files = ["previews/*"]
EOF
publish_views() {
  echo "$1" >"$folder/oak/previews/60.png"
  expect 0 mtlpublish build "$folder/oak"
  : >"$folder/store.log"
  expect 0 publish-to-s3 "$folder/oak" store:materials/site/oak
}
publish_views 1
publish_views 2
sed -n 's/.*Stored object "\([^"]*\)".*/\1/p' "$folder/store.log" >"$folder/stored"
sed -e 's|[0-9a-f]\{64\}|DIGEST|' -e 's|previews/.*|FILE|' -e 's|[^/]*json$|LIST|' -e 's|.*gz$|FORM|' \
  -e 's|.*LIST$|LIST|' -e 's|.*id.txt|STAMP|' "$folder/stored" | uniq >"$folder/order"
[ "$(cat "$folder/order")" = "site/oak/FILE
FORM
LIST
STAMP" ] || fail "$(cat "$folder/stored")"
where beta/site/oak >"$folder/there"
[ "$(sed 's|[0-9a-f]\{64\}|DIGEST|' "$folder/there")" = "changes/DIGEST.gz: no-cache
filelist.json: no-cache
filelist.json.gz: no-cache" ] || fail "$(cat "$folder/there")"
where site/oak >"$folder/there"
for line in "previews/1.png: no-cache" "previews/2.png: max-age=3600" "id.txt: max-age=60" \
  "maps/a.tx: max-age=31536000, immutable" "beta/id.txt: max-age=60"; do
  grep -qxF "$line" "$folder/there" || fail "no word of $line: $(cat "$folder/there")"
done
echo changed >"$folder/oak/maps/a.tx"
expect 0 mtlpublish build "$folder/oak"
got=0
publish-to-s3 "$folder/oak" store:materials/site/oak 2>"$folder/err" || got=$?
[ "$got" -ne 0 ] || fail "a changed map was taken"
echo map >"$folder/oak/maps/a.tx"
publish_views 3
for place in site/oak/old.mat beta/site/oak/changes/stale.gz beta/site/other; do
  echo old | rclone rcat "store:materials/$place"
done
expect 0 publish-to-s3 --clean "$folder/oak" store:materials/site/oak
where "" >"$folder/there"
! grep -e stale -e old.mat "$folder/there" || fail "not removed"
grep -q "^beta/site/other" "$folder/there" || fail "too much is removed"
mtlpublish files --list-forms "$folder/oak" | cut -f 2 >"$folder/forms"
while IFS= read -r place; do
  grep -q "^$place: " "$folder/there" || fail "$place is removed"
done <"$folder/forms"
grep -q "^beta/site/oak/filelist.json: " "$folder/there" || fail "the list is removed"
grep -q "^site/oak/beta/id.txt: " "$folder/there" || fail "the stamp is removed"
