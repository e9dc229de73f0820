# Run by CPack on the staged package, before it is packed: Debian wants
# manual pages compressed with gzip -9n. Pages installed uncompressed get
# compressed here; a link to a page is made a link to the compressed page.
file(GLOB_RECURSE z2v_pages LIST_DIRECTORIES false
     "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/share/man/*")
foreach(page IN LISTS z2v_pages)
  if(page MATCHES "\\.gz$")
    continue()
  endif()
  if(IS_SYMLINK "${page}")
    file(READ_SYMLINK "${page}" target)
    file(REMOVE "${page}")
    if(NOT target MATCHES "\\.gz$")
      string(APPEND target ".gz")
    endif()
    file(CREATE_LINK "${target}" "${page}.gz" SYMBOLIC)
  else()
    execute_process(COMMAND gzip -9nf "${page}" RESULT_VARIABLE rc)
    if(NOT rc EQUAL 0)
      message(FATAL_ERROR "gzip failed on ${page}")
    endif()
  endif()
endforeach()
