# ZAB library: writing, validation and read speed, size and memory on a file
# from zabtool gen. A plain program that prints its figures:
# bench_zablib [records] [dir] (default 10000000 records in /tmp).
add_executable(bench_zablib ${CMAKE_CURRENT_SOURCE_DIR}/zablib_bench.cc)
target_link_libraries(bench_zablib PRIVATE zabcclib64 z2v_zabtool_lib)

# The bulk entry points: records from and into arrays, labels as lists.
# bench_bulk [records] [dir] (default 10000000 records in /tmp).
add_executable(bench_bulk ${CMAKE_CURRENT_SOURCE_DIR}/bulk_bench.cc)
target_link_libraries(bench_bulk PRIVATE zabcclib64)
