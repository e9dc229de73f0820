# fuzz_vdd: arbitrary bytes as a VDD file, loaded and summarised. The reader's
# sources are compiled into the target itself so that libFuzzer sees their
# coverage; core and runtime are linked as they are.
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  get_target_property(_vdd_sources z2v_vdd SOURCES)
  get_target_property(_vdd_dir z2v_vdd SOURCE_DIR)
  list(TRANSFORM _vdd_sources PREPEND "${_vdd_dir}/")
  add_executable(fuzz_vdd ${CMAKE_CURRENT_LIST_DIR}/fuzz_vdd.cc ${_vdd_sources})
  target_compile_options(fuzz_vdd PRIVATE -fsanitize=fuzzer)
  target_link_options(fuzz_vdd PRIVATE -fsanitize=fuzzer)
  target_link_libraries(fuzz_vdd PRIVATE z2v_core z2v_runtime)
endif()
