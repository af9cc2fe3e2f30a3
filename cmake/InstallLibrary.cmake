# mtllib_install_library(target name): installs the library, and lets hosts that are built with
# CMake link it as mtllib::name, from this tree or from an installation.
function(mtllib_install_library target name)
  add_library(mtllib::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${name} SOVERSION ${MTLLIB_SOVERSION})
  install(TARGETS ${target} EXPORT mtllib
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
      NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()
