# Defines mtllib_options, a target with the options that all of our own code is compiled and
# linked with.
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)

add_library(mtllib_options INTERFACE)

# mtllib_use_known_flags(flag...): each is used where the compiler knows it.
function(mtllib_use_known_flags)
  foreach(flag IN LISTS ARGN)
    string(MAKE_C_IDENTIFIER "MTLLIB_KNOWS${flag}" known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
      target_compile_options(mtllib_options INTERFACE $<$<COMPILE_LANGUAGE:C,CXX>:${flag}>)
    endif()
  endforeach()
endfunction()

# The same for the linker; the options of one argument go together.
function(mtllib_use_known_linker_flags)
  foreach(flag IN LISTS ARGN)
    string(MAKE_C_IDENTIFIER "MTLLIB_LINKS_${flag}" known)
    check_linker_flag(CXX "LINKER:${flag}" ${known})
    if(${known})
      target_link_options(mtllib_options INTERFACE "LINKER:${flag}")
    endif()
  endforeach()
endfunction()

# This compiler takes -Wall for everything that it could ever warn of, and sources for texts in the
# user's code page.
if(MSVC)
  mtllib_use_known_flags(/W4 /utf-8)
else()
  mtllib_use_known_flags(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
endif()
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  # It takes the unnamed namespaces of sources for those of headers.
  target_compile_options(mtllib_options INTERFACE -Wno-subobject-linkage)
endif()
if(MTLLIB_WERROR)
  set(CMAKE_COMPILE_WARNING_AS_ERROR ON)
endif()

if(WIN32)
  target_compile_definitions(mtllib_options INTERFACE UNICODE _UNICODE _WIN32_WINNT=0x0A00)
endif()

# Hosts load this into their own process: an overrun must end there, not be used.
if(CMAKE_BUILD_TYPE STREQUAL Release AND NOT MTLLIB_SANITIZE AND NOT MSVC)
  mtllib_use_known_flags(-fstack-protector-strong)
  target_compile_definitions(mtllib_options INTERFACE _FORTIFY_SOURCE=2)
  if(WIN32)
    # MinGW keeps what both need in a library of its own.
    target_link_options(mtllib_options INTERFACE -fstack-protector-strong)
    mtllib_use_known_linker_flags(--dynamicbase --nxcompat --high-entropy-va)
  else()
    mtllib_use_known_linker_flags(-z,relro -z,now -z,noexecstack)
  endif()
endif()

if(MTLLIB_SANITIZE)
  # GCC takes the instrumented code of its own <regex> for a use of uninitialised memory.
  target_compile_options(mtllib_options INTERFACE
    -fsanitize=${MTLLIB_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(mtllib_options INTERFACE -fsanitize=${MTLLIB_SANITIZE})
endif()
