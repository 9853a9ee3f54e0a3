# What bench_slope shares with bench_endtoend.

target_link_libraries(bench_slope PRIVATE bench_processes)
