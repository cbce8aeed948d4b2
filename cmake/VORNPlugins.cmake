# vorn_add_plugin(<name> [SOURCES] <src>... [FAT] [OUTPUT_NAME <file name>]
#                 [OUTPUT_DIRECTORY <dir>])
#
# The sources come as add_library takes them, right after the name
# (vorn_add_plugin(hello hello.c util.c)), or after the SOURCES keyword, or
# both.
#
# Builds a plug-in module the way the VORN loader expects it: a shared object
# named "<name>.vpl" (no "lib" prefix), position-independent, with hidden
# visibility so that only the entry points marked VORN_PLUGIN_ENTRY are
# exported, linked against libvorn.so (VORN::vorn). With FAT the module is
# laid out as a fat plug-in folder instead: "<dir>/<name>/64/lin.vpl".
#
# Works in the VORN build tree and, after find_package(VORN CONFIG), in any
# plug-in project built against the installed SDK.
function(vorn_add_plugin name)
  cmake_parse_arguments(ARG "FAT" "OUTPUT_NAME;OUTPUT_DIRECTORY" "SOURCES" ${ARGN})
  # Whatever is not a keyword or its value is a source file.
  list(APPEND ARG_SOURCES ${ARG_UNPARSED_ARGUMENTS})
  if(NOT ARG_SOURCES)
    message(FATAL_ERROR "vorn_add_plugin(${name}): no source files; list them after the "
                        "name, as for add_library: vorn_add_plugin(${name} ${name}.c)")
  endif()
  if(NOT ARG_OUTPUT_NAME)
    set(ARG_OUTPUT_NAME ${name})
  endif()
  if(NOT ARG_OUTPUT_DIRECTORY)
    set(ARG_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
  endif()
  add_library(${name} MODULE ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE VORN::vorn)
  set_target_properties(${name} PROPERTIES
    PREFIX ""
    SUFFIX ".vpl"
    POSITION_INDEPENDENT_CODE ON
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  if(ARG_FAT)
    set_target_properties(${name} PROPERTIES
      OUTPUT_NAME lin
      LIBRARY_OUTPUT_DIRECTORY ${ARG_OUTPUT_DIRECTORY}/${ARG_OUTPUT_NAME}/64)
  else()
    set_target_properties(${name} PROPERTIES
      OUTPUT_NAME ${ARG_OUTPUT_NAME}
      LIBRARY_OUTPUT_DIRECTORY ${ARG_OUTPUT_DIRECTORY})
  endif()
endfunction()
