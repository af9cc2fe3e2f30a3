#!/bin/sh
# Tests everything that the guide does with a library: it is configured, built, looked at, signed,
# published to nginx and to an S3-compatible store, changed on ten days while clients of both kinds
# run, published again as it was before, and signed with a different key. What a build says that
# clients will request is what nginx counts.
# usage: publishing_journey.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS S3RVER
set -eu
. "$1/tests/system/nginx.sh"
. "$1/tests/system/material_library.sh"
. "$1/tests/system/s3_store.sh"
tests=$1/tests/system
PATH=$2:$1/docs/publishing:$PATH
unset http_proxy HTTP_PROXY https_proxy HTTPS_PROXY all_proxy ALL_PROXY

# The clients whose requests are counted come over $http_port, the others over $https_port.
write_nginx_configuration() {
  mkdir -p "$folder/tmp"
  cat >"$folder/nginx.conf" <<END
user root;
daemon off;
worker_processes 1;
pid $folder/nginx.pid;
events { worker_connections 1024; }
http {
  client_body_temp_path $folder/tmp; proxy_temp_path $folder/tmp; fastcgi_temp_path $folder/tmp;
  uwsgi_temp_path $folder/tmp; scgi_temp_path $folder/tmp;
  log_format counted '\$request_method \$request_uri \$status \$body_bytes_sent';
  access_log off;
  server {
    listen 127.0.0.1:$http_port;
    location = /owner { access_log off; return 200 "$folder"; }
    location /lagging/ { root $1; }
    location /library/ { root $1; access_log $folder/requests.log counted; }
    location /store/ { proxy_pass $store/materials/library/; access_log $folder/requests.log counted; }
  }
  server {
    listen 127.0.0.1:$https_port;
    location / { root $1; }
  }
}
END
}

# build [OPTION...]: what it costs clients goes to $folder/foretold.json before.
build() {
  expect 0 mtlpublish diff --json "$folder/library"
  cp "$folder/out" "$folder/foretold.json"
  expect 0 mtlpublish build "$@" "$folder/library"
}

# publish_generation NUMBER [OPTION...]
publish_generation() {
  cp "$folder/library/id.txt" "$folder/id-$1"
  expect 0 publish-to-server "$folder/library" "$folder/served/library"
}

foretold() {
  python3 -c 'import json, sys
cost = json.load(open(sys.argv[1]))[sys.argv[2]]
print(cost["requests"], cost["bytes"])' "$folder/foretold.json" "$1"
}

# counted: requests and bytes of bodies since the log was emptied.
counted() {
  await_requests
  awk '{ bytes += $4 } END { print NR, bytes + 0 }' "$folder/requests.log"
}

# expect_foretold byKit|byModule URL COPY [OPTION...]: a run asks for what was said.
expect_foretold() {
  kind=$1
  url=$2
  copy=$3
  shift 3
  forget_requests
  expect 0 mtlsync --no-proxy "$@" "$url" "$copy"
  foretold "$kind" >"$folder/said"
  counted >"$folder/counted"
  echo "  $kind: $(cat "$folder/said") foretold, $(cat "$folder/counted") counted"
  read -r said_requests said_bytes <"$folder/said"
  read -r requests bytes <"$folder/counted"
  [ "$requests" -eq "$said_requests" ] || fail "$(cat "$folder/requests.log")"
  [ $((bytes * 100)) -le $((said_bytes * 102)) ] || fail "$(cat "$folder/requests.log")"
  [ $((bytes * 102)) -ge $((said_bytes * 100)) ] || fail "$(cat "$folder/requests.log")"
}

expect_both_foretold() {
  expect_foretold byKit "$1" "$folder/kit-$2" --key "$folder/oak.pub" --name oak
  expect_foretold byModule "$1" "$folder/module-$2" --module "$module"
}

# refused WORDS: a build says so, and the library stays as it was published.
refused() {
  expect 1 mtlpublish build "$folder/library"
  expect_text "$1"
  cmp -s "$folder/library/id.txt" "$folder/id-1" || fail "a stamp was written"
}

# expect_release COPY: it has all that is published, as it is.
expect_release() {
  (cd "$folder/library" && mtlpublish files . && echo id.txt) | sort >"$folder/wanted"
  (cd "$folder/library" && xargs -d '\n' sha256sum) <"$folder/wanted" >"$folder/sums"
  (cd "$1" && sha256sum --quiet --check "$folder/sums") || fail "$1 differs from the library"
}

# expect_copy COPY: and nothing else.
expect_copy() {
  expect_release "$1"
  (cd "$1" && find . -path ./.mtllib -prune -o -type f -printf '%P\n') | sort >"$folder/there"
  diff "$folder/wanted" "$folder/there" || fail "$1 has others than the library"
}

# provoke WORDS NAME...: with files of these names a build is refused.
provoke() {
  words=$1
  shift
  (cd "$folder/library" && touch -- "$@")
  refused "$words"
  (cd "$folder/library" && rm -- "$@")
}

echo "A configuration to begin with"
change_library 1
# What never changes, only the module fetches again.
mkdir "$folder/library/plain"
for i in 1 2 3 4 5; do
  echo "plain $i" >"$folder/library/plain/$i.mat"
done
expect 0 mtlpublish init "$folder/library"
sed -i -e 's/^name = .*/name = "oak"/' -e 's/^# keep = .*/keep = 2/' "$folder/library/library.toml"

echo "The first build, and a page about it"
build
cp "$folder/library/id.txt" "$folder/id-1"
expect 0 mtlpublish verify "$folder/library"
mtlpublish serve --quiet "$folder/library" >"$folder/address" &
server_pid=$!
clients=
stop_other_servers() {
  rm -f "$folder/publishing"
  for client in $clients; do
    wait "$client" || true
  done
  [ -z "$server_pid" ] || kill "$server_pid" || true
  [ -z "$store_pid" ] || kill "$store_pid" || true
}
until [ -s "$folder/address" ]; do
  kill -0 "$server_pid"
  sleep 0.1
done
expect 0 python3 "$tests/browser.py" "$(sed 's/.* at //' "$folder/address")"
grep -q "oak – material library" "$folder/out" || fail "$(cat "$folder/out")"
kill "$server_pid"
server_pid=

echo "What some client could not take is refused"
provoke "nul.mat" nul.mat
provoke "oak?.mat" 'oak?.mat'
provoke "OAK.mat" OAK.mat oak.mat
provoke "maps/long" "maps/long$(printf %0200d 0).tx"
provoke "differ" "$(printf 'o\314\210l.mat')" "$(printf '\303\266l.mat')"
cp "$folder/library/library.toml" "$folder/library.toml"
echo 'kepp = 3' | cat - "$folder/library.toml" >"$folder/library/library.toml"
refused "keep"
cp "$folder/library.toml" "$folder/library/library.toml"
cp "$folder/library/maps/oak 1.tx" "$folder/oak 1.tx"
echo changed >>"$folder/library/maps/oak 1.tx"
refused "maps/oak 1.tx"
cp "$folder/oak 1.tx" "$folder/library/maps/oak 1.tx"
mkdir "$folder/library/.git"
for name in .git/config .htpasswd "materials/oak.mat~"; do
  echo secret >"$folder/library/$name"
done
expect 0 mtlpublish build "$folder/library"
cmp "$folder/library/id.txt" "$folder/id-1" || fail "what is skipped makes another stamp"

echo "Signed, and published to nginx and to the store"
(cd "$folder" && expect 0 mtlpublish keygen --no-password oak && expect 0 mtlpublish keygen --no-password spare)
sed -i -e 's/^# \[signing\]/[signing]/' -e 's/^# key = .*/key = "..\/oak.key"/' "$folder/library/library.toml"
start_store "$3"
mkdir "$folder/served"
change_library 2
build
publish_generation 2
expect 0 publish-to-s3 "$folder/library" store:materials/library
start_nginx "$folder/served"
address=http://127.0.0.1:$http_port/library
expect 0 mtlpublish verify --key "$folder/oak.pub" "$address"
[ ! -e "$folder/served/library/.git" ] || fail "too much is served"
[ ! -e "$folder/served/library/library.toml" ] || fail "too much is served"
expect 0 mtlpublish report --output "$folder/served/library/index.html" "$folder/library"
expect 0 python3 "$tests/browser.py" "$address/"
grep -q "^oak – material library" "$folder/out" || fail "$(cat "$folder/out")"
for kind in nginx store; do
  [ "$kind" != store ] || address=http://127.0.0.1:$http_port/store
  expect 0 mtlsync --no-proxy --key "$folder/oak.pub" "$address" "$folder/kit-$kind"
  expect 0 mtlsync --no-proxy --module "$module" "$address" "$folder/module-$kind"
done
address=http://127.0.0.1:$http_port/library

echo "Ten days, with clients of both kinds under way"
start_clients 3 "http://127.0.0.1:$https_port/library"
wait_for_runs 1
for day in 3 4 5 6 7 8 9 10 11 12; do
  change_library "$day"
  build
  publish_generation "$day"
  expect 0 publish-to-s3 "$folder/library" store:materials/library
  echo "Generation $day"
  expect_both_foretold "$address" nginx
  expect_both_foretold "http://127.0.0.1:$http_port/store" store
  wait_for_runs 1
done

echo "The build before is published again"
expect 0 mtlpublish rollback "$folder/library"
publish_generation 11
expect 0 publish-to-s3 "$folder/library" store:materials/library
wait_for_runs 2
stop_clients
expect 0 mtlsync --no-proxy --prune --key "$folder/oak.pub" "$address" "$folder/kit-nginx"
for copy in client-2 client-3; do
  expect 0 mtlsync --no-proxy --prune "$address" "$folder/$copy"
done
for copy in kit-nginx client-2 client-3; do
  expect_copy "$folder/$copy"
done

echo "The spare key signs, for clients that know it"
cp -r "$folder/served/library" "$folder/served/lagging"
change_library 13
build --sign "$folder/spare.key"
publish_generation 13
expect 0 mtlsync --no-proxy --key "$folder/oak.pub" --key "$folder/spare.pub" "$address" "$folder/kit-nginx"
cmp "$folder/library/id.txt" "$folder/kit-nginx/id.txt"
expect 5 mtlsync --no-proxy --key "$folder/oak.pub" "$address" "$folder/kit-store"
expect 0 mtlsync --no-proxy --module "$module" "$address" "$folder/module-nginx"
cmp "$folder/library/id.txt" "$folder/module-nginx/id.txt"

echo "A mirror that lags and one that is down do no harm, whichever is asked first"
lagging=http://127.0.0.1:$http_port/lagging
down=http://127.0.0.1:1/library
change_library 14
build --sign "$folder/spare.key"
publish_generation 14
for run in 1 2 3 4 5 6; do
  cp -a "$folder/kit-nginx" "$folder/mirrored-$run"
  expect 0 mtlsync --no-proxy --key "$folder/oak.pub" --key "$folder/spare.pub" \
    --mirror "$lagging" --mirror "$down" "$address" "$folder/mirrored-$run"
  expect_release "$folder/mirrored-$run"
done
expect 3 mtlsync --no-proxy --key "$folder/oak.pub" --key "$folder/spare.pub" \
  --mirror "$down" "$lagging" "$folder/mirrored-1"
expect_release "$folder/mirrored-1"
