# Finds the sources of llhttp, a parser of HTTP messages in C, which is compiled into the
# networking library on every system. They come from Debian's package node-llhttp or any other copy.
find_path(MTLLIB_LLHTTP_SOURCES llhttp.c
  PATHS /usr/share/llhttp NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED
  DOC "Folder of llhttp's api.c, http.c and llhttp.c")
find_path(MTLLIB_LLHTTP_INCLUDE llhttp.h
  PATHS /usr/share/include/llhttp NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED
  DOC "Folder of llhttp.h")
find_file(MTLLIB_LLHTTP_LICENCE copyright
  PATHS /usr/share/doc/node-llhttp NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH
  DOC "The licence of llhttp, which the networking library carries")

add_library(llhttp STATIC
  ${MTLLIB_LLHTTP_SOURCES}/api.c
  ${MTLLIB_LLHTTP_SOURCES}/http.c
  ${MTLLIB_LLHTTP_SOURCES}/llhttp.c)
target_include_directories(llhttp SYSTEM PUBLIC ${MTLLIB_LLHTTP_INCLUDE})
# Hardened and sanitized as our own code; its warnings are its authors' business.
target_link_libraries(llhttp PRIVATE mtllib_options)
target_compile_options(llhttp PRIVATE -w)
set_target_properties(llhttp PROPERTIES UNITY_BUILD OFF)
