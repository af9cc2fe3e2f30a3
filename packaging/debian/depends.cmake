# Read by cpack: the packages that the libraries need, and those that the programs need besides the
# libraries.
set(stage ${CPACK_PACKAGE_DIRECTORY}/stage)
file(REMOVE_RECURSE ${stage})
file(WRITE ${stage}/debian/control "")
file(MAKE_DIRECTORY ${stage}/DEBIAN)

# find_depends(RESULT COMPONENT FILES...): the files may be globs.
function(find_depends result component)
  execute_process(
    COMMAND ${CMAKE_COMMAND} --install @PROJECT_BINARY_DIR@ --component ${component}
      --prefix ${stage}@CMAKE_INSTALL_PREFIX@
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  list(TRANSFORM ARGN PREPEND ${stage}@CMAKE_INSTALL_PREFIX@/)
  file(GLOB files ${ARGN})
  execute_process(
    COMMAND dpkg-shlibdeps --ignore-missing-info -O
      -l${stage}@CMAKE_INSTALL_PREFIX@/@CMAKE_INSTALL_LIBDIR@ ${files}
    WORKING_DIRECTORY ${stage} OUTPUT_VARIABLE depends OUTPUT_STRIP_TRAILING_WHITESPACE
    COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE "^.*Depends=" "" depends ${depends})
  set(${result} ${depends} PARENT_SCOPE)
endfunction()
find_depends(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS runtime @CMAKE_INSTALL_LIBDIR@/*.so.*)
find_depends(programs tools bin/*)
string(APPEND CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ", ${programs}")
