# Cross-builds for x86-64 Windows with MinGW-w64 and runs what was built under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# The libraries to link, and only those: scripts/build-windows-deps prints the folder.
set(MTLLIB_WINDOWS_DEPS "$ENV{MTLLIB_WINDOWS_DEPS}" CACHE PATH
  "Folder of the libraries that scripts/build-windows-deps built")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MTLLIB_WINDOWS_DEPS)
if(NOT IS_DIRECTORY "${MTLLIB_WINDOWS_DEPS}")
  message(FATAL_ERROR
    "MTLLIB_WINDOWS_DEPS must name what scripts/build-windows-deps prints; make windows does that")
endif()
set(CMAKE_FIND_ROOT_PATH "${MTLLIB_WINDOWS_DEPS}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The compiler's own run-time libraries go into each DLL and program.
foreach(kind IN ITEMS EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT -static)
endforeach()

# Never in the user's own Wine prefix.
set(CMAKE_CROSSCOMPILING_EMULATOR
  ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-test-env /usr/lib/wine/wine64)
