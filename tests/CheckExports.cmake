# Compares the functions exported by LIB with the union of the lists in
# EXPECTED_DIR/*.txt (one name per line, '#' starts a comment). Fails with
# the names that leak or are missing.
execute_process(COMMAND ${CMAKE_COMMAND} -DLIB=${LIB} -DOUT=${CMAKE_CURRENT_BINARY_DIR}/actual_exports.txt
                -P ${CMAKE_CURRENT_LIST_DIR}/../cmake/ListExports.cmake RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "could not list the exports of ${LIB}")
endif()
file(STRINGS ${CMAKE_CURRENT_BINARY_DIR}/actual_exports.txt actual)

file(GLOB lists ${EXPECTED_DIR}/*.txt)
set(expected "")
foreach(list_file IN LISTS lists)
  file(STRINGS ${list_file} lines REGEX "^[ \t]*[^# \t]")
  foreach(line IN LISTS lines)
    string(STRIP "${line}" line)
    list(APPEND expected "${line}")
  endforeach()
endforeach()

set(leaked ${actual})
list(REMOVE_ITEM leaked ${expected})
set(missing ${expected})
list(REMOVE_ITEM missing ${actual})
if(leaked OR missing)
  message(FATAL_ERROR "export list mismatch\n  exported but not expected: ${leaked}\n  expected but not exported: ${missing}")
endif()
list(LENGTH actual count)
message(STATUS "${count} exported functions, as expected")
