#!/bin/sh
# Tests updates through a real proxy, with plain requests and CONNECT, by the proxy's log; past the
# proxy; and what is reported if it refuses, requires a password, or is not there.
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

# start_on_any_port FUNCTION: has it start a proxy on $proxy_port, as $proxy_pid, until one finds
# its port free and says in $folder/started that it listens. Its log begins empty: the one before
# has ended, so that it has nothing more to say.
start_on_any_port() {
  for _ in 1 2 3 4 5 6 7 8 9 10; do
    stop_other_servers
    : >"$folder/proxy.log"
    proxy_port=$((20000 + $(od -A n -N 2 -t u2 /dev/urandom) % 20000))
    proxy=127.0.0.1:$proxy_port
    "$1"
    while kill -0 "$proxy_pid" 2>/dev/null; do
      ! grep -q "Accepting" "$folder/started" || return 0
      sleep 0.1
    done
  done
  cat "$folder/started" >&2
  fail "the proxy does not start"
}

# start_proxy [DIRECTIVES]
start_proxy() {
  directives=${1:-}
  start_on_any_port run_tinyproxy
}

run_tinyproxy() {
  printf 'Port %s\nListen 127.0.0.1\nTimeout 60\nMaxClients 50\nLogFile "%s"\nLogLevel Info\n%s\n' \
    "$proxy_port" "$folder/proxy.log" "$directives" >"$folder/proxy.conf"
  ln -sf proxy.log "$folder/started"
  tinyproxy -d -c "$folder/proxy.conf" >/dev/null 2>&1 &
  proxy_pid=$!
}

# A proxy may write of a request after the client has its answer.
expect_logged() {
  for _ in $(seq 600); do
    ! grep -qF -- "$1" "$folder/proxy.log" || return 0
    sleep 0.1
  done
  cat "$folder/proxy.log" >&2
  fail "the proxy saw no $1"
}

# When the proxy has ended, which leaves it nothing to write.
expect_nothing_logged() {
  stop_other_servers
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

echo "Plain requests go through the system's proxy"
expect 0 env http_proxy="http://$proxy/" mtlsync "$http" "$folder/copy1"
expect_same_tree "$folder/library" "$folder/copy1"
expect_logged "GET $http/elm%20tree.mat"

echo "TLS goes through a tunnel"
expect 0 env all_proxy="$proxy" mtlsync "$https" "$folder/copy2"
expect_same_tree "$folder/library" "$folder/copy2"
expect_logged "CONNECT localhost:$https_port"

echo "So does an explicit proxy, with and without a scheme"
start_proxy
expect 0 mtlsync --proxy "$proxy" "$http" "$folder/copy3"
expect_logged "GET $http/id.txt"
expect 0 mtlsync --proxy "http://$proxy" "$https" "$folder/copy4"
expect_logged "CONNECT localhost:$https_port"

echo "Bypassed hosts, and a proxy switched off, are reached directly"
start_proxy
expect 0 env http_proxy="http://$proxy" no_proxy="example.com, 127.0.0.*" \
  mtlsync -v "$http" "$folder/copy5"
expect_text "No HTTP proxy: using direct connection."
expect 0 env all_proxy="$proxy" NO_PROXY=.LOCALHOST mtlsync "$https" "$folder/copy6"
expect 0 env http_proxy="http://$proxy" mtlsync --no-proxy "$http" "$folder/copy7"
expect_same_tree "$folder/library" "$folder/copy7"
expect_nothing_logged

echo "A proxy that refuses is reported"
start_proxy "ConnectPort 1"
expect 3 mtlsync --retries 0 --proxy "$proxy" "$https" "$folder/none"
expect_text "the proxy refused"
start_proxy "Allow 192.0.2.1"
expect 3 mtlsync --retries 0 --proxy "$proxy" "$http" "$folder/none"
expect_text "HTTP status 403"

echo "A proxy that requires a password is reported, and gets none"
start_proxy "BasicAuth user secret"
expect 3 env http_proxy="http://user:secret@$proxy" mtlsync --retries 0 -v "$http" "$folder/none"
expect_text "HTTP status 407"
! grep -q secret "$folder/err" || fail "the password was printed"
expect 3 mtlsync --retries 0 --proxy "$proxy" "$https" "$folder/none"
expect_text "the proxy requires a user name and a password"

echo "A proxy is shown user name and password, which are printed nowhere"
printf 'user:secret\n' >"$folder/user"
expect 0 mtlsync -v --proxy "$proxy" --proxy-user "@$folder/user" "$http" "$folder/copy8"
expect_same_tree "$folder/library" "$folder/copy8"
! grep -q secret "$folder/err" || fail "the password was printed"
expect 0 mtlsync -v --proxy "user:secret@$proxy" "$https" "$folder/copy9"
! grep -q secret "$folder/err" || fail "the password was printed"

echo "A proxy that is not there is reported"
stop_other_servers
expect 3 mtlsync --retries 0 --proxy "$proxy" "$http" "$folder/none"
expect_text "the proxy could not be reached"
expect 3 mtlsync --retries 0 --proxy "$unknown_host" "$http" "$folder/none"
expect_text "the proxy could not be reached"
[ ! -e "$folder/none" ] || fail "a folder for nothing"

# It keeps nothing, and logs what it was asked for.
run_squid() {
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
  : >"$folder/squid/cache.log"
  ln -sf squid/cache.log "$folder/started"
  chmod -R a+rwX "$folder/squid" "$folder/proxy.log"
  squid -N -f "$folder/squid.conf" >"$folder/squid/out" 2>&1 &
  proxy_pid=$!
}

echo "Another make of proxy is spoken to alike"
start_on_any_port run_squid
expect 0 mtlsync --proxy "$proxy" "$http" "$folder/copy10"
expect_same_tree "$folder/library" "$folder/copy10"
expect_logged "GET $http/elm%20tree.mat"
expect 0 mtlsync --proxy "$proxy" "$https" "$folder/copy11"
expect_same_tree "$folder/library" "$folder/copy11"
expect_logged "CONNECT localhost:$https_port"
