# Read by cpack: the packages that the libraries need.
set(stage ${CPACK_PACKAGE_DIRECTORY}/runtime)
file(REMOVE_RECURSE ${stage})
file(WRITE ${stage}/debian/control "")
file(MAKE_DIRECTORY ${stage}/DEBIAN)
execute_process(
  COMMAND ${CMAKE_COMMAND} --install @PROJECT_BINARY_DIR@ --component runtime
    --prefix ${stage}@CMAKE_INSTALL_PREFIX@
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(GLOB_RECURSE libraries ${stage}/*.so.*)
execute_process(
  COMMAND dpkg-shlibdeps --ignore-missing-info -O ${libraries}
  WORKING_DIRECTORY ${stage} OUTPUT_VARIABLE depends OUTPUT_STRIP_TRAILING_WHITESPACE
  COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "^.*Depends=" "" CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS ${depends})
