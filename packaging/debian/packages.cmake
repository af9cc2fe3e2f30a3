# Debian's packages: mtllib, mtllib-dev and mtllib-tools.
set(CPACK_GENERATOR DEB)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${MTLLIB_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SOURCE mtllib)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
# Else it would come before each description, whose first line is the summary.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")

set(what "mtllib is loaded by applications, such as renderers and 3D modellers, to
keep a local copy of an online library of materials up to date: it fetches
what has changed, with several transfers in flight.
.
This package has")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME mtllib)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "local copies of online material libraries
${what} the library and its C interface.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME mtllib-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# Who links the kit links these, too.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "mtllib (= ${PROJECT_VERSION}), libjsoncpp-dev, libsodium-dev, libssl-dev, zlib1g-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "local copies of online material libraries - development
${what} what such applications are built with: headers, the kit
for hosts in C++, and files for CMake and pkg-config.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME mtllib-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "mtllib (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "local copies of online material libraries - programs
${what} two programs: mtlsync does the same from a shell, and
mtlpublish makes a folder of materials into such an online library.")

# What others that link the libraries depend on; and the loader is told of them.
foreach(target IN ITEMS mtllib mtlhost krell_networking)
  string(APPEND shlibs "lib${target} ${MTLLIB_SOVERSION} mtllib (>= ${PROJECT_VERSION})\n")
endforeach()
file(WRITE ${generated}/shlibs ${shlibs})
file(WRITE ${generated}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${generated}/shlibs ${generated}/triggers)
# When CPack looks for what the libraries need, it has scripts call ldconfig, which is not
# Debian's way; and it does not find them when it looks for what the programs need.
configure_file(debian/depends.cmake ${generated}/depends.cmake @ONLY)
set(CPACK_PROJECT_CONFIG_FILE ${generated}/depends.cmake)
