# Writes a header that holds text files as constants:
#   cmake -DOUT=header -DNAMESPACE=name -DFILES=k_name=file[|file...],... -P embed.cmake
# Files that are joined by '|' stand one behind the other. Beside each constant stands its sum as the
# policy of a page names it: k_name_sum, "sha256-" and base64.
# A file must not hold the end mark of the raw string.

set(digits ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
# Three hexadecimal digits are two of base64; a sum of 32 bytes leaves one over.
function(make_sum result content)
  string(SHA256 hex "${content}")
  set(sum)
  foreach(at RANGE 0 63 3)
    string(SUBSTRING "${hex}00" ${at} 3 group)
    math(EXPR high "0x${group} >> 6")
    math(EXPR low "0x${group} & 63")
    string(SUBSTRING ${digits} ${high} 1 first)
    string(SUBSTRING ${digits} ${low} 1 second)
    string(APPEND sum ${first}${second})
  endforeach()
  string(REGEX REPLACE "A$" "=" sum ${sum})
  set(${result} "sha256-${sum}" PARENT_SCOPE)
endfunction()

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
  make_sum(sum "${content}")
  string(APPEND text "inline constexpr char ${name}[] = R\"~~~~(${content})~~~~\";\n"
                     "inline constexpr char ${name}_sum[] = \"${sum}\";\n")
endforeach()
string(APPEND text "}  // namespace ${NAMESPACE}\n")
file(WRITE "${OUT}" "${text}")
