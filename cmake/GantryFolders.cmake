# Functions that turn folders of sources into targets.

add_custom_target(gantry_all_schemas)

# Puts into `result` the directories, relative to the current one, that directly hold a .cpp file.
function(gantry_source_directories result)
   file(GLOB_RECURSE files RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} CONFIGURE_DEPENDS *.cpp)
   set(directories)
   foreach(file IN LISTS files)
      cmake_path(GET file PARENT_PATH directory)
      list(APPEND directories "${directory}")
   endforeach()
   list(REMOVE_DUPLICATES directories)
   set(${result} ${directories} PARENT_SCOPE)
endfunction()

# Compiles the schemas of the list into the target; without a schema compiler it must be empty.
# The target TARGET_schemas produces them alone, gantry_all_schemas those of the whole tree.
function(gantry_target_schemas target)
   if(NOT ARGN)
      return()
   endif()
   if(NOT TARGET Gantry::fenc)
      message(FATAL_ERROR "${target} has schemas, but there is no fenc/ to compile them.")
   endif()
   gantry_add_schema(${target} ${ARGN})
   set(headers)
   foreach(schema IN LISTS ARGN)
      cmake_path(RELATIVE_PATH schema BASE_DIRECTORY ${GANTRY_SCHEMA_ROOT} OUTPUT_VARIABLE name)
      list(APPEND headers ${GANTRY_SCHEMA_OUTPUT}/${name}.h)
   endforeach()
   add_custom_target(${target}_schemas DEPENDS ${headers})
   add_dependencies(gantry_all_schemas ${target}_schemas)
endfunction()

# What every program of the tree needs: the library, the tree's headers and the generated ones,
# and that the library's schemas are compiled first.
function(gantry_target_uses_library target)
   target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
   if(TARGET Gantry)
      target_link_libraries(${target} PRIVATE Gantry::Gantry)
      add_dependencies(${target} gantry_schemas)
   endif()
endfunction()
