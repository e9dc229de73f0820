# VDD reader: load time of generated VDD files of 250k, 500k and 1M lines.
# A plain program that prints its figures: bench_vdd [max-lines] (default 1000000).
add_executable(bench_vdd ${CMAKE_CURRENT_SOURCE_DIR}/vdd_load_bench.cc)
target_link_libraries(bench_vdd PRIVATE z2v_vdd)
