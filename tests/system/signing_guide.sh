#!/bin/sh
# Tests what docs/publishing.md says about signing, command by command, on a terminal: keys are
# made, used, replaced, and used elsewhere, and an old release is published again.
# usage: signing_guide.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/small_library.sh"
tests=$1/tests/system
PATH=$2:$PATH
cd "$folder"
sed -n '/^## Signing$/,/^## Order of publishing$/p' "$1/docs/publishing.md" >signing.md

# commands_of HEADING: those in its section, as they stand.
commands_of() {
  awk -v heading="### $1" '/^### / { inside = $0 == heading } inside' signing.md >section.md
  code_of sh section.md
}

# follow HEADING: what the section says is done.
follow() {
  echo "$1"
  commands_of "$1" | sed "s|https://materials.example/library|$address|" >commands
  [ -s commands ]
  python3 "$tests/on_terminal.py" word sh -eux commands </dev/null
}

serial() {
  sed -n 's/^trusted comment: library: oak; serial: \([0-9]*\); .*/\1/p' library/id.txt
}

# expect_release FILE KEY...: the library has a higher serial than before, the oak as in the file, and
# the signature of a KEY; a client that has the keys takes it.
last=0
expect_release() {
  now=$(serial)
  [ "$now" -gt "$last" ]
  last=$now
  cmp "$1" library/oak.mat
  shift
  for key in "$@"; do
    shift
    set -- "$@" --key "$key"
  done
  mtlpublish verify "$@" library
  mtlsync --quiet "$@" "$address" copy
  expect_copy copy
}

follow "The first time"
expect_release library/oak.mat oak.pub
cp -a library library-of-last-week
echo "new oak" >library/oak.mat
python3 "$tests/on_terminal.py" word mtlpublish build --sign oak.key library
expect_release library/oak.mat oak.pub

follow "Going back"
expect_release library-of-last-week/oak.mat oak.pub
# The whole folder, from a backup, which knows no serial of this second.
sleep 1
rm -r library
cp -a library-of-last-week library
rm library/id.txt library/filelist.json
prepared=$(mtlpublish build --prepare library | sed 's/.*serial: \([0-9]*\);.*/\1/')
[ "$prepared" -gt "$last" ]
python3 "$tests/on_terminal.py" word mtlpublish build --sign oak.key library
expect_release library-of-last-week/oak.mat oak.pub

echo "oak from elsewhere" >library/oak.mat
follow "Signing elsewhere"
expect_release library/oak.mat oak.pub

echo "oak of a job" >library/oak.mat
export SIGNING_PASSWORD=word
rm library/.mtlpublish-signed
follow "In an automatic job"
expect_release library/oak.mat oak.pub

follow "Replacing a key"
if mtlpublish verify --key oak.pub library; then exit 1; fi
mtlsync --quiet --key oak.pub "$address" copy && exit 1 || [ $? -eq 5 ]
if cmp library/id.txt copy/id.txt; then exit 1; fi
expect_release library/oak.mat oak.pub spare.pub
mtlsync --quiet --key spare.pub "$address" copy
