# What `cmake --install` puts where (the programs and the library install
# themselves from src/), and the Debian package built from it by CPack.
#
#   bin/                      zab2veda, zabtool
#   <libdir>/                 libzabcclib64.so.<version>, .so.<major>, .so
#   <libdir>/pkgconfig/       zabcclib.pc
#   <libdir>/cmake/zabcclib/  find_package(zabcclib): zabcclib::zabcclib
#   include/                  zabcclib.h
#   lib/python3/dist-packages/zab   the Python package
#   share/doc/zab2veda/       README.md, LICENSE, CHANGELOG.md, docs/, examples/
#
# Every path below is relative to the prefix, so an installed tree works
# wherever it is moved.
include(CMakePackageConfigHelpers)

set(Z2V_INSTALL_PYTHONDIR lib/python3/dist-packages CACHE PATH
    "Where the Python package zab is installed (relative to the prefix)")
set(Z2V_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/zabcclib)

# z2v_relative(OUT FROM TO): the path from the installed folder FROM to the
# installed folder TO (both relative to the prefix; an absolute TO stays).
function(z2v_relative out from to)
  if(IS_ABSOLUTE "${to}")
    set(${out} "${to}" PARENT_SCOPE)
  else()
    file(RELATIVE_PATH rel "/prefix/${from}" "/prefix/${to}")
    string(REGEX REPLACE "/$" "" rel "${rel}")
    if(rel STREQUAL "")
      set(rel ".")
    endif()
    set(${out} "${rel}" PARENT_SCOPE)
  endif()
endfunction()

# ---- documentation and examples --------------------------------------------
install(FILES README.md LICENSE CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
file(GLOB z2v_docs ${CMAKE_SOURCE_DIR}/docs/*.md)
install(FILES ${z2v_docs} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)

# The transport example with its ZAB file, built from the JSON form by zabtool.
set(z2v_example_zab ${CMAKE_BINARY_DIR}/examples/transport/transport.zab)
add_custom_command(
  OUTPUT ${z2v_example_zab}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/examples/transport
  COMMAND zabtool build ${CMAKE_SOURCE_DIR}/examples/transport/transport.json ${z2v_example_zab}
  DEPENDS zabtool ${CMAKE_SOURCE_DIR}/examples/transport/transport.json
  COMMENT "Building the transport example's ZAB file"
  VERBATIM)
add_custom_target(example_zab ALL DEPENDS ${z2v_example_zab})
install(FILES examples/transport/transport.json examples/transport/transport.vdd
              ${z2v_example_zab}
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples/transport)
install(FILES examples/c-writer/writer.c examples/c-writer/CMakeLists.txt
              examples/c-writer/Makefile examples/c-writer/mills.vdd
              examples/c-writer/README.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples/c-writer)

# ---- the Python package -------------------------------------------------------
# _installed.py tells the installed package where the library is, relative
# to itself; a checkout has no such file.
z2v_relative(z2v_py_to_lib ${Z2V_INSTALL_PYTHONDIR}/zab ${CMAKE_INSTALL_LIBDIR})
file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/python/_installed.py
     CONTENT "# Written at build time: where the library was installed, from this folder.\nLIBRARY_DIR = \"${z2v_py_to_lib}\"\n")
install(FILES python/zab/__init__.py python/zab/_lib.py ${CMAKE_BINARY_DIR}/python/_installed.py
        DESTINATION ${Z2V_INSTALL_PYTHONDIR}/zab)

# ---- pkg-config and the CMake package of the library ---------------------------
z2v_relative(Z2V_PC_TO_PREFIX ${CMAKE_INSTALL_LIBDIR}/pkgconfig .)
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(Z2V_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(Z2V_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
configure_file(cmake/zabcclib.pc.in ${CMAKE_BINARY_DIR}/zabcclib.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zabcclib.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(EXPORT zabcclibTargets NAMESPACE zabcclib:: DESTINATION ${Z2V_INSTALL_CMAKEDIR})
configure_package_config_file(cmake/zabcclibConfig.cmake.in
  ${CMAKE_BINARY_DIR}/zabcclibConfig.cmake INSTALL_DESTINATION ${Z2V_INSTALL_CMAKEDIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/zabcclibConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/zabcclibConfig.cmake
              ${CMAKE_BINARY_DIR}/zabcclibConfigVersion.cmake
        DESTINATION ${Z2V_INSTALL_CMAKEDIR})

include(cmake/packaging.cmake)
