# Sourced after nginx.sh by the tests that publish to an S3-compatible store: starts the store.
unset AWS_CA_BUNDLE
export RCLONE_CONFIG="$folder/rclone.conf"

store_pid=
stop_other_servers() {
  [ -z "$store_pid" ] || kill "$store_pid" || true
}

# start_store S3RVER: "store:materials" for rclone, and $store/materials/ for clients.
start_store() {
  mkdir "$folder/store"
  "$1" -d "$folder/store" -a 127.0.0.1 -p 0 --no-vhost-buckets --configure-bucket materials \
    >"$folder/store.log" 2>&1 &
  store_pid=$!
  until grep -q listening "$folder/store.log"; do
    kill -0 "$store_pid" || fail "$(cat "$folder/store.log")"
    sleep 0.1
  done
  store=http://127.0.0.1:$(sed -n 's/.*listening on .*:\([0-9]*\)$/\1/p' "$folder/store.log")
  rclone config create store s3 provider=Other "endpoint=$store" no_check_bucket=true \
    access_key_id=S3RVER secret_access_key=S3RVER >"$folder/out" 2>&1
}
