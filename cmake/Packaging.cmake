# Debian packages through CPack: scripts/package.sh configures a build with the /usr prefix
# and runs cpack there. One package per install component:
#   libvarnutilitylib0     the shared library (dependencies found by dpkg-shlibdeps)
#   libvarnutilitylib-dev  headers, CMake package, pkg-config file; needs the library and
#                          the headers of what the public headers pull in (none beyond libstdc++)
#   varnutil               the command-line tool
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME varnutilitylib)
set(CPACK_PACKAGE_VENDOR "VarnUtilityLib developers")
set(CPACK_PACKAGE_CONTACT "VarnUtilityLib developers <varnutilitylib@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_COMPONENTS_ALL library dev tool)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# varnutil's dependency on the library comes from shlibdeps, which looks the library up in the
# package being built beside it.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libvarnutilitylib${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
# The dynamic linker's cache learns of the library when the package is installed or removed.
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian-library-triggers
  ${PROJECT_BINARY_DIR}/debian-library/triggers COPYONLY)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian-library/triggers)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libvarnutilitylib-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
  "libvarnutilitylib${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME varnutil)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS
  "libvarnutilitylib${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")

set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "VarnUtilityLib shared library")
set(CPACK_COMPONENT_DEV_DESCRIPTION "VarnUtilityLib development files")
set(CPACK_COMPONENT_DEV_DEPENDS library)
set(CPACK_COMPONENT_TOOL_DESCRIPTION "varnutil, the VarnUtilityLib command-line tool")
set(CPACK_COMPONENT_TOOL_DEPENDS library)

include(CPack)
