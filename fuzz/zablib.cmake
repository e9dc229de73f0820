# fuzz_zab_open: arbitrary bytes as a ZAB file, opened as they are and with
# every checksum recomputed (so that mutations reach the structure checks),
# through the C++ reader and through the C ABI; everything readable is read.
# The library sources are compiled into the target so that libFuzzer sees
# their coverage.
set(zablib_dir ${CMAKE_SOURCE_DIR}/src/zablib)
set(zablib_fuzz_sources
  ${zablib_dir}/checksum.cc
  ${zablib_dir}/record_check.cc
  ${zablib_dir}/zab_error.cc
  ${zablib_dir}/zab_reader.cc
  ${zablib_dir}/zab_writer.cc
  ${zablib_dir}/c_api.cc
  ${zablib_dir}/c_api_signatures.cc)
z2v_fuzz_target(fuzz_zab_open ${CMAKE_CURRENT_LIST_DIR}/fuzz_zab_open.cc ${zablib_fuzz_sources})
target_include_directories(fuzz_zab_open PRIVATE ${CMAKE_SOURCE_DIR}/tests/zablib)

# fuzz_c_api: the C interface as a fuzzed sequence of calls on two objects,
# the write side included (fuzz_c_api.cc lists the checks).
z2v_fuzz_target(fuzz_c_api ${CMAKE_CURRENT_LIST_DIR}/fuzz_c_api.cc ${zablib_fuzz_sources})

# fuzz_zabtool_json: zabtool's JSON reader, checked by dump-then-build
# equality; the JSON code and the library core are compiled in.
find_package(nlohmann_json 3 REQUIRED)
z2v_fuzz_target(fuzz_zabtool_json ${CMAKE_CURRENT_LIST_DIR}/fuzz_zabtool_json.cc
  ${CMAKE_SOURCE_DIR}/src/zabtool/json_build.cc ${CMAKE_SOURCE_DIR}/src/zabtool/json_dump.cc
  ${CMAKE_SOURCE_DIR}/src/zabtool/value_text.cc ${CMAKE_SOURCE_DIR}/src/zabtool/output.cc
  ${CMAKE_SOURCE_DIR}/src/zabtool/progress.cc ${zablib_fuzz_sources})
target_link_libraries(fuzz_zabtool_json PRIVATE nlohmann_json::nlohmann_json)
