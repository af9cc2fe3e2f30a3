# Sourced by script tests: gives each a folder of its own, and nginx over HTTP and HTTPS with a test
# authority. All of it, and what is mounted on $folder/disk, is removed when the test ends.

folder=$(mktemp -d)
nginx_pid=

# A part of a name has at most 63 characters: of one with more no server is asked.
unknown_host=$(printf 'n%.0s' $(seq 64)).invalid

stop_nginx() {
  [ -n "$nginx_pid" ] || return 0
  kill -9 "$nginx_pid" $(pgrep -P "$nginx_pid") 2>/dev/null || true
  wait "$nginx_pid" 2>/dev/null || true
  nginx_pid=
}

# For tests that start servers besides: called when the test ends, however it does.
stop_other_servers() {
  :
}

clean_up() {
  status=$?
  stop_other_servers
  stop_nginx
  ! mountpoint -q "$folder/disk" || umount "$folder/disk"
  chmod -R u+rwX "$folder"
  rm -rf "$folder"
  exit "$status"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

make_certificates() {
  openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=Test authority" \
    -keyout "$folder/ca.key" -out "$folder/ca.pem" 2>/dev/null
  openssl req -newkey rsa:2048 -nodes -subj "/CN=localhost" \
    -keyout "$folder/server.key" -out "$folder/server.csr" 2>/dev/null
  echo "subjectAltName=DNS:localhost,IP:127.0.0.1" >"$folder/server.ext"
  openssl x509 -req -in "$folder/server.csr" -CA "$folder/ca.pem" -CAkey "$folder/ca.key" \
    -CAcreateserial -days 2 -extfile "$folder/server.ext" -out "$folder/server.pem" 2>/dev/null
}

# Somebody else's server may have the port.
is_ours() {
  [ "$(curl -s --noproxy '*' "http://127.0.0.1:$http_port/owner")" = "$folder" ]
}

# await_requests: until $folder/requests.log has all requests that were answered. nginx may write
# of an answer after the client has it, but its one process does so before it takes the next request.
await_requests() {
  is_ours || fail "nginx does not answer"
}

# forget_requests: empties the log.
forget_requests() {
  await_requests
  : >"$folder/requests.log"
}

# start_nginx DIRECTORY [EXTRA_DIRECTIVES]: serves DIRECTORY as /lib on $http_port and
# $https_port; the requests go to $folder/requests.log.
start_nginx() {
  for _ in 1 2 3 4 5 6 7 8 9 10; do
    http_port=$((20000 + $(od -A n -N 2 -t u2 /dev/urandom) % 10000 * 2))
    https_port=$((http_port + 1))
    write_nginx_configuration "$1" "${2:-}"
    : >"$folder/requests.log"
    /usr/sbin/nginx -p "$folder" -c "$folder/nginx.conf" -e "$folder/error.log" 2>>"$folder/error.log" &
    nginx_pid=$!
    for _ in $(seq 100); do
      kill -0 "$nginx_pid" 2>/dev/null || break
      if is_ours; then
        : >"$folder/requests.log"
        return 0
      fi
      sleep 0.1
    done
    stop_nginx
  done
  cat "$folder/error.log" >&2
  fail "nginx does not start"
}

write_nginx_configuration() {
  mkdir -p "$folder/tmp"
  cat >"$folder/nginx.conf" <<END
user root;
daemon off;
worker_processes 1;
pid $folder/nginx.pid;
events { worker_connections 4096; }
http {
  client_body_temp_path $folder/tmp; proxy_temp_path $folder/tmp; fastcgi_temp_path $folder/tmp;
  uwsgi_temp_path $folder/tmp; scgi_temp_path $folder/tmp;
  log_format plain '\$request_method \$request_uri \$status';
  access_log $folder/requests.log plain;
  sendfile on; tcp_nopush on; keepalive_requests 1000000;
  $2
  server {
    listen 127.0.0.1:$http_port;
    location = /owner { access_log off; return 200 "$folder"; }
    location /lib/ { alias $1/; }
  }
  server {
    listen 127.0.0.1:$https_port ssl;
    ssl_certificate $folder/server.pem; ssl_certificate_key $folder/server.key;
    location /lib/ { alias $1/; }
  }
}
END
}

# The published tree and its copy are the same, but for the list and its other forms, which stay
# remote, the publisher's cache, and what the copy keeps for the next update.
expect_same_tree() {
  diff -r -x filelist.json -x filelist.json.gz -x changes -x ".mtlpublish-*" -x .mtllib "$1" "$2" || fail "$2 differs from $1"
  expect_nothing_unfinished "$2"
}

# expect_nothing_unfinished COPY: an update left only what it keeps for the next one.
expect_nothing_unfinished() {
  for own in "$1"/.mtllib/*; do
    case ${own##*/} in
      filelist.json | lock | state | trusted | "*") ;;
      *) fail "$own is left over" ;;
    esac
  done
}

# expect STATUS COMMAND...: runs it with its output in $folder/out and $folder/err.
expect() {
  wanted=$1
  shift
  got=0
  "$@" >"$folder/out" 2>"$folder/err" || got=$?
  if [ "$got" -ne "$wanted" ]; then
    cat "$folder/out" "$folder/err" >&2
    fail "exit status $got instead of $wanted: $*"
  fi
}

expect_text() {
  grep -qF -- "$1" "$folder/err" || { cat "$folder/err" >&2; fail "no word of: $1"; }
}
