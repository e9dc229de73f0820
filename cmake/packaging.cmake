# The Debian package: `cpack -G DEB` in the build folder makes
# zab2veda_<version>_<arch>.deb from everything `cmake --install` installs,
# under /usr, with its dependencies computed by dpkg-shlibdeps. For the
# Debian layout (the library in /usr/lib/<multiarch>) configure the build
# with -DCMAKE_INSTALL_PREFIX=/usr (README, "Install").
set(CPACK_PACKAGE_NAME zab2veda)
set(CPACK_PACKAGE_VENDOR "The zab2veda authors")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "converter of ZAB model results to VEDA cube files")
set(CPACK_PACKAGE_DESCRIPTION
    "zab2veda reads the results of an optimisation model stored in a ZAB file and,
guided by a VEDA Data Definition (VDD) file, writes the data, element-text
and subset files the VEDA cube browser loads; given only a ZAB file it lists
its symbols and dumps them as CSV.
.
The package also holds the ZAB access library libzabcclib64 with its C
header, pkg-config file and CMake package, zabtool (ZAB files from JSON or
CSV, and back), the Python package zab and examples.")
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The zab2veda authors <zab2veda@example.org>")
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The shlibs file of the library, and the ldconfig trigger that updates the
# loader cache (CPack also calls ldconfig from postinst and postrm).
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/cmake/debian/triggers
    ${CMAKE_BINARY_DIR}/debian/prerm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The Python package zab is optional: pandas is needed only by it.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3, python3-numpy, python3-pandas")

# Files only the package carries: Debian's copyright and changelog and the
# lintian overrides. Installed as their own component, left out of a plain
# `cmake --install`, and added to the package below.
configure_file(cmake/debian/prerm.in ${CMAKE_BINARY_DIR}/debian/prerm @ONLY
               FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                WORLD_READ WORLD_EXECUTE)
set(z2v_deb_changelog ${CMAKE_BINARY_DIR}/debian/changelog)
configure_file(cmake/debian/changelog.in ${z2v_deb_changelog} @ONLY)
add_custom_command(
  OUTPUT ${z2v_deb_changelog}.gz
  COMMAND gzip -9nkf ${z2v_deb_changelog}
  DEPENDS ${z2v_deb_changelog}
  VERBATIM)
add_custom_target(debian_changelog ALL DEPENDS ${z2v_deb_changelog}.gz)
install(FILES cmake/debian/copyright ${z2v_deb_changelog}.gz
        DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT debian EXCLUDE_FROM_ALL)
install(FILES cmake/debian/zab2veda.lintian-overrides
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides RENAME zab2veda
        COMPONENT debian EXCLUDE_FROM_ALL)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/cmake/debian/compress_manpages.cmake)
set(CPACK_INSTALL_CMAKE_PROJECTS
    "${CMAKE_BINARY_DIR};${PROJECT_NAME};ALL;/" "${CMAKE_BINARY_DIR};${PROJECT_NAME};debian;/")

include(CPack)
