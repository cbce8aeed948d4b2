# vorn_add_plugin(<target> SOURCES <src>... [OUTPUT_NAME <name>] [OUTPUT_DIRECTORY <dir>])
#
# Builds a plug-in module "<name>.vpl" that calls the VORN API through the
# exported symbols of libvorn.so, exactly as a third-party plug-in would.
function(vorn_add_plugin target)
  cmake_parse_arguments(ARG "" "OUTPUT_NAME;OUTPUT_DIRECTORY" "SOURCES" ${ARGN})
  if(NOT ARG_SOURCES)
    message(FATAL_ERROR "vorn_add_plugin(${target}): SOURCES is required")
  endif()
  if(NOT ARG_OUTPUT_NAME)
    set(ARG_OUTPUT_NAME ${target})
  endif()
  add_library(${target} MODULE ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE VORN::vorn)
  set_target_properties(${target} PROPERTIES
    PREFIX ""
    SUFFIX ".vpl"
    OUTPUT_NAME ${ARG_OUTPUT_NAME}
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden)
  if(ARG_OUTPUT_DIRECTORY)
    set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${ARG_OUTPUT_DIRECTORY})
  endif()
endfunction()
