# Core: dblToStr and the hashed string lists. A plain program that prints its
# figures: bench_core [keys] (default 10000000).
add_executable(bench_core ${CMAKE_CURRENT_SOURCE_DIR}/core_bench.cc)
target_link_libraries(bench_core PRIVATE z2v_core)
