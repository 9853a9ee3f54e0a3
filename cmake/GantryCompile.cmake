# How everything in the tree is compiled: language, warnings, visibility, sanitizers, build types.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
# Link-time optimisation stays off: it may merge or reorder what a data section lays out by hand.
set(CMAKE_INTERPROCEDURAL_OPTIMIZATION OFF)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
   set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()
# Line tables are enough for a backtrace and cost little; no NDEBUG, since assertions stay on.
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -g1")
# A fuzzer runs its target many thousand times, a test runs once: what is not optimised compiles in
# half the time, which is most of the time of a tier.
if(GANTRY_LIBFUZZER)
   set(CMAKE_CXX_FLAGS_SANITIZE "-O1 -g1 -fno-omit-frame-pointer")
else()
   set(CMAKE_CXX_FLAGS_SANITIZE "-O0 -g1 -fno-omit-frame-pointer")
endif()

if(NOT CMAKE_CXX_COMPILER_LAUNCHER)
   find_program(GANTRY_CCACHE ccache)
   if(GANTRY_CCACHE)
      # Paths below the source tree count as relative, so that several working trees share results.
      set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
         CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${GANTRY_CCACHE})
   endif()
endif()

# Messages name files as the tree does, wherever it stands.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
add_compile_options(-Wall -Wextra -Wshadow -Wconversion -fno-semantic-interposition)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
   # GCC 12 takes a literal joined to a string for an overlapping copy (its bug 105651).
   add_compile_options(-Wno-restrict)
endif()
# The slots of notifiee classes are empty until somebody overrides them, so the call that g++ would
# guess, the empty one, is the one that is never made.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
   add_compile_options(-fno-devirtualize-speculatively)
endif()
if(GANTRY_WERROR)
   add_compile_options(-Werror)
endif()

if(GANTRY_SANITIZE)
   add_compile_options(-fsanitize=${GANTRY_SANITIZE} -fno-sanitize-recover=all)
   if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # The checks that a sanitizer adds make g++ see paths on which nothing is initialised.
      add_compile_options(-Wno-maybe-uninitialized)
   endif()
   add_link_options(-fsanitize=${GANTRY_SANITIZE})
endif()
if(GANTRY_LIBFUZZER)
   if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
      message(FATAL_ERROR "libFuzzer needs clang: configure with the preset `fuzz`.")
   endif()
   add_compile_options(-fsanitize=fuzzer-no-link)
endif()
