# What bench_converge shares with bench_endtoend.

target_link_libraries(bench_converge PRIVATE bench_processes)
