#!/bin/sh
# Tests docs/publishing/publish-to-server with OpenSSH: a whole publication, including views, takes
# one connection. Prints how many round trips that needs.
# usage: publishing_by_ssh.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS
set -eu
. "$1/tests/system/nginx.sh"
PATH=$2:$1/docs/publishing:$PATH
tests=$1/tests/system

# sshd for one connection, on its standard input: there is no port, and no server that stays.
for key in host user; do
  ssh-keygen -q -t ed25519 -N '' -f "$folder/$key"
done
# As root, sshd wants the folder that its service makes.
[ "$(id -u)" -ne 0 ] || mkdir -p /run/sshd
cat >"$folder/sshd.conf" <<EOF
HostKey $folder/host
AuthorizedKeysFile $folder/user.pub
StrictModes no
UsePAM no
PidFile none
EOF
cat >"$folder/ssh.conf" <<EOF
Host server
  IdentityFile $folder/user
  IdentitiesOnly yes
  UserKnownHostsFile $folder/known
  StrictHostKeyChecking accept-new
  ProxyCommand python3 $tests/far_away.py $folder/delay $folder/connections /usr/sbin/sshd -i -f $folder/sshd.conf
EOF
export RSYNC_RSH="ssh -F $folder/ssh.conf"

# publish DELAY: sets $taken to the milliseconds that it takes where everything comes so many
# seconds later than it was sent.
publish() {
  echo "$1" >"$folder/delay"
  : >"$folder/connections"
  date >"$folder/library/materials/1.mat"
  echo "$1" >>"$folder/library/materials/1.mat"
  expect 0 mtlpublish build "$folder/library"
  start=$(date +%s%3N)
  expect 0 publish-to-server "$folder/library" "server:$folder/site/library"
  taken=$(($(date +%s%3N) - start))
  [ "$(wc -l <"$folder/connections")" -eq 1 ] || fail "$(wc -l <"$folder/connections") connections"
}

mkdir -p "$folder/library/materials" "$folder/library/maps" "$folder/site"
for i in $(seq 100); do
  echo "$i" >"$folder/library/materials/$i.mat"
  echo "$i" >"$folder/library/maps/$i.tx"
done
cat >"$folder/library/library.toml" <<'EOF'
address = "https://materials.example/library"
[[view]]
sub-path = "beta"
files = ["maps/*"]
EOF

echo "A publication takes one connection, near or far"
publish 0
publish 0
near=$taken
publish 0.25
echo "  $(((taken - near) / 500)) round trips"
expect 0 mtlpublish verify "$folder/site/library"
cmp "$folder/library/beta/filelist.json" "$folder/site/beta/library/filelist.json"
cmp "$folder/library/beta/id.txt" "$folder/site/library/beta/id.txt"
