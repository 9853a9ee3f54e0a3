# Reads cmake/Layers.txt: sets GANTRY_FOLDERS to the top folders of the library, lowest first.

set_property(DIRECTORY APPEND PROPERTY
   CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/Layers.txt)
file(STRINGS ${PROJECT_SOURCE_DIR}/cmake/Layers.txt gantry_layer_lines REGEX "^[a-z]")
set(GANTRY_FOLDERS)
foreach(line IN LISTS gantry_layer_lines)
   string(REGEX REPLACE "[/:].*" "" folder "${line}")
   list(APPEND GANTRY_FOLDERS ${folder})
endforeach()
list(REMOVE_DUPLICATES GANTRY_FOLDERS)
