# fuzz_convert and fuzz_dump: whole zab2veda runs in the target's process
# (in_process_run.h): the driver, the VDD reader, the VEDA writers, the ZAB
# binding, core and runtime are compiled into the target with the halt hook,
# and the ZAB library is loaded as zab2veda loads it, from the target's folder
# (build-asan/bin, where the library is built too). The checksum code seals
# the mutated ZAB files.
set(_run_sources)
foreach(lib z2v_driver z2v_veda z2v_vdd z2v_zab z2v_core z2v_runtime)
  z2v_sources_of(_s ${lib})
  list(APPEND _run_sources ${_s})
endforeach()
foreach(name convert dump)
  z2v_fuzz_target(fuzz_${name} ${CMAKE_CURRENT_LIST_DIR}/fuzz_${name}.cc ${_run_sources}
    ${CMAKE_SOURCE_DIR}/src/zablib/checksum.cc)
  target_compile_definitions(fuzz_${name} PRIVATE Z2V_HALT_HOOK)
  target_include_directories(fuzz_${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests/zablib)
  target_link_libraries(fuzz_${name} PRIVATE ${CMAKE_DL_LIBS})
  add_dependencies(fuzz_${name} zabcclib64)
endforeach()
