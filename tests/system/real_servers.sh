#!/bin/sh
# Tests a real material library, served by nginx over HTTP and HTTPS: the copy is the same byte for
# byte, and problems with the server, the certificate or the disk are reported.
# usage: real_servers.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
PATH=$2:$PATH
unset CURL_CA_BUNDLE SSL_CERT_FILE SSL_CERT_DIR

make_certificates
cp -rL /usr/share/povray* "$folder/library"
find "$folder/library" -type f | wc -l
expect 0 mtlpublish build "$folder/library"
start_nginx "$folder/library"
http="http://127.0.0.1:$http_port/lib"
https="https://localhost:$https_port/lib"

echo "The first run gives an identical tree over HTTP and over HTTPS"
expect 0 mtlsync --no-proxy "$http" "$folder/copy"
expect_same_tree "$folder/library" "$folder/copy"
expect 0 env CURL_CA_BUNDLE="$folder/ca.pem" mtlsync --no-proxy "$https" "$folder/secure"
expect_same_tree "$folder/library" "$folder/secure"

# Every run takes the lock, and writes its process into it.
echo "The second run makes one request and writes nothing"
look_at_copy() {
  find "$folder/copy" ! -name lock -printf '%p %T@ %C@\n' | sort
}
forget_requests
look_at_copy >"$folder/before"
expect 0 mtlsync --no-proxy "$http" "$folder/copy"
look_at_copy | cmp - "$folder/before" || fail "something was written"
await_requests
[ "$(cat "$folder/requests.log")" = "GET /lib/id.txt 200" ] || fail "$(cat "$folder/requests.log")"

echo "A check reports whether something changed"
expect 0 mtlsync --no-proxy --check "$http" "$folder/copy"
changed=$(find "$folder/library" -name '*.inc' | sort | head -n 1)
echo "// changed" >>"$changed"
expect 0 mtlpublish build "$folder/library"
expect 100 mtlsync --no-proxy --check "$http" "$folder/copy"
expect 0 mtlsync --no-proxy "$http" "$folder/copy"
expect_same_tree "$folder/library" "$folder/copy"

echo "A certificate that nobody trusts, or for another name, is refused"
expect 3 mtlsync --no-proxy --retries 0 "$https" "$folder/untrusted"
expect_text "certificate"
# The example of a host with an authority of its own.
expect 0 env no_proxy=localhost own_ca "$https" "$folder/own" "$folder/ca.pem"
expect_same_tree "$folder/library" "$folder/own"
openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=Another authority" \
  -keyout "$folder/other.key" -out "$folder/other.pem" 2>/dev/null
expect 1 env no_proxy=localhost own_ca "$https" "$folder/untrusted" "$folder/other.pem"
grep -qF "The authorities are those of $folder/other.pem." "$folder/out" || fail "$(cat "$folder/out")"
openssl x509 -req -in "$folder/server.csr" -CA "$folder/ca.pem" -CAkey "$folder/ca.key" \
  -CAcreateserial -days 2 -out "$folder/server.pem" 2>/dev/null
stop_nginx
start_nginx "$folder/library"
expect 3 env CURL_CA_BUNDLE="$folder/ca.pem" \
  mtlsync --no-proxy --retries 0 "https://127.0.0.1:$https_port/lib" "$folder/untrusted"
expect_text "certificate"
[ ! -e "$folder/untrusted" ] || fail "a folder for an untrusted server"

echo "Every other failure is reported, and leaves nothing behind"
expect 3 mtlsync --no-proxy --retries 0 "http://$unknown_host/lib" "$folder/none"
expect_text "name could not be resolved"
expect 3 mtlsync --no-proxy --retries 0 http://127.0.0.1:1/lib "$folder/none"
expect_text "could not connect to the server"
expect 3 mtlsync --no-proxy "http://127.0.0.1:$http_port/elsewhere" "$folder/none"
expect_text "HTTP status 404"
[ ! -e "$folder/none" ] || fail "a folder for nothing"
echo file >"$folder/file"
expect 4 mtlsync --no-proxy "http://127.0.0.1:$http_port/lib" "$folder/file"
expect_text "Not a directory"
[ "$(cat "$folder/file")" = file ] || fail "the file was changed"
# This is reported to root, too, without the right to pass over permissions.
without_rights=
[ "$(id -u)" -ne 0 ] || without_rights="setpriv --inh-caps=-all --bounding-set=-all"
mkdir "$folder/locked"
chmod a-w "$folder/locked"
expect 4 $without_rights mtlsync --no-proxy "http://127.0.0.1:$http_port/lib" "$folder/locked"
expect_text "Permission denied"

echo "A server that dies in the middle: the old stamp stays, and the next run completes"
mkdir "$folder/many"
head -c 65536 /dev/urandom >"$folder/content"
for i in $(seq 400); do
  { echo "$i" && cat "$folder/content"; } >"$folder/many/file-$i"
done
expect 0 mtlpublish build "$folder/many"
stop_nginx
start_nginx "$folder/many" "limit_rate 32k;"
mkdir "$folder/target"
echo old >"$folder/target/id.txt"
mtlsync --no-proxy --retries 0 "http://127.0.0.1:$http_port/lib" "$folder/target" \
  >"$folder/out" 2>"$folder/err" &
client=$!
while [ ! -d "$folder/target/.mtllib/stage" ] ||
  [ "$(ls "$folder/target/.mtllib/stage" | wc -l)" -lt 10 ]; do sleep 0.05; done
stop_nginx
killed=$(date +%s)
status=0
wait "$client" || status=$?
[ "$status" -eq 3 ] || fail "exit status $status"
[ $(($(date +%s) - killed)) -le 5 ] || fail "the run took too long to end"
grep -qE '/lib/file-[0-9]+: ' "$folder/err" || fail "$(cat "$folder/err")"
[ "$(cat "$folder/target/id.txt")" = old ] || fail "the stamp was changed"
start_nginx "$folder/many"
expect 0 mtlsync --no-proxy "http://127.0.0.1:$http_port/lib" "$folder/target"
expect_same_tree "$folder/many" "$folder/target"
