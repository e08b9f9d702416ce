# What every target is built with.
add_library(kestrel_settings INTERFACE)
target_include_directories(kestrel_settings INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_definitions(kestrel_settings INTERFACE _FILE_OFFSET_BITS=64)
target_compile_options(kestrel_settings INTERFACE -ffunction-sections)
if(KESTREL_SANITIZE)
  target_compile_options(kestrel_settings INTERFACE -fsanitize=address,undefined
                         -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(kestrel_settings INTERFACE -fsanitize=address,undefined)
endif()
# Under the sanitizers GCC loses track of what is initialised.
if(KESTREL_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(kestrel_settings INTERFACE -Wno-maybe-uninitialized)
endif()
if(KESTREL_STATIC_RUNTIME)
  target_link_options(kestrel_settings INTERFACE -static-libstdc++ -static-libgcc)
endif()

add_library(kestrel_warnings INTERFACE)
target_compile_options(kestrel_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                       -Wformat=2 -Werror)
# GCC 12 takes std::string's own copies for overlapping ones (GCC bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(kestrel_warnings INTERFACE -Wno-restrict)
  # Through a precompiled header it sees the library's own code as ours, with the same mistake.
  if(NOT CMAKE_DISABLE_PRECOMPILE_HEADERS)
    target_compile_options(kestrel_warnings INTERFACE -Wno-array-bounds -Wno-stringop-overflow)
  endif()
endif()

# For programs: functions that they do not call stay out.
add_library(kestrel_slim INTERFACE)
target_link_options(kestrel_slim INTERFACE -Wl,--gc-sections)
