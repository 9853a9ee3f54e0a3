# What bench_wire is compared with. What their compilers make does not meet the tree's warnings.

set(wire_output ${CMAKE_CURRENT_BINARY_DIR}/wire)
file(MAKE_DIRECTORY ${wire_output})
set(wire_schema ${CMAKE_CURRENT_SOURCE_DIR}/peers/WireChange)

find_program(FLATC_PROGRAM flatc)
find_path(FLATBUFFERS_INCLUDE_DIR flatbuffers/flatbuffers.h)
if(FLATC_PROGRAM AND FLATBUFFERS_INCLUDE_DIR)
   add_custom_command(OUTPUT ${wire_output}/WireChange_generated.h
      COMMAND ${FLATC_PROGRAM} --cpp -o ${wire_output} ${wire_schema}.fbs
      DEPENDS ${wire_schema}.fbs VERBATIM)
   target_sources(bench_wire PRIVATE
      peers/WireFlatBuffers.cpp ${wire_output}/WireChange_generated.h)
   target_include_directories(bench_wire SYSTEM PRIVATE ${wire_output} ${FLATBUFFERS_INCLUDE_DIR})
endif()

find_package(Protobuf QUIET)
if(Protobuf_FOUND AND Protobuf_PROTOC_EXECUTABLE)
   add_custom_command(OUTPUT ${wire_output}/WireChange.pb.cc ${wire_output}/WireChange.pb.h
      COMMAND ${Protobuf_PROTOC_EXECUTABLE} --cpp_out=${wire_output}
         -I${CMAKE_CURRENT_SOURCE_DIR}/peers ${wire_schema}.proto
      DEPENDS ${wire_schema}.proto VERBATIM)
   add_library(bench_wire_protobuf STATIC ${wire_output}/WireChange.pb.cc)
   target_compile_options(bench_wire_protobuf PRIVATE -w)
   target_include_directories(bench_wire_protobuf SYSTEM PUBLIC ${wire_output})
   target_link_libraries(bench_wire_protobuf PUBLIC protobuf::libprotobuf)
   target_sources(bench_wire PRIVATE peers/WireProtobuf.cpp ${wire_output}/WireChange.pb.h)
   target_link_libraries(bench_wire PRIVATE bench_wire_protobuf)
endif()
