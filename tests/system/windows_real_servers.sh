#!/bin/sh
# Tests mtlsync.exe and mtlpublish.exe under Wine with a real material library, served by this
# system's nginx over HTTP and HTTPS: the copy is the same byte for byte, with names in any script.
# usage: windows_real_servers.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
if [ -z "${MTLLIB_WINE_TEST_ENV:-}" ]; then
  exec "$1/scripts/wine-test-env" "$0" "$@"
fi
. "$1/tests/system/nginx.sh"
programs=$2
unset CURL_CA_BUNDLE SSL_CERT_FILE SSL_CERT_DIR
export LC_ALL=C.UTF-8

windows_name() {
  echo "Z:$1" | tr / '\\'
}

mtlsync() {
  /usr/lib/wine/wine64 "$programs/mtlsync.exe" --no-proxy "$1" "$(windows_name "$2")"
}

mtlsync_trusting() {
  (CURL_CA_BUNDLE=$(windows_name "$1") && export CURL_CA_BUNDLE && mtlsync "$2" "$3")
}

mtlpublish() {
  /usr/lib/wine/wine64 "$programs/mtlpublish.exe" "$1" "$(windows_name "$2")"
}

make_certificates
cp -rL /usr/share/povray* "$folder/library"
find "$folder/library" -type f | wc -l
mkdir "$folder/library/木 材" "$folder/library/木 材/берёза"
echo oak >"$folder/library/木 材/дуб 1.mat"
echo birch >"$folder/library/木 材/берёза/Ärmel & 100%.mat"
expect 0 mtlpublish build "$folder/library"
start_nginx "$folder/library"
http="http://127.0.0.1:$http_port/lib"
https="https://localhost:$https_port/lib"

echo "The list holds the names as they are"
for name in "木 材/дуб 1.mat" "木 材/берёза/Ärmel & 100%.mat"; do
  grep -qF "\"$name\"" "$folder/library/filelist.json" || fail "$name is not in the list"
done

echo "The first run gives an identical tree over HTTP and over HTTPS"
expect 0 mtlsync "$http" "$folder/копия 日本"
expect_same_tree "$folder/library" "$folder/копия 日本"
expect 0 mtlsync_trusting "$folder/ca.pem" "$https" "$folder/secure"
expect_same_tree "$folder/library" "$folder/secure"
cp "$folder/ca.pem" "$folder/доверие.pem"
expect 0 mtlsync_trusting "$folder/доверие.pem" "$https" "$folder/also-secure"
expect_same_tree "$folder/library" "$folder/also-secure"

# Every run takes the lock, and writes its process into it.
echo "The second run makes one request and writes nothing"
look_at_copy() {
  find "$folder/копия 日本" ! -name lock -printf '%p %T@ %C@\n' | sort
}
forget_requests
look_at_copy >"$folder/before"
expect 0 mtlsync "$http" "$folder/копия 日本"
look_at_copy | cmp - "$folder/before" || fail "something was written"
await_requests
[ "$(cat "$folder/requests.log")" = "GET /lib/id.txt 200" ] || fail "$(cat "$folder/requests.log")"

# Without an authority of the user's own, Schannel verifies against the system's; under Wine
# it verifies nothing then, so there is nothing to test.
echo "A certificate of another authority, or for another name, is refused"
openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=Another authority" \
  -keyout "$folder/other.key" -out "$folder/other.pem" 2>/dev/null
expect 3 mtlsync_trusting "$folder/other.pem" "$https" "$folder/untrusted"
expect_text "certificate"
openssl x509 -req -in "$folder/server.csr" -CA "$folder/ca.pem" -CAkey "$folder/ca.key" \
  -CAcreateserial -days 2 -out "$folder/server.pem" 2>/dev/null
stop_nginx
start_nginx "$folder/library"
expect 3 mtlsync_trusting "$folder/ca.pem" "https://127.0.0.1:$https_port/lib" "$folder/untrusted"
expect_text "certificate"
[ ! -e "$folder/untrusted" ] || fail "a folder for an untrusted server"

echo "A name that is not UTF-8 is asked for as it is, and kept under a name that Windows has"
mkdir "$folder/bytes"
name=$(printf 'oak \377\200')
echo oak >"$folder/bytes/$name.mat"
echo 1 >"$folder/bytes/id.txt"
printf '[{"path":"%s.mat","size":4,"download":"missing"}]\n' "$name" >"$folder/bytes/filelist.json"
stop_nginx
start_nginx "$folder/bytes"
http="http://127.0.0.1:$http_port/lib"
expect 0 mtlsync "$http" "$folder/kept"
# Each byte has a code point of its own: 0x1000FF and 0x100080.
cmp "$folder/bytes/$name.mat" "$folder/kept/$(printf 'oak \364\200\203\277\364\200\202\200').mat"
[ "$(ls "$folder/kept" | wc -l)" -eq 2 ] || fail "$(ls "$folder/kept")"
echo 2 >"$folder/bytes/id.txt"
forget_requests
expect 0 mtlsync "$http" "$folder/kept"
await_requests
[ "$(wc -l <"$folder/requests.log")" -eq 2 ] || fail "the file was not found again"
