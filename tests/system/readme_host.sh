#!/bin/sh
# The README's host compiles against the public headers alone and synchronises.
# usage: readme_host.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
export no_proxy=127.0.0.1
folder=$(mktemp -d)
server=
clean_up() {
  [ -z "$server" ] || kill "$server"
  rm -rf "$folder"
}
trap clean_up EXIT

awk '/^```cpp$/ { inside = 1; next } /^```$/ { inside = 0 } inside' "$1/README.md" >"$folder/host.cc"
"$3" -std=c++17 -Wall -Wextra -Werror -I "$1/include" "$folder/host.cc" -o "$folder/host" -ldl

mkdir "$folder/library"
echo oak >"$folder/library/oak.mat"
"$2/mtlpublish" build "$folder/library"
"$2/mtlpublish" serve "$folder/library" >"$folder/address" &
server=$!
for _ in 1 2 3 4 5 6 7 8 9 10; do
  [ ! -s "$folder/address" ] || break
  sleep 0.2
done
"$folder/host" "$2/libmtllib.so" "$(sed 's/.* at //' "$folder/address")" "$folder/copy"
cmp "$folder/library/oak.mat" "$folder/copy/oak.mat"
cmp "$folder/library/id.txt" "$folder/copy/id.txt"
