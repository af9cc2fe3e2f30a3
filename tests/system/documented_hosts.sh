#!/bin/sh
# Tests that the hosts in docs/hosts.md compile as it says and synchronise.
# usage: documented_hosts.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/small_library.sh"

code_of cpp "$1/docs/hosts.md" >"$folder/host.cc"
"$3" -std=c++17 -Wall -Wextra -Wpedantic -Werror -I "$1/include" -I "$1/host/include" \
  "$folder/host.cc" "$2/../host/libmtllib_host.a" -o "$folder/cpp_host" \
  -L "$2" -lkrell_networking -ljsoncpp -lsodium -lz -lcrypto -pthread -ldl
LD_LIBRARY_PATH=$2 "$folder/cpp_host" "$address" "$folder/cpp_copy"
expect_copy "$folder/cpp_copy"

code_of c "$1/docs/hosts.md" >"$folder/host.c"
"${CC:-cc}" -std=c11 -Wall -Wextra -Wpedantic -Werror -I "$1/host/c" \
  "$folder/host.c" -o "$folder/c_host" -L "$2" -lmtlhost
LD_LIBRARY_PATH=$2 "$folder/c_host" "$address" "$folder/c_copy"
expect_copy "$folder/c_copy"

# Each says what failed, and fails.
expect_failure() {
  if LD_LIBRARY_PATH=$built "$@" "$address/nothing" "$folder/none" 2>"$folder/errors"; then exit 1; fi
  grep -q 404 "$folder/errors"
}
built=$2
expect_failure "$folder/cpp_host"
expect_failure "$folder/c_host"
