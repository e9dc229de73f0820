# fuzz_number_text: the number format of data values against the C library's
# exact 15-digit rounding, and its layout rules.
z2v_sources_of(_core_sources z2v_core)
z2v_sources_of(_runtime_sources z2v_runtime)
z2v_fuzz_target(fuzz_number_text ${CMAKE_CURRENT_LIST_DIR}/fuzz_number_text.cc ${_core_sources}
  ${_runtime_sources})
