# The toolchain for x86-64 Windows: cross-builds with MinGW-w64, and runs what was built under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

include(${CMAKE_CURRENT_LIST_DIR}/deps-toolchain.cmake)

# The compiler's own run-time libraries go into each DLL and program.
foreach(kind IN ITEMS EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT -static)
endforeach()

# Never in the user's own Wine prefix.
set(CMAKE_CROSSCOMPILING_EMULATOR
  ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-test-env /usr/lib/wine/wine64)
