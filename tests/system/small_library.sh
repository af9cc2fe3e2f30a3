# Sourced by tests that run the examples of a document: gives each a folder of its own, removed in
# the end, with a small library that is served on loopback. Takes the arguments of the test:
# SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
export no_proxy=127.0.0.1
folder=$(mktemp -d)
server=
clean_up() {
  [ -z "$server" ] || kill "$server"
  rm -rf "$folder"
}
trap clean_up EXIT

# code_of LANGUAGE DOCUMENT: what stands in its code blocks.
code_of() {
  awk -v fence="\`\`\`$1" '$0 == fence { inside = 1; next } /^```$/ { inside = 0 } inside' "$2"
}

mkdir "$folder/library"
echo oak >"$folder/library/oak.mat"
"$2/mtlpublish" build "$folder/library"
"$2/mtlpublish" serve --quiet "$folder/library" >"$folder/address" &
server=$!
while [ ! -s "$folder/address" ]; do
  kill -0 "$server"
  sleep 0.1
done
address=$(sed 's/.* at //' "$folder/address")

# expect_copy DIRECTORY: it holds the library and its stamp.
expect_copy() {
  cmp "$folder/library/oak.mat" "$1/oak.mat"
  cmp "$folder/library/id.txt" "$1/id.txt"
}
