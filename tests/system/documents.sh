#!/bin/sh
# Tests in every document that the targets of links exist, and the tests that it names, and that
# quotations are the same as in the quoted file.
# usage: documents.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
cd "$1"

# text_of DOCUMENT: without what stands in code.
text_of() {
  awk '/^ *```/ { inside = !inside; next } !inside && !/^    /' "$1" | sed 's/`[^`]*`//g'
}

# anchors_of DOCUMENT: those of its headings.
anchors_of() {
  awk '/^ *```/ { inside = !inside; next } !inside && /^#+ /' "$1" |
    sed -e 's/^#* //' -e 's/\[\([^]]*\)\]([^)]*)/\1/g' | tr '[:upper:] ' '[:lower:]-' |
    sed 's/[][!-,./:-@^`{|}~\\]//g'
}

# targets_of DOCUMENT: where its links within the project lead.
targets_of() {
  text_of "$1" | tr '\n' ' ' | grep -oE '\]\([^)]*\)|src="[^"]*"' |
    sed -e 's/^](//' -e 's/)$//' -e 's/^src="//' -e 's/"$//' |
    grep -vE '^[a-z]+:' || true
}

# expect_quotes DOCUMENT: behind "<!-- quoted: FILE -->" stands a piece of the file.
expect_quotes() {
  awk -v folder="$(dirname "$1")" '
    /^<!-- quoted: .* -->$/ { file = folder "/" $3; next }
    /^```/ && file == "" { other = !other; next }
    /^```/ && !inside && !other { inside = 1; piece = "\n"; next }
    /^```$/ && inside {
      whole = "\n"
      while ((getline line <file) > 0) whole = whole line "\n"
      close(file)
      if (piece == "\n" || !index(whole, piece)) {
        print FILENAME ": not as in " file ":" piece
      }
      inside = 0
      file = ""
      next
    }
    inside { piece = piece $0 "\n" }
    END { if (file != "") print FILENAME ": nothing is quoted from " file }' "$1"
}

# named_tests: all that there are, one a line.
named_tests() {
  find tests krell_networking -name '*.cc' -exec cat {} + | tr '\n' ' ' |
    grep -oE '\bTEST(_[FP])?\([[:alnum:]]+, +[[:alnum:]]+\)' | sed 's/.*(\(.*\), *\(.*\))/\1.\2/'
}

# tests_of DOCUMENT: those that it names.
tests_of() {
  grep -oE '`[A-Z][[:alnum:]]*\.[A-Z][[:alnum:]]*`' "$1" | tr -d '`' || true
}

# problems_of DOCUMENT
problems_of() {
  expect_quotes "$1"
  for test in $(tests_of "$1"); do
    echo "$tests" | grep -qxF "$test" || echo "$1: there is no test $test"
  done
  for target in $(targets_of "$1"); do
    file=$1
    [ -z "${target%%#*}" ] || file=$(dirname "$1")/${target%%#*}
    anchor=
    case $target in *'#'*) anchor=${target#*#} ;; esac
    if [ ! -e "$file" ]; then
      echo "$1: there is no $target"
    elif [ -n "$anchor" ] && ! anchors_of "$file" | grep -qxF -- "$anchor"; then
      echo "$1: $file has no heading for #$anchor"
    fi
  done
}

tests=$(named_tests)
documents=$(find . -name '*.md' -not -path './build/*' -not -path './.git/*' | sort)
problems=$(for document in $documents; do problems_of "$document"; done)
echo "$problems"
[ -n "$documents" ] && [ -z "$problems" ]
