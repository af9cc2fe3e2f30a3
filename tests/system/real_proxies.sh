#!/bin/sh
# Through a real proxy, plainly and by CONNECT, with the proxy's log as the witness; past
# it; and what is told when it refuses, wants a password, or is not there.
# usage: real_proxies.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/nginx.sh"
PATH=$2:$PATH
unset http_proxy HTTP_PROXY https_proxy HTTPS_PROXY all_proxy ALL_PROXY no_proxy NO_PROXY \
  REQUEST_METHOD SSL_CERT_FILE SSL_CERT_DIR
export CURL_CA_BUNDLE="$folder/ca.pem"

proxy_pid=
stop_other_servers() {
  [ -n "$proxy_pid" ] || return 0
  kill "$proxy_pid" 2>/dev/null || true
  wait "$proxy_pid" 2>/dev/null || true
  proxy_pid=
}

# start_proxy [DIRECTIVES]: on $proxy_port, one above nginx's own.
start_proxy() {
  stop_other_servers
  proxy_port=$((https_port + 1))
  printf 'Port %s\nListen 127.0.0.1\nTimeout 60\nMaxClients 50\nLogFile "%s"\nLogLevel Info\n%s\n' \
    "$proxy_port" "$folder/proxy.log" "${1:-}" >"$folder/proxy.conf"
  forget_log
  tinyproxy -d -c "$folder/proxy.conf" >/dev/null 2>&1 &
  proxy_pid=$!
  for _ in $(seq 100); do
    if curl -s --noproxy '*' -o /dev/null "http://127.0.0.1:$proxy_port/"; then
      forget_log
      return 0
    fi
    kill -0 "$proxy_pid" 2>/dev/null || break
    sleep 0.1
  done
  fail "the proxy does not start"
}

expect_logged() {
  grep -qF -- "$1" "$folder/proxy.log" || { cat "$folder/proxy.log" >&2; fail "the proxy saw no $1"; }
}

# What the proxy still has to say of the runs before is not of the next one.
forget_log() {
  before=
  while [ "$(cksum <"$folder/proxy.log")" != "$before" ]; do
    before=$(cksum <"$folder/proxy.log")
    sleep 0.5
  done
  : >"$folder/proxy.log"
}

expect_nothing_logged() {
  ! grep -q Request "$folder/proxy.log" || { cat "$folder/proxy.log" >&2; fail "went through the proxy"; }
}

make_certificates
mkdir "$folder/library"
echo oak >"$folder/library/oak.mat"
echo elm >"$folder/library/elm tree.mat"
expect 0 mtlpublish build "$folder/library"
start_nginx "$folder/library"
start_proxy
http="http://127.0.0.1:$http_port/lib"
https="https://localhost:$https_port/lib"
proxy="127.0.0.1:$proxy_port"

echo "Plain requests go through the system's proxy"
expect 0 env http_proxy="http://$proxy/" mtlsync "$http" "$folder/copy1"
expect_same_tree "$folder/library" "$folder/copy1"
expect_logged "GET $http/elm%20tree.mat"

echo "TLS goes through a tunnel"
expect 0 env all_proxy="$proxy" mtlsync "$https" "$folder/copy2"
expect_same_tree "$folder/library" "$folder/copy2"
expect_logged "CONNECT localhost:$https_port"

echo "So does an explicit proxy, with and without a scheme"
forget_log
expect 0 mtlsync --proxy "$proxy" "$http" "$folder/copy3"
expect_logged "GET $http/id.txt"
expect 0 mtlsync --proxy "http://$proxy" "$https" "$folder/copy4"
expect_logged "CONNECT localhost:$https_port"

echo "Bypassed hosts, and a proxy switched off, are reached directly"
forget_log
expect 0 env http_proxy="http://$proxy" no_proxy="example.com, 127.0.0.*" \
  mtlsync -v "$http" "$folder/copy5"
expect_text "No HTTP proxy: using direct connection."
expect 0 env all_proxy="$proxy" NO_PROXY=.LOCALHOST mtlsync "$https" "$folder/copy6"
expect 0 env http_proxy="http://$proxy" mtlsync --no-proxy "$http" "$folder/copy7"
expect_same_tree "$folder/library" "$folder/copy7"
expect_nothing_logged

echo "A proxy that refuses is told"
start_proxy "ConnectPort 1"
expect 3 mtlsync --retries 0 --proxy "$proxy" "$https" "$folder/none"
expect_text "the proxy could not be reached or refused"
start_proxy "Allow 192.0.2.1"
expect 3 mtlsync --retries 0 --proxy "$proxy" "$http" "$folder/none"
expect_text "HTTP status 403"

echo "A proxy that wants a password is told, and gets none"
start_proxy "BasicAuth user secret"
expect 3 env http_proxy="http://user:secret@$proxy" mtlsync --retries 0 -v "$http" "$folder/none"
expect_text "HTTP status 407"
! grep -q secret "$folder/err" || fail "the password was printed"
expect 3 mtlsync --retries 0 --proxy "$proxy" "$https" "$folder/none"
expect_text "the proxy could not be reached or refused"

echo "A proxy that is not there is told"
stop_other_servers
expect 3 mtlsync --retries 0 --proxy "$proxy" "$http" "$folder/none"
expect_text "the proxy could not be reached or refused"
expect 3 mtlsync --retries 0 --proxy "$unknown_host" "$http" "$folder/none"
expect_text "the proxy could not be reached or refused"
[ ! -e "$folder/none" ] || fail "a folder for nothing"

# start_squid: on $proxy_port. It keeps nothing, and logs what it was asked for.
start_squid() {
  stop_other_servers
  mkdir -p "$folder/squid"
  cat >"$folder/squid.conf" <<END
http_port 127.0.0.1:$proxy_port
http_access allow localhost
cache deny all
cache_mem 0 MB
access_log stdio:$folder/proxy.log
cache_log $folder/squid/cache.log
cache_store_log none
coredump_dir $folder/squid
pid_filename $folder/squid/pid
netdb_filename none
visible_hostname localhost
shutdown_lifetime 0
END
  # As root it becomes another user, who must be able to write here.
  chmod 755 "$folder"
  forget_log
  chmod -R a+rwX "$folder/squid" "$folder/proxy.log"
  squid -N -f "$folder/squid.conf" >"$folder/squid/out" 2>&1 &
  proxy_pid=$!
  for _ in $(seq 100); do
    if curl -s --noproxy '*' -o /dev/null "http://127.0.0.1:$proxy_port/"; then
      forget_log
      return 0
    fi
    kill -0 "$proxy_pid" 2>/dev/null || break
    sleep 0.1
  done
  cat "$folder/squid/out" >&2
  fail "squid does not start"
}

echo "Another make of proxy is spoken to alike"
start_squid
expect 0 mtlsync --proxy "$proxy" "$http" "$folder/copy8"
expect_same_tree "$folder/library" "$folder/copy8"
expect_logged "GET $http/elm%20tree.mat"
expect 0 mtlsync --proxy "$proxy" "$https" "$folder/copy9"
expect_same_tree "$folder/library" "$folder/copy9"
expect_logged "CONNECT localhost:$https_port"
