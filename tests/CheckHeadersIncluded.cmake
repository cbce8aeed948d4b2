# Fails when a public header is missing from the header compile test.
file(GLOB headers RELATIVE ${INCLUDE_DIR} ${INCLUDE_DIR}/*.h)
file(READ ${SOURCES} text)
foreach(h IN LISTS headers)
  string(FIND "${text}" "VORN/${h}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "public header ${h} is not included by ${SOURCES}")
  endif()
endforeach()
