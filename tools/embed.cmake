# Writes a header that holds text files as constants:
#   cmake -DOUT=header -DNAMESPACE=name -DFILES=k_name=file[|file...],... -P embed.cmake
# Files that are joined by '|' stand one behind the other.
# A file must not hold the end mark of the raw string.
set(text "// Made by embed.cmake.\n#pragma once\n\nnamespace ${NAMESPACE} {\n")
string(REPLACE "," ";" FILES "${FILES}")
foreach(pair IN LISTS FILES)
  string(REGEX MATCH "^([^=]+)=(.+)$" matched "${pair}")
  set(name ${CMAKE_MATCH_1})
  string(REPLACE "|" ";" parts "${CMAKE_MATCH_2}")
  set(content)
  foreach(part IN LISTS parts)
    file(READ "${part}" piece)
    string(APPEND content "${piece}")
  endforeach()
  string(FIND "${content}" ")~~~~\"" mark)
  if(NOT mark EQUAL -1)
    message(FATAL_ERROR "${CMAKE_MATCH_2} holds the end mark of a raw string")
  endif()
  string(APPEND text "inline constexpr char ${name}[] = R\"~~~~(${content})~~~~\";\n")
endforeach()
string(APPEND text "}  // namespace ${NAMESPACE}\n")
file(WRITE "${OUT}" "${text}")
