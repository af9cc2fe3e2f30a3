# Sourced beside small_library.sh by the tests of what is installed.

# build_hosts SOURCE_DIRECTORY COMPILER PREFIX VERSION [OPTION...]: builds the hosts against
# that version of the package below the prefix, in $folder/build. The file module there tells
# what those that load the module load.
build_hosts() {
  source=$1
  compiler=$2
  prefix=$3
  version=$4
  shift 4
  mkdir "$folder/hosts"
  code_of cpp "$source/docs/hosts.md" >"$folder/hosts/cpp_host.cc"
  code_of c "$source/docs/hosts.md" >"$folder/hosts/c_host.c"
  {
    cmake -S "$source/tests/system/downstream" -B "$folder/build" -D CMAKE_BUILD_TYPE=Release \
      -D CMAKE_CXX_COMPILER="$compiler" -D CMAKE_PREFIX_PATH="$prefix" \
      -D VERSION="$version" -D HOSTS="$folder/hosts" "$@" &&
      cmake --build "$folder/build"
  } >"$folder/log" 2>&1 || {
    cat "$folder/log"
    return 1
  }
}
