# mtllib::headers   for a host that loads the module at run time
# mtllib::mtllib    for a host that links it
# mtllib::host      the kit for hosts in C++, with the engine; it can load the module
# mtllib::mtlhost   the same for hosts in C
include(CMakeFindDependencyMacro)
find_dependency(jsoncpp)
find_dependency(Threads)
if(NOT WIN32)
  find_dependency(OpenSSL)
endif()
include(${CMAKE_CURRENT_LIST_DIR}/mtllib-targets.cmake)
