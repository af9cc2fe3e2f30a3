#!/bin/sh
# Tests docs/publishing/nginx.conf, unchanged except for ports and paths, with a cache in front of
# it like those of a CDN: its Cache-Control, how many requests a client makes, and that a library
# may be published while clients run.
# usage: publishing_to_server.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
. "$1/tests/system/material_library.sh"
source=$1
PATH=$2:$1/docs/publishing:$PATH
unset SSL_CERT_FILE SSL_CERT_DIR http_proxy HTTP_PROXY https_proxy HTTPS_PROXY all_proxy ALL_PROXY
export CURL_CA_BUNDLE="$folder/ca.pem"

write_nginx_configuration() {
  mkdir -p "$folder/tmp"
  sed -e "s|^user .*|user root; daemon off;|" \
    -e "s|^worker_processes .*|worker_processes 1;|" \
    -e "s|/run/nginx.pid|$folder/nginx.pid|" \
    -e "s|/var/log/nginx/access.log|$folder/requests.log|" \
    -e "s|/var/log/nginx/error.log|$folder/error.log|" \
    -e "s|/etc/letsencrypt/live/materials.example/fullchain.pem|$folder/server.pem|" \
    -e "s|/etc/letsencrypt/live/materials.example/privkey.pem|$folder/server.key|" \
    -e "s|materials.example|localhost|" \
    -e "s|/srv/materials|$1|" \
    -e "s|listen 443|listen 127.0.0.1:$https_port|" \
    -e "/listen \[::\]:443/d" \
    -e "s|^http {|http { include $folder/beside.conf;|" \
    "$source/docs/publishing/nginx.conf" >"$folder/nginx.conf"
  # The map of another library.
  if [ -n "$2" ]; then
    sed -i -e '/^  map /,/^  }/d' -e "s|^  server {|  include $2;\n&|" "$folder/nginx.conf"
  fi
  # What an unprivileged nginx needs, and the cache.
  cat >"$folder/beside.conf" <<EOF
client_body_temp_path $folder/tmp; proxy_temp_path $folder/tmp; fastcgi_temp_path $folder/tmp;
uwsgi_temp_path $folder/tmp; scgi_temp_path $folder/tmp;
proxy_cache_path $folder/cache keys_zone=cdn:1m;
server {
  listen 127.0.0.1:$http_port;
  access_log $folder/cdn.log;
  location / {
    proxy_pass https://127.0.0.1:$https_port;
    proxy_cache cdn;
    proxy_cache_revalidate on;
  }
}
EOF
}

is_ours() {
  [ "$(curl -s --noproxy '*' "https://localhost:$https_port/owner")" = "$folder" ]
}

requests() {
  await_requests
  sed 's/.*"\(GET [^ ]*\) .*/\1/' "$folder/requests.log" | grep -v "/owner$" | sort
}

header() {
  curl -s --noproxy '*' --compressed -D - -o /dev/null "https://localhost:$https_port/library/$1" |
    tr -d '\r'
}

expect_life() {
  header "$1" >"$folder/header"
  grep -qix "Cache-Control: $2" "$folder/header" || fail "$1: $(cat "$folder/header")"
  grep -qi "^ETag: " "$folder/header" || fail "$1: $(cat "$folder/header")"
  grep -qi "^Content-Length: " "$folder/header" || fail "$1: $(cat "$folder/header")"
  ! grep -qi "^Content-Encoding: " "$folder/header" || fail "$1: $(cat "$folder/header")"
}

publish() {
  make_generation "$1"
  expect 0 publish-to-server "$folder/library" "$folder/served/library"
}

make_certificates
mkdir "$folder/served"
echo "$folder" >"$folder/served/owner"
publish 1
start_nginx "$folder/served"
https="https://localhost:$https_port/library"
cdn="http://127.0.0.1:$http_port/library"

echo "Caches ask again for what may change, keep what does not, and keep no error"
expect_life id.txt "max-age=60"
expect_life filelist.json "no-cache"
cp "$folder/header" "$folder/header-of-list"
expect_life "materials/oak%20%26%201.mat" "no-cache"
expect_life "maps/oak%201.tx" "max-age=31536000, immutable"
header maps/none.tx >"$folder/header"
grep -q "404" "$folder/header" || fail "$(cat "$folder/header")"
! grep -qi "^Cache-Control: " "$folder/header" || fail "$(cat "$folder/header")"

echo "A page and its pictures beside the list are served with their types"
expect 0 mtlpublish report --output "$folder/served/library/index.html" "$folder/library"
echo "<svg/>" >"$folder/served/library/oak.svg"
for page in "" oak.svg; do
  header "$page" >"$folder/header-of-$page"
done
grep -qix "Content-Type: text/html" "$folder/header-of-" || fail "$(cat "$folder/header-of-")"
grep -qix "Content-Type: image/svg+xml" "$folder/header-of-oak.svg" || fail "$(cat "$folder/header-of-oak.svg")"
rm "$folder/served/library/index.html" "$folder/served/library/oak.svg"

echo "A cache that asks again by ETag gets no body, and connections are kept"
etag=$(sed -n 's/^ETag: //p' "$folder/header-of-list")
curl -s --noproxy '*' -H "If-None-Match: $etag" -w '%{http_code} %{num_connects}\n' -o "$folder/body" \
  "$https/filelist.json" -o "$folder/body" "$https/filelist.json" >"$folder/out"
[ "$(cat "$folder/out")" = "304 1
304 0" ] || fail "$(cat "$folder/out")"

echo "A first run asks for the stamp, the list and every file; the next for the stamp"
forget_requests
expect 0 mtlsync --no-proxy "$https" "$folder/copy"
expect_same_tree "$folder/library" "$folder/copy"
[ "$(requests | wc -l)" -eq 12 ] || fail "$(requests)"
forget_requests
expect 0 mtlsync --no-proxy "$https" "$folder/copy"
[ "$(requests)" = "GET /library/id.txt" ] || fail "$(requests)"

echo "A later one asks for the files that may have changed, and the maps that it lacks"
publish 2
forget_requests
expect 0 mtlsync --no-proxy "$https" "$folder/copy"
requests | grep -v /materials/ >"$folder/asked"
[ "$(requests | wc -l)" -eq 12 ] || fail "$(requests)"
[ "$(cat "$folder/asked")" = "GET /library/filelist.json.gz
GET /library/id.txt
GET /library/maps/oak%202.tx
GET /library/maps/passing%202.tx" ] || fail "$(cat "$folder/asked")"

echo "Behind a cache, a run gets nothing older than its stamp, and maps come from the cache"
expect 0 mtlsync --no-proxy "$cdn" "$folder/behind-1"
publish 3
forget_requests
expect 0 mtlsync --no-proxy "$cdn" "$folder/behind-2"
diff -r -x ".mtlpublish-*" -x .mtllib -x id.txt -x filelist.json -x filelist.json.gz -x changes "$folder/library" "$folder/behind-2" || fail "something old"
expect_nothing_older_than_stamp "$folder/behind-2"
! requests | grep -q "oak%201.tx" || fail "the cache kept no map"

echo "A library may be published while clients run"
start_clients 3 "$https"
wait_for_runs 1
for generation in 4 5 6 7 8; do
  publish "$generation"
  wait_for_runs 1
done
stop_clients
for i in 1 2 3; do
  expect 0 mtlsync --no-proxy "$https" "$folder/client-$i"
  expect_nothing_older_than_stamp "$folder/client-$i"
  cmp "$folder/library/id.txt" "$folder/client-$i/id.txt"
done

echo "A map that has changed under its name is refused, and nothing is published"
seq 10000 >"$folder/library/maps/oak 8.tx"
expect 0 mtlpublish build --allow changed-missing --missing 'maps/*' "$folder/library"
expect 1 publish-to-server "$folder/library" "$folder/served/library"
expect_text "maps/oak 8.tx"
cmp -s "$folder/served/library/id.txt" "$folder/id-8" || fail "the stamp was published"

echo "What was removed goes when asked, and only what is published counts"
expect 1 publish-to-server --clean "$folder/library" "$folder/served/library"
make_generation 8
[ -f "$folder/served/library/maps/passing 1.tx" ] || fail "removed too early"
mv "$folder/library/maps/oak 1.tx" "$folder/oak 1.tx"
expect 1 publish-to-server --clean "$folder/library" "$folder/served/library"
expect_text "maps/oak 1.tx: is missing"
[ -f "$folder/served/library/maps/oak 1.tx" ] || fail "removed, but listed"
[ -f "$folder/served/library/maps/passing 1.tx" ] || fail "removed too early"
mv "$folder/oak 1.tx" "$folder/library/maps/oak 1.tx"
expect 0 publish-to-server --clean "$folder/library" "$folder/served/library"
diff -r -x ".mtlpublish-*" "$folder/library" "$folder/served/library" || fail "not clean"
expect 0 mtlpublish verify "$https"

echo "Only what clients fetch goes to the server, and goes from it when it is withdrawn"
mkdir "$folder/library/.git" "$folder/library/work" "$folder/elsewhere"
for name in .git/config .htpasswd work/oak.psd "work/- odd [name].tx" maps/lossy.tx maps/lossy.jpeg.tx; do
  echo "$name" >"$folder/library/$name"
done
ln -s work "$folder/library/link"
echo "left behind" >"$folder/served/library/old.mat"
expect 0 mtlpublish build --lossy --missing 'maps/*' --never '*.psd' "$folder/library"
expect 0 publish-to-server "$folder/library" "$folder/served/library"
expect 0 mtlpublish verify "$https"
expect 0 publish-to-server --clean "$folder/library" "$folder/served/library"
expect 0 mtlpublish verify "$https"
(cd "$folder/served/library" && find . -type f -printf '%P\n' | sort) >"$folder/there"
{
  mtlpublish files "$folder/library"
  mtlpublish files --list-forms "$folder/library" | cut -f 1
  printf 'filelist.json\nid.txt\n'
} | sort >"$folder/wanted"
diff "$folder/wanted" "$folder/there" || fail "others are served than clients fetch"
grep -qx "link/- odd \[name\].tx" "$folder/there" || fail "$(cat "$folder/there")"
! grep -e psd -e git -e passwd -e "/lossy.tx" "$folder/there" || fail "too much is served"

echo "The Cache-Control of files is what library.toml says"
sed -n '/^  map /,/^  }/s/^  //p' "$source/docs/publishing/nginx.conf" >"$folder/map-of-guide"
mtlpublish files --nginx "$folder/library" | diff "$folder/map-of-guide" - || fail "nginx.conf is not for it"
stop_nginx
cat >"$folder/library/library.toml" <<'EOF'
[[cache]]
files = ["maps/drafts/*", "*.mat"]
life = "no-cache"
[[cache]]
files = ["*.m?p", "oak [1-7].tx"]
life = "10m"
[[cache]]
files = ["maps/*"]
life = "forever"
EOF
mkdir "$folder/library/maps/drafts"
for name in maps/drafts/a.tx maps/é.tx "maps/ä.möp" a.mapp; do
  echo "$name" >"$folder/library/$name"
done
expect 0 mtlpublish build "$folder/library"
expect 0 publish-to-server "$folder/library" "$folder/served/library"
mtlpublish files --nginx "$folder/library" >"$folder/lives.conf"
start_nginx "$folder/served" "$folder/lives.conf"
expect_life id.txt "max-age=60"
expect_life filelist.json "no-cache"
expect_life filelist.json.gz "no-cache"
expect_life "maps/drafts/a.tx" "no-cache"
expect_life "maps/%C3%A4.m%C3%B6p" "max-age=600"
expect_life "a.mapp" "no-cache"
expect_life "maps/oak%207.tx" "max-age=600"
expect_life "maps/oak%208.tx" "max-age=31536000, immutable"
expect_life "maps/%C3%A9.tx" "max-age=31536000, immutable"
for name in maps/drafts/a.tx "maps/ä.möp" maps/é.tx; do
  echo again >"$folder/library/$name"
done
expect 0 mtlpublish build "$folder/library"
expect 1 publish-to-server "$folder/library" "$folder/served/library"
expect_text "maps/é.tx"
! grep -e drafts -e "öp" "$folder/err" || fail "these may change"
mv "$folder/library/library.toml" "$folder/rules.toml"
expect 0 mtlpublish build "$folder/library"
expect 1 publish-to-server "$folder/library" "$folder/served/library"
expect_text "maps/drafts/a.tx"
echo maps/é.tx >"$folder/library/maps/é.tx"
expect 0 mtlpublish build "$folder/library"
expect 0 publish-to-server --config "$folder/rules.toml" "$folder/library" "$folder/served/library"

# This computer, as a server that is reached with ssh: each connection is counted, and what is
# renamed there.
mkdir "$folder/bin" "$folder/server-bin" "$folder/remote"
cat >"$folder/bin/ssh" <<EOF
#!/bin/sh
echo connection >>"$folder/connections"
[ "\$1 \$2 \$3" = "-l publisher server" ] || exit 255
shift 3
PATH=$folder/server-bin:\$PATH exec sh -c "\$*"
EOF
cat >"$folder/server-bin/mv" <<EOF
#!/bin/sh
printf '%s\n' "\$*" >>"$folder/renamed"
exec $(command -v mv) "\$@"
EOF
chmod +x "$folder/bin/ssh" "$folder/server-bin/mv"
remote="publisher@server:$folder/remote/the library"
publish_by_ssh() {
  : >"$folder/connections"
  : >"$folder/renamed"
  (
    PATH=$folder/bin:$PATH
    expect "$1" publish-to-server "$folder/library" "$remote"
  )
  [ "$(wc -l <"$folder/connections")" -eq 1 ] || fail "$(wc -l <"$folder/connections") connections"
}

# visible: all that is there, but what is on its way.
visible() {
  (cd "$folder/remote" && find . -name '.mtlpublish-*' -prune -o -type f -exec sha256sum {} +) | sort
}

echo "All takes one connection, and becomes visible in order: files, list, stamp"
publish_by_ssh 0
(cd "$folder/remote/the library" && find . -type f -printf '%P\n' | sort) >"$folder/there-now"
diff "$folder/there-now" - <<EOF || fail "others are there than clients fetch"
$({
  mtlpublish files "$folder/library"
  printf 'filelist.json\nfilelist.json.gz\nid.txt\n'
} | sort)
EOF
expect 0 mtlpublish verify "$folder/remote/the library"
[ "$(tail -n 3 "$folder/renamed" | sed 's|.*/||')" = "filelist.json.gz
filelist.json
id.txt" ] || fail "$(cat "$folder/renamed")"

echo "A connection that ends early leaves everything as it was, and the next run continues from there"
echo changed >"$folder/library/materials/oak & 1.mat"
rm "$folder/library/a.mapp"
mkdir "$folder/library/a.mapp" "$folder/library/new"
echo "in a folder now" >"$folder/library/a.mapp/b"
echo "new" >"$folder/library/new/a.mat"
expect 0 mtlpublish build "$folder/library"
visible >"$folder/before"
cat >"$folder/server-bin/rsync" <<EOF
#!/bin/sh
$(command -v rsync) "\$@"
exit 12
EOF
chmod +x "$folder/server-bin/rsync"
publish_by_ssh 1
visible | diff "$folder/before" - || fail "something is there already"
[ ! -s "$folder/renamed" ] || fail "$(cat "$folder/renamed")"
rm "$folder/server-bin/rsync"
mv "$folder/library/new/a.mat" "$folder/a.mat"
expect 1 publish-to-server "$folder/library" "$remote"
expect_text "new/a.mat cannot be read"
visible | diff "$folder/before" - || fail "something is there already"
mv "$folder/a.mat" "$folder/library/new/a.mat"
publish_by_ssh 0
expect 0 mtlpublish verify "$folder/remote/the library"
[ -f "$folder/remote/the library/a.mapp/b" ] || fail "no folder took the place of the file"
[ -z "$(find "$folder/remote" -name '.mtlpublish-*')" ] || fail "something is left over"
