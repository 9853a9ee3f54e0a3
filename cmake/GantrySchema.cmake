# Compiles schemas into C++ as part of a target. Used by the tree itself and, installed, by every
# project that finds the package.
#
#   gantry_add_schema(target file.fen ...
#                     [ROOT directory] [OUTPUT_DIR directory] [IMPORT_PATH directory ...])
#
# Each schema `ROOT/a/B.fen` becomes `OUTPUT_DIR/a/B.fen.h` and `OUTPUT_DIR/a/B.fen.cpp`; both are
# sources of the target, which includes the header as <a/B.fen.h>. Imports of a schema are looked
# up below ROOT, then below each IMPORT_PATH. ROOT is the current source directory by default,
# OUTPUT_DIR `generated` in the current binary directory. The target must link Gantry::Gantry.

function(gantry_add_schema target)
   cmake_parse_arguments(PARSE_ARGV 1 arg "" "ROOT;OUTPUT_DIR" "IMPORT_PATH")
   if(NOT arg_ROOT)
      set(arg_ROOT ${CMAKE_CURRENT_SOURCE_DIR})
      if(GANTRY_SCHEMA_ROOT)
         set(arg_ROOT ${GANTRY_SCHEMA_ROOT})
      endif()
   endif()
   if(NOT arg_OUTPUT_DIR)
      set(arg_OUTPUT_DIR ${CMAKE_CURRENT_BINARY_DIR}/generated)
      if(GANTRY_SCHEMA_OUTPUT)
         set(arg_OUTPUT_DIR ${GANTRY_SCHEMA_OUTPUT})
      endif()
   endif()
   set(imports --import-path ${arg_ROOT})
   get_property(installed GLOBAL PROPERTY GANTRY_SCHEMA_IMPORT_PATH)
   foreach(directory IN LISTS arg_IMPORT_PATH installed)
      list(APPEND imports --import-path ${directory})
   endforeach()
   set(produced)
   foreach(file IN LISTS arg_UNPARSED_ARGUMENTS)
      cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR} NORMALIZE)
      cmake_path(RELATIVE_PATH file BASE_DIRECTORY ${arg_ROOT} OUTPUT_VARIABLE name)
      set(base ${arg_OUTPUT_DIR}/${name})
      cmake_path(GET base PARENT_PATH directory)
      file(MAKE_DIRECTORY ${directory})
      add_custom_command(
         OUTPUT ${base}.h ${base}.cpp
         COMMAND Gantry::fenc ${imports} --output-dir ${arg_OUTPUT_DIR} --depfile ${base}.d ${file}
         DEPENDS ${file} Gantry::fenc
         DEPFILE ${base}.d
         COMMENT "Compiling schema ${name}"
         VERBATIM)
      list(APPEND produced ${base}.h ${base}.cpp)
   endforeach()
   target_sources(${target} PRIVATE ${produced})
   target_include_directories(${target} PRIVATE ${arg_OUTPUT_DIR})
endfunction()
