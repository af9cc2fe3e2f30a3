#!/bin/sh
# Tests the same library on servers other than nginx: lighttpd, Python's http.server (with a thread
# for each connection and with one for all), and the server of mtlpublish.
# usage: other_servers.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
tests=$1/tests/system
PATH=$2:$PATH
unset SSL_CERT_FILE SSL_CERT_DIR
export CURL_CA_BUNDLE="$folder/ca.pem"

server_pid=
stop_other_servers() {
  [ -n "$server_pid" ] || return 0
  kill "$server_pid" 2>/dev/null || true
  wait "$server_pid" 2>/dev/null || true
  server_pid=
}

# wait_for_port: until the server has printed where it listens: the port alone, or a sentence with
# the address at its end. The folder that stands in it may have digits, too.
wait_for_port() {
  for _ in $(seq 600); do
    port=$(sed -nE 's|^(.*:)?([0-9]+)/?$|\2|p' "$folder/port")
    [ -z "$port" ] || return 0
    kill -0 "$server_pid" 2>/dev/null || break
    sleep 0.1
  done
  cat "$folder/port" "$folder/server.log" >&2
  fail "the server does not start"
}

start_python() {
  stop_other_servers
  : >"$folder/port"
  python3 "$tests/other_servers.py" "$folder/library" "$@" >"$folder/port" 2>"$folder/server.log" &
  server_pid=$!
  wait_for_port
}

start_mtlpublish() {
  stop_other_servers
  : >"$folder/port"
  mtlpublish serve --port 0 "$folder/library" >"$folder/port" 2>"$folder/server.log" &
  server_pid=$!
  wait_for_port
}

# start_lighttpd [DIRECTIVES]
start_lighttpd() {
  stop_other_servers
  for _ in 1 2 3 4 5 6 7 8 9 10; do
    port=$((20000 + $(od -A n -N 2 -t u2 /dev/urandom) % 20000))
    cat >"$folder/lighttpd.conf" <<END
server.document-root = "$folder/library"
server.bind = "127.0.0.1"
server.port = $port
server.stat-cache-engine = "disable"
${1:-}
END
    # The words of the one before are not of this one.
    : >"$folder/server.log"
    /usr/sbin/lighttpd -D -f "$folder/lighttpd.conf" 2>>"$folder/server.log" &
    server_pid=$!
    for _ in $(seq 600); do
      kill -0 "$server_pid" 2>/dev/null || break
      ! grep -q "server started" "$folder/server.log" || return 0
      sleep 0.1
    done
    stop_other_servers
  done
  cat "$folder/server.log" >&2
  fail "lighttpd does not start"
}

# expect_copy SCHEME: all of it, then nothing, then one file that has changed.
expect_copy() {
  address="$1://localhost:$port/"
  rm -rf "$folder/copy"
  expect 0 timeout 60 mtlsync --no-proxy "$address" "$folder/copy"
  expect_same_tree "$folder/library" "$folder/copy"
  expect 0 timeout 60 mtlsync --no-proxy "$address" "$folder/copy"
  date +%N >"$folder/library/d1/f1.mat"
  expect 0 mtlpublish build "$folder/library"
  expect 0 timeout 60 mtlsync --no-proxy "$address" "$folder/copy"
  expect_same_tree "$folder/library" "$folder/copy"
}

make_certificates
for i in 1 2 3 4 5 6 7 8 9; do
  mkdir -p "$folder/library/d$i"
  for j in 1 2 3 4 5 6 7 8 9; do
    head -c $((i * j * 3000)) /dev/urandom >"$folder/library/d$i/f$j.mat"
  done
done
: >"$folder/library/empty.mat"
expect 0 mtlpublish build "$folder/library"

echo "Python's http.server, a thread for each connection"
start_python threads
expect_copy http
start_python threads "$folder/server.pem" "$folder/server.key"
expect_copy https

echo "Python's http.server, one connection at a time"
start_python one
expect_copy http
start_python one "$folder/server.pem" "$folder/server.key"
expect_copy https

echo "mtlpublish serve"
start_mtlpublish
expect_copy http

echo "lighttpd"
start_lighttpd
expect_copy http
start_lighttpd "server.modules += (\"mod_openssl\")
ssl.engine = \"enable\"
ssl.pemfile = \"$folder/server.pem\"
ssl.privkey = \"$folder/server.key\""
expect_copy https
