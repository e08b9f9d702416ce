# The headers that nearly every source begins with, compiled once for the builds that are made often.
# What is delivered is built without (CMAKE_DISABLE_PRECOMPILE_HEADERS), so every file still has to
# include what it uses.
set(KESTREL_COMMON_HEADERS <algorithm> <array> <cerrno> <cstdint> <cstdio> <cstring> <functional>
    <map> <memory> <optional> <span> <string> <string_view> <vector>)

# Targets of the same options share what the first one of them compiled.
function(kestrel_precompile target)
  if(NOT TARGET kestrel_lib OR target STREQUAL kestrel_lib)
    target_precompile_headers(${target} PRIVATE ${KESTREL_COMMON_HEADERS})
  else()
    target_precompile_headers(${target} REUSE_FROM kestrel_lib)
  endif()
endfunction()
