#!/bin/sh
# Tests views of a library, fetched by the module and by the engine, from "mtlpublish serve" and
# from a server that publish-to-server has published them to.
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
  mtlpublish serve "$1" >"$folder/serving" 2>&1 &
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

echo "Forms of the view's list go where its clients ask for them, and the engine takes a difference"
for i in $(seq 60); do
  echo "$i" >"$library/maps/many-$i.tx"
done
publish_view() {
  echo "$1" >"$library/materials/a.mat"
  mtlpublish build --quiet --sign "$folder/oak.key" "$library"
  publish-to-server "$library" "$folder/site/library"
}
publish_view 1
mtlsync --quiet --no-proxy --sub-path beta --key "$folder/oak.pub" "$address" "$folder/kit-path"
publish_view 2
(cd "$library/beta" && find . -name '*.gz') | sort >"$folder/forms"
[ "$(wc -l <"$folder/forms")" -gt 1 ] || fail "$(cat "$folder/forms")"
(cd "$folder/site/beta/library" && find . -name '*.gz') | sort >"$folder/forms-there"
! grep -vxFf "$folder/forms-there" "$folder/forms" || fail "not all forms are there"
: >"$folder/serving"
mtlsync --quiet --no-proxy --sub-path beta --key "$folder/oak.pub" "$address" "$folder/kit-path"
cmp "$library/materials/a.mat" "$folder/kit-path/materials/a.mat"
grep -q "GET /beta/library/changes/[0-9a-f]*\.gz 200 " "$folder/serving" || fail "$(cat "$folder/serving")"
! grep -q "filelist" "$folder/serving" || fail "$(cat "$folder/serving")"

echo "Differences that are gone are removed when asked, and nothing else that is beside them"
touch "$folder/site/beta/library/changes/stale" "$folder/site/beta/library/other" "$folder/site/other"
publish-to-server --clean "$library" "$folder/site/library"
for form in $(cat "$folder/forms"); do
  cmp "$library/beta/$form" "$folder/site/beta/library/$form"
done
[ ! -e "$folder/site/beta/library/changes/stale" ] || fail "not removed"
[ -e "$folder/site/beta/library/other" ] && [ -e "$folder/site/other" ] || fail "too much removed"
cmp "$library/beta/filelist.json" "$folder/site/beta/library/filelist.json"
cmp "$library/beta/id.txt" "$folder/site/library/beta/id.txt"
