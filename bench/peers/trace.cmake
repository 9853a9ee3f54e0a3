# What bench_trace is compared with.

find_package(spdlog QUIET)
if(spdlog_FOUND)
   target_compile_definitions(bench_trace PRIVATE GANTRY_BENCH_SPDLOG)
   target_link_libraries(bench_trace PRIVATE spdlog::spdlog)
endif()

find_path(LTTNG_UST_INCLUDE_DIR lttng/tracepoint.h)
find_library(LTTNG_UST_LIBRARY lttng-ust)
if(LTTNG_UST_INCLUDE_DIR AND LTTNG_UST_LIBRARY)
   # What its headers make of the tracepoint does not meet the tree's warnings.
   add_library(bench_trace_tracepoint STATIC peers/TraceTracepoint.cpp)
   target_compile_options(bench_trace_tracepoint PRIVATE -w)
   target_include_directories(bench_trace_tracepoint PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/peers)
   target_compile_definitions(bench_trace PRIVATE GANTRY_BENCH_LTTNG)
   target_include_directories(bench_trace SYSTEM PRIVATE ${LTTNG_UST_INCLUDE_DIR})
   target_link_libraries(bench_trace PRIVATE
      bench_trace_tracepoint ${LTTNG_UST_LIBRARY} ${CMAKE_DL_LIBS})
endif()
