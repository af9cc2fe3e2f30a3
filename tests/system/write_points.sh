# Sourced after nginx.sh by the tests that stop or kill a run of mtlsync at one of its changes to
# $target. The changes are picked at random from a SEED, which is printed when the test begins.

RANDOM=${SEED:=$(od -A n -N 2 -t u2 /dev/urandom)}
echo "SEED=$((SEED))"

# In front of a command whose changes count. The shell's own children would not hear of Ctrl-C.
with_points=(env --default-signal=INT "LD_PRELOAD=$bin/libwrite_points.so" "WRITE_POINTS_BELOW=$target")

# count_points COMMAND...: how many changes a whole run makes.
count_points() {
  rm -f "$folder/points"
  "${with_points[@]}" WRITE_POINTS_LOG="$folder/points" "$@" >"$folder/out" 2>&1 ||
    fail "the run that is counted fails: $(cat "$folder/out")"
  wc -l <"$folder/points"
}

# kill_at POINT COMMAND...
kill_at() {
  status=0
  # The group takes the shell's own words of it, too.
  { "${with_points[@]}" WRITE_POINTS_AT="$1" "${@:2}" || status=$?; } 2>"$folder/err"
  [ $status -eq 137 ] || fail "not killed at change $1, but ended with status $status"
}

# stop_at POINT COMMAND...: starts it as $client, and returns when it has stopped.
stop_at() {
  "${with_points[@]}" WRITE_POINTS_AT="$1" WRITE_POINTS_SIGNAL=19 "${@:2}" 2>"$folder/err" &
  client=$!
  for _ in $(seq 5000); do
    case $(sed 's/.*) //; s/ .*//' "/proc/$client/stat" 2>/dev/null) in
      T) return 0 ;;
      Z | "") break ;;
    esac
    sleep 0.02
  done
  kill -9 $client 2>/dev/null || true
  fail "not stopped at change $1"
}
