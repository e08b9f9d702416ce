# Writes a header that holds text files as constants:
#   cmake -DOUT=header -DNAMESPACE=name -DFILES=k_name=file,... -P embed.cmake
# A file must not hold the end mark of the raw string.
set(text "// Made by embed.cmake.\n#pragma once\n\nnamespace ${NAMESPACE} {\n")
string(REPLACE "," ";" FILES "${FILES}")
foreach(pair IN LISTS FILES)
  string(REGEX MATCH "^([^=]+)=(.+)$" matched "${pair}")
  set(name ${CMAKE_MATCH_1})
  file(READ "${CMAKE_MATCH_2}" content)
  string(FIND "${content}" ")~~~~\"" mark)
  if(NOT mark EQUAL -1)
    message(FATAL_ERROR "${CMAKE_MATCH_2} holds the end mark of a raw string")
  endif()
  string(APPEND text "inline constexpr char ${name}[] = R\"~~~~(${content})~~~~\";\n")
endforeach()
string(APPEND text "}  // namespace ${NAMESPACE}\n")
file(WRITE "${OUT}" "${text}")
