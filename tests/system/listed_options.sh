# Lists the options of the programs, for tests of what is written about them.

LC_ALL=C
export LC_ALL

# listed_options PROGRAM [COMMAND]: each option that its help lists, one a line, sorted
listed_options() {
  "$@" --help | sed -n '/^Options:/,/^$/s/^  \(-[^ ]*\).*/\1/p' | tr ',' '\n' | sort
}

# fail WHAT
fail() {
  echo "FAILED: $1" >&2
  exit 1
}
