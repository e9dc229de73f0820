# fuzz_vdd: arbitrary bytes as a VDD file, loaded and summarised.
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  add_executable(fuzz_vdd ${CMAKE_CURRENT_LIST_DIR}/fuzz_vdd.cc)
  target_compile_options(fuzz_vdd PRIVATE -fsanitize=fuzzer)
  target_link_options(fuzz_vdd PRIVATE -fsanitize=fuzzer)
  target_link_libraries(fuzz_vdd PRIVATE z2v_vdd)
endif()
