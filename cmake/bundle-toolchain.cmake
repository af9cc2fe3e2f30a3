# The toolchain for any Linux with glibc 2.34 or newer: all libraries other than glibc's own are
# linked in, including the compiler's run-time libraries.
set(MTLLIB_BUNDLE_ARCHITECTURE x86_64 CACHE STRING "Processor to build for: x86_64 or aarch64")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MTLLIB_BUNDLE_ARCHITECTURE)
if(MTLLIB_BUNDLE_ARCHITECTURE STREQUAL CMAKE_HOST_SYSTEM_PROCESSOR)
  set(tools "")
else()
  set(tools ${MTLLIB_BUNDLE_ARCHITECTURE}-linux-gnu-)
  set(CMAKE_SYSTEM_NAME Linux)
  set(CMAKE_SYSTEM_PROCESSOR ${MTLLIB_BUNDLE_ARCHITECTURE})
  set(CMAKE_CROSSCOMPILING_EMULATOR
    qemu-${MTLLIB_BUNDLE_ARCHITECTURE}-static -L /usr/${MTLLIB_BUNDLE_ARCHITECTURE}-linux-gnu)
endif()
set(CMAKE_C_COMPILER ${tools}gcc-12)
set(CMAKE_CXX_COMPILER ${tools}g++-12)
include(${CMAKE_CURRENT_LIST_DIR}/deps-toolchain.cmake)

foreach(kind IN ITEMS EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT
    "-static-libgcc -static-libstdc++ ${MTLLIB_DEPS}/lib/old_glibc.o -Wl,--gc-sections")
endforeach()
