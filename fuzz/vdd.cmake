# fuzz_vdd: arbitrary bytes as a VDD file, loaded from memory and summarised.
# The reader's sources, and those of core and runtime under it, are compiled
# into the target itself so that libFuzzer sees their coverage.
z2v_sources_of(_vdd_sources z2v_vdd)
z2v_sources_of(_core_sources z2v_core)
z2v_sources_of(_runtime_sources z2v_runtime)
z2v_fuzz_target(fuzz_vdd ${CMAKE_CURRENT_LIST_DIR}/fuzz_vdd.cc ${_vdd_sources} ${_core_sources}
  ${_runtime_sources})
