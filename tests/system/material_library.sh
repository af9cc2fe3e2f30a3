# Sourced after nginx.sh, with the arguments of the test, by the tests of publishing: makes a
# library in $folder/library whose files say which generation of it they belong to.
module=$2/libmtllib.so

# change_library NUMBER: every material changes and names a map that is new; one file of
# the generation before goes.
change_library() {
  mkdir -p "$folder/library/maps" "$folder/library/materials"
  rm -f "$folder/library/maps/passing $(($1 - 1)).tx"
  for i in 1 2 3 4 5 6 7 8; do
    printf '%s\nmaps/oak %s.tx\noak %s\nend\n' "$1" "$1" "$i" >"$folder/library/materials/oak & $i.mat"
  done
  seq "$1" 20000 >"$folder/library/maps/oak $1.tx"
  echo "passing $1" >"$folder/library/maps/passing $1.tx"
}

# make_generation NUMBER: changes the library and builds it.
make_generation() {
  change_library "$1"
  expect 0 mtlpublish build --allow changed-missing --missing 'maps/*' "$folder/library"
  cp "$folder/library/id.txt" "$folder/id-$1"
}

# generation_of STAMP_FILE
generation_of() {
  for known in "$folder"/id-*; do
    ! cmp -s "$1" "$known" || echo "${known##*-}"
  done
}

# A run may meet files that are newer than its stamp, but none that is older or cut.
expect_nothing_older_than_stamp() {
  wanted=$(generation_of "$1/id.txt")
  [ -n "$wanted" ] || fail "the stamp of $1 was never published"
  for material in "$1"/materials/*; do
    [ "$(head -n 1 "$material")" -ge "$wanted" ] || fail "$material is older than generation $wanted"
    [ "$(tail -n 1 "$material")" = end ] || fail "$material is cut"
  done
  for map in "$1"/maps/oak*; do
    [ "$(tail -n 1 "$map")" = 20000 ] || fail "$map is cut"
  done
}

# All materials are of one generation.
expect_no_mixture() {
  [ "$(head -qn 1 "$1"/materials/* | sort -u | wc -l)" -le 1 ] || fail "$1 is a mixture"
}

# run_client NUMBER URL: the first one uses the module. Between files and list of a release the
# others may find files that are not what the list says, which leaves their copies as they were.
run_client() {
  status=0
  copy=$folder/client-$1
  if [ "$1" -eq 1 ]; then
    mtlsync --no-proxy --module "$module" "$2" "$copy" >"$copy.log" 2>&1 || status=$?
    [ $status -eq 0 ] || fail "status $status: $(cat "$copy.log")"
  else
    mtlsync --no-proxy "$2" "$copy" >"$copy.log" 2>&1 || status=$?
    [ $status -eq 0 ] || [ $status -eq 5 ] || fail "status $status: $(cat "$copy.log")"
    expect_no_mixture "$copy"
  fi
  expect_nothing_older_than_stamp "$copy"
}

# start_clients NUMBER URL: each synchronises again and again, until stop_clients.
start_clients() {
  : >"$folder/publishing"
  clients=
  for i in $(seq "$1"); do
    (
      while [ -e "$folder/publishing" ]; do
        run_client "$i" "$2"
        echo run >>"$folder/runs-$i"
      done
    ) &
    clients="$clients $!"
  done
}

stop_clients() {
  rm "$folder/publishing"
  for client in $clients; do
    wait "$client" || fail "a client failed"
  done
}

# wait_for_runs NUMBER: until each client has made so many more.
wait_for_runs() {
  i=0
  for client in $clients; do
    i=$((i + 1))
    wanted=$(($(count_runs) + $1))
    while [ "$(count_runs)" -lt "$wanted" ]; do
      kill -0 "$client" 2>/dev/null || fail "a client failed"
      sleep 0.05
    done
  done
}

count_runs() {
  cat "$folder/runs-$i" 2>/dev/null | wc -l
}
