# Included by the toolchains of self-contained builds: only the libraries that scripts/build-deps
# has built are linked. MTLLIB_DEPS is their folder, which that script prints.
set(MTLLIB_DEPS "$ENV{MTLLIB_DEPS}" CACHE PATH
  "Folder of the libraries that scripts/build-deps built")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MTLLIB_DEPS)
if(NOT IS_DIRECTORY "${MTLLIB_DEPS}")
  message(FATAL_ERROR
    "MTLLIB_DEPS must name what scripts/build-deps prints; make windows and make bundle do that")
endif()
set(CMAKE_FIND_ROOT_PATH "${MTLLIB_DEPS}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
