# What bench_endtoend is compared with. The servers are programs that it starts when they are there;
# Redis needs the library that reads its replies, too.

target_link_libraries(bench_endtoend PRIVATE bench_processes)
target_sources(bench_endtoend PRIVATE peers/EndToEndServers.cpp peers/EndToEndOvsdb.cpp)
find_path(HIREDIS_INCLUDE_DIR hiredis/hiredis.h)
find_library(HIREDIS_LIBRARY hiredis)
if(HIREDIS_INCLUDE_DIR AND HIREDIS_LIBRARY)
   target_compile_definitions(bench_endtoend PRIVATE GANTRY_BENCH_REDIS)
   target_sources(bench_endtoend PRIVATE peers/EndToEndRedis.cpp)
   target_include_directories(bench_endtoend SYSTEM PRIVATE ${HIREDIS_INCLUDE_DIR})
   target_link_libraries(bench_endtoend PRIVATE ${HIREDIS_LIBRARY})
endif()
