# What `cmake --install` gives: headers, schemas and generated headers, the library, fenc, the host
# programs, a CMake package and a pkg-config file. All of it can be moved as a whole.

if(NOT TARGET Gantry OR NOT TARGET fenc)
   return()
endif()
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Gantry)

install(TARGETS Gantry fenc EXPORT GantryTargets)
install(EXPORT GantryTargets NAMESPACE Gantry:: DESTINATION ${package_dir})
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR}
   OUTPUT_VARIABLE bin_to_lib)
foreach(program IN LISTS GANTRY_HOST_PROGRAMS)
   set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
   install(TARGETS ${program})
endforeach()

# Schemas come along, since a schema of a user may import them.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/gantry ${GANTRY_SCHEMA_OUTPUT}/gantry
   DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
   FILES_MATCHING PATTERN "*.h" PATTERN "*.fen")

configure_package_config_file(
   ${PROJECT_SOURCE_DIR}/cmake/GantryConfig.cmake.in ${PROJECT_BINARY_DIR}/GantryConfig.cmake
   INSTALL_DESTINATION ${package_dir}
   PATH_VARS CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(
   ${PROJECT_BINARY_DIR}/GantryConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
   ${PROJECT_BINARY_DIR}/GantryConfig.cmake
   ${PROJECT_BINARY_DIR}/GantryConfigVersion.cmake
   ${PROJECT_SOURCE_DIR}/cmake/GantrySchema.cmake
   DESTINATION ${package_dir})

cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
   BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE GANTRY_PC_TO_PREFIX)
configure_file(
   ${PROJECT_SOURCE_DIR}/cmake/gantry.pc.in ${PROJECT_BINARY_DIR}/gantry.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/gantry.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
