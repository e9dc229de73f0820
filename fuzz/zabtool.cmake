# fuzz_csv_build: arbitrary bytes as the CSV source of `zabtool build`. The
# import's sources are compiled into the target so that libFuzzer sees their
# coverage; the ZAB library core is linked as it is.
set(zabtool_dir ${CMAKE_SOURCE_DIR}/src/zabtool)
z2v_fuzz_target(fuzz_csv_build ${CMAKE_CURRENT_LIST_DIR}/fuzz_csv_build.cc
  ${zabtool_dir}/csv_build.cc ${zabtool_dir}/csv_fields.cc ${zabtool_dir}/output.cc)
target_link_libraries(fuzz_csv_build PRIVATE z2v_zablib_core)
