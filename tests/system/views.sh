#!/bin/sh
# Views of a library, fetched by the module and by the engine: from "mtlpublish serve", and from a
# server that publish-to-server has brought them to.
# usage: views.sh SOURCE_DIRECTORY DIRECTORY_OF_THE_BUILT_PROGRAMS COMPILER
set -eu
PATH=$2:$1/docs/publishing:$PATH
module=$2/libmtllib.so
unset http_proxy HTTP_PROXY https_proxy HTTPS_PROXY all_proxy ALL_PROXY
folder=$(mktemp -d)
server=
clean_up() {
  status=$?
  [ -z "$server" ] || kill "$server" 2>/dev/null || true
  rm -rf "$folder"
  exit "$status"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# serve FOLDER: sets $address.
serve() {
  [ -z "$server" ] || kill "$server"
  : >"$folder/serving"
  mtlpublish serve --quiet "$1" >"$folder/serving" 2>&1 &
  server=$!
  until grep -q Serving "$folder/serving"; do
    kill -0 "$server" || fail "$(cat "$folder/serving")"
    sleep 0.05
  done
  address=$(sed -n 's|.* at \(http://.*\)/$|\1|p' "$folder/serving")
}

# expect_view COPY: what a client of the view has, and nothing else.
expect_view() {
  (cd "$1" && find . -type f ! -path './.mtllib/*' -printf '%P\n' | sort) >"$folder/there"
  printf '%s\n' beta/id.txt maps/new.tx materials/a.mat | diff - "$folder/there" ||
    fail "$1 is not the view"
  for name in maps/new.tx materials/a.mat beta/id.txt; do
    cmp "$library/$name" "$1/$name"
  done
}

library=$folder/library
mkdir -p "$library/materials" "$library/maps" "$folder/site"
for name in materials/a.mat materials/b.mat maps/new.tx maps/old.tx; do
  echo "$name" >"$library/$name"
done
cat >"$library/library.toml" <<'EOF'
name = "oak"
address = "https://materials.example/library"
never = ["old.tx", "b.mat"]

[[view]]
sub-path = "beta"
files = ["a.mat", "maps/*"]
exclude = ["old.tx"]

[[view.policy]]
files = ["maps/*"]
download = "missing"
EOF
mtlpublish keygen --no-password "$folder/oak" >/dev/null 2>&1
mtlpublish build --quiet --sign "$folder/oak.key" "$library"

for place in root path; do
  echo "A view is fetched by the engine, with its key, and by the module: library at the $place"
  if [ $place = root ]; then
    serve "$library"
  else
    ! publish-to-server "$library" "$folder/site/other" 2>"$folder/err" || fail "no place for lists"
    grep -q "must end in /library" "$folder/err" || fail "$(cat "$folder/err")"
    publish-to-server "$library" "$folder/site/library"
    publish-to-server --clean "$library" "$folder/site/library"
    serve "$folder/site"
    address=$address/library
  fi
  mtlsync --quiet --no-proxy --sub-path beta --key "$folder/oak.pub" "$address" "$folder/kit-$place"
  expect_view "$folder/kit-$place"
  mtlsync --quiet --no-proxy --module "$module" --sub-path beta "$address" "$folder/module-$place"
  expect_view "$folder/module-$place"
  mtlpublish verify --quiet --sub-path beta --key "$folder/oak.pub" "$address"
  mtlpublish verify --quiet --key "$folder/oak.pub" "$address"
done
