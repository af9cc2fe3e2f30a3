#!/bin/sh
# Compares the records, values and functions of the public headers, and what the libraries export,
# with baseline.txt, so that what was built against them continues to work. With --write, records
# them as they are now.
# usage: abi_baseline.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS [--write]
set -eu
windows=false
if [ -e "$2/mtllib.dll" ]; then
  windows=true
  if [ -z "${MTLLIB_WINE_TEST_ENV:-}" ]; then
    exec "$1/scripts/wine-test-env" "$0" "$@"
  fi
fi
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export LC_ALL=C

facts_of_headers() {
  if $windows; then
    /usr/lib/wine/wine64 "$1/abi_facts.exe" | tr -d '\r'
  else
    "$1/abi_facts"
  fi
}

exports_of() {
  if $windows; then
    x86_64-w64-mingw32-objdump -p "$1.dll" |
      sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/ s/^\t\[ *[0-9]*\] //p'
  else
    nm -D --defined-only "$(dirname "$1")/lib${1##*/}.so" | sed 's/^[0-9a-f]* . //'
  fi | c++filt | sort | sed "s/^/export ${1##*/}: /"
}

facts_of_headers "$2" >"$folder/facts"
for library in mtllib mtlhost krell_networking; do
  exports_of "$2/$library" >>"$folder/facts"
done

# No record, function or value of the headers is left out.
cd "$1"
{
  sed -nE 's/^(typedef )?(struct|class) ([A-Za-z_]+) \{$/record \3:/p' \
    include/mtllib/*.h host/c/mtlhost.h
  sed -nE 's/^MTLHOST_API .*(mtlhost_[a-z_]+)\(.*/function \1:/p' host/c/mtlhost.h
  sed -nE 's/^ +([A-Z][A-Z_]+) = .*/value \1 =/p' include/mtllib/*.h host/c/mtlhost.h
} >"$folder/names"
[ -s "$folder/names" ]
while read -r name; do
  grep -qF "$name" "$folder/facts" || echo "abi_facts.cc does not print: ${name%[:=]}"
done <"$folder/names" >"$folder/missing"
if [ -s "$folder/missing" ]; then
  cat "$folder/missing" >&2
  exit 1
fi

baseline=tests/abi/baseline.txt
if [ "${3-}" = --write ]; then
  cp "$folder/facts" "$baseline"
elif ! diff -u --label 'written down' --label 'now' "$baseline" "$folder/facts" >&2; then
  echo "Hosts that were built before would see this difference. What is only added may be" >&2
  echo "written down: make abi-baseline. What is changed or gone must be taken back, or needs" >&2
  echo "a new version of the interface." >&2
  exit 1
fi
