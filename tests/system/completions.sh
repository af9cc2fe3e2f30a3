#!/bin/sh
# Tests that the completions of each shell offer exactly the options that the programs have.
# usage: completions.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
. "$1/tests/system/listed_options.sh"
source=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# Each of these prints what is offered behind "PROGRAM [COMMAND] WORD".
in_bash() {
  bash --norc -c '
    . "$1"
    shift
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    "_$1"
    printf "%s\n" "${COMPREPLY[@]}"
  ' bash "$source/completions/$1.bash" "$@"
}
in_fish() {
  HOME=$folder fish --no-config -c 'source $argv[1]; complete -C "$argv[2..]"' \
    "$source/completions/$1.fish" "$@" | cut -f 1
}

# What zsh is made to offer after "PROGRAM [COMMAND]": options stand before "[".
options_in_zsh() {
  zsh -f -c '
    _arguments() { print -rl -- "$@"; line=("$command"); return 1 }
    command=$2
    . "$1" || true
  ' zsh "$source/completions/_$1" "${2:-}" >"$folder/zsh"
  # A command has those of its own, which come last.
  if [ $# -gt 1 ]; then sed -i '1,/->arguments/d' "$folder/zsh"; fi
  sed -n 's/^\((.*)\)\{0,1\}\**\(--\{0,1\}[a-z][a-z-]*\)\[.*/\2/p' "$folder/zsh"
}

# expect_same WHAT EXPECTED FOUND
expect_same() {
  [ "$2" = "$(echo "$3" | sort)" ] || fail "$1: expected $2, found $3"
}

for command_line in mtlsync mtlpublish "mtlpublish build" "mtlpublish diff" "mtlpublish files" "mtlpublish init" \
  "mtlpublish keygen" "mtlpublish report" "mtlpublish rollback" "mtlpublish verify" "mtlpublish serve"; do
  # shellcheck disable=SC2086  # a word or two
  {
    options=$(listed_options "$2"/$command_line)
    if [ "$command_line" = mtlsync ]; then
      options=$(printf '%s\n%s' "$options" "$(listed_options "$2"/mtlsync --help-network)" | sort)
    fi
    expect_same "bash, $command_line" "$options" "$(in_bash $command_line -)"
    expect_same "fish, $command_line" "$options" "$(in_fish $command_line -)"
    expect_same "zsh, $command_line" "$options" "$(options_in_zsh $command_line)"
  }
done

commands=$(printf 'build\ndiff\nfiles\ninit\nkeygen\nreport\nrollback\nserve\nverify')
expect_same "bash, commands" "$commands" "$(in_bash mtlpublish '')"
expect_same "fish, commands" "$commands" "$(in_fish mtlpublish '')"
expect_same "bash, prefix of a command" verify "$(in_bash mtlpublish v)"
expect_same "bash, prefix of an option" --max-file-size "$(in_bash mtlsync --max-f)"

mkdir -p "$folder/there/materials"
: >"$folder/there/materials.txt"
cd "$folder/there"
expect_same "bash, folder" materials "$(in_bash mtlsync http://a m)"
expect_same "fish, folder" materials/ "$(in_fish mtlsync http://a m)"
expect_same "bash, file" "$(printf 'materials\nmaterials.txt')" "$(in_bash mtlsync --module m)"
expect_same "fish, file" "$(printf 'materials.txt\nmaterials/')" "$(in_fish mtlsync --module m)"
expect_same "bash, file behind =" "$(printf 'materials\nmaterials.txt')" \
  "$(in_bash mtlsync --module = m)"
expect_same "bash, file, nothing behind =" "$(printf 'materials\nmaterials.txt')" \
  "$(in_bash mtlsync --module =)"
expect_same "bash, size behind =" "" "$(in_bash mtlsync --max-file-size = m)"
expect_same "bash, port behind =" "" "$(in_bash mtlpublish serve --port = m)"
expect_same "bash, kinds" "$(printf 'long-paths\nsame-names')" \
  "$(in_bash mtlpublish build --allow '' | grep -E '^(long|same)')"
expect_same "bash, size" "" "$(in_bash mtlsync --max-file-size '')"
zsh -n "$source"/completions/_*
