#!/bin/sh
# Tests that the manual pages are well-formed and describe every option.
# usage: manuals.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/listed_options.sh"

# check_page PROGRAM FOLDER COMMANDS: those that have options of their own, "" for none
check_page() {
  page=$2/../man/$1.1
  complaints=$(mandoc -T lint "$page" 2>&1) || fail "$1: $complaints"
  [ -z "$complaints" ] || fail "$1: $complaints"
  # As Debian's packages are checked.
  complaints=$(LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 \
    man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null)
  [ -z "$complaints" ] || fail "$1: $complaints"

  text=$(mandoc -T ascii "$page" | sed "s/.$(printf '\b')//g")
  for section in NAME SYNOPSIS DESCRIPTION OPTIONS "EXIT STATUS" ENVIRONMENT FILES EXAMPLES \
    "SEE ALSO"; do
    echo "$text" | grep -qx "$section" || fail "$1: no section $section"
  done
  for command in "" $3; do
    for option in $(listed_options "$2/$1" $command); do
      echo "$text" | grep -Eq "^ +(-[a-z], )?$option([, ]|$)" || fail "$1 $command: no $option"
    done
  done
  version=$("$2/$1" --version | cut -d ' ' -f 2)
  echo "$text" | tail -n 1 | grep -q "^mtllib $version " || fail "$1: not of version $version"
}

check_page mtlsync "$2" --help-network
check_page mtlpublish "$2" "build diff files init keygen report rollback verify serve"
