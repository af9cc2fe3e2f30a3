#!/bin/sh
# Tests that the binaries for Windows need nothing but the system and each other, have their
# version, and use the system's protections. Inspects the files, and runs none of them.
# usage: windows_binaries.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
cd "$2"

# Parts of every Windows from 10 on.
system="ADVAPI32.dll bcrypt.dll CRYPT32.dll KERNEL32.dll msvcrt.dll SHELL32.dll WS2_32.dll"

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

look() {
  x86_64-w64-mingw32-objdump -p "$1"
}

# expect_imports FILE [LIBRARY...]: from the system, and all of these.
expect_imports() {
  file=$1
  shift
  imports=$(look "$file" | sed -n 's/^\tDLL Name: //p')
  [ -n "$imports" ] || fail "$file: no imports are shown"
  for import in $imports; do
    case " $system $* " in
      *" $import "*) ;;
      *) fail "$file needs $import" ;;
    esac
  done
  for wanted in "$@"; do
    echo "$imports" | grep -qxF "$wanted" || fail "$file does not import $wanted"
  done
}

expect_imports mtllib.dll krell_networking.dll
expect_imports krell_networking.dll
expect_imports mtlhost.dll krell_networking.dll
expect_imports mtlsync.exe krell_networking.dll
expect_imports mtlpublish.exe krell_networking.dll

for file in mtllib.dll krell_networking.dll mtlhost.dll mtlsync.exe mtlpublish.exe; do
  # The resources of type 16 tell the version.
  look "$file" | grep -q '^010   Entry: ID: 0x000010,' || fail "$file has no version resource"
  for protection in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
    look "$file" | grep -qw "$protection" || fail "$file is built without $protection"
  done
done
