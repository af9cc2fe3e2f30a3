#!/bin/sh
# Tests that the commands in the README do what it says.
# usage: readme_commands.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/small_library.sh"
readme=$1/README.md
programs=$2

# What make is asked for, it knows.
targets=$(grep -oE '(^    |`)make [a-z0-9-]+' "$readme" | sed 's/.* //')
[ -n "$targets" ]
for target in $targets; do
  make -C "$1" --dry-run "$target" >"$folder/dry-run"
done

# As they stand, but for the port, which may be in use.
mv "$folder/library" "$folder/my-materials"
serve='mtlpublish serve --port 8080 my-materials &'
code_of sh "$readme" >"$folder/commands"
grep -qxF "$serve" "$folder/commands"
{
  sed "/^$serve/,\$d" "$folder/commands"
  echo 'mtlpublish serve my-materials >serving &'
  echo 'trap "kill $!" EXIT'
  echo 'until [ -s serving ]; do kill -0 $!; sleep 0.1; done'
  sed -e "1,/^$serve/d" -e "s|http://127.0.0.1:8080/|\$(sed 's/.* at //' serving)|" "$folder/commands"
} >"$folder/script"
(cd "$folder" && PATH=$programs:$PATH sh -eux script)
ln -s my-materials "$folder/library"
expect_copy "$folder/copy-of-my-materials"
