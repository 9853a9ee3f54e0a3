# The listeners of bench_notify, out of its sight, and what it is compared with.

target_sources(bench_notify PRIVATE peers/NotifyListeners.cpp peers/NotifyPeers.cpp)

find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
   pkg_check_modules(BENCH_SIGC QUIET IMPORTED_TARGET sigc++-3.0)
   pkg_check_modules(BENCH_GOBJECT QUIET IMPORTED_TARGET gobject-2.0)
   foreach(peer SIGC GOBJECT)
      if(BENCH_${peer}_FOUND)
         target_compile_definitions(bench_notify PRIVATE GANTRY_BENCH_${peer})
         target_link_libraries(bench_notify PRIVATE PkgConfig::BENCH_${peer})
      endif()
   endforeach()
endif()

find_package(Qt6 QUIET COMPONENTS Core)
if(Qt6_FOUND)
   add_library(bench_notify_qt STATIC peers/NotifyQt.cpp)
   # What its compiler of signals makes does not meet the tree's warnings.
   target_compile_options(bench_notify_qt PRIVATE -w)
   set_target_properties(bench_notify_qt PROPERTIES AUTOMOC ON)
   target_link_libraries(bench_notify_qt PUBLIC Qt6::Core)
   target_compile_definitions(bench_notify PRIVATE GANTRY_BENCH_QT QT_NO_KEYWORDS)
   target_link_libraries(bench_notify PRIVATE bench_notify_qt)
endif()
