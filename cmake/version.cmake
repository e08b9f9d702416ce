# The version stamp: reproducible, from SOURCE_DATE_EPOCH or the last commit.
set(epoch "$ENV{SOURCE_DATE_EPOCH}")
if(epoch STREQUAL "")
  execute_process(COMMAND git -C ${CMAKE_SOURCE_DIR} log -1 --format=%ct
                  OUTPUT_VARIABLE epoch OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(epoch STREQUAL "")
  set(epoch 0)
endif()
set(ENV{SOURCE_DATE_EPOCH} ${epoch})
string(TIMESTAMP KESTREL_BUILD_DATE "%Y-%m-%d" UTC)
string(TIMESTAMP KESTREL_BUILD_TIME "%H:%M:%S" UTC)

add_library(kestrel_version INTERFACE)
target_compile_definitions(kestrel_version INTERFACE
  KESTREL_VERSION="${PROJECT_VERSION}"
  KESTREL_BUILD_DATE="${KESTREL_BUILD_DATE}"
  KESTREL_BUILD_TIME="${KESTREL_BUILD_TIME}"
  KESTREL_BUILD_USER="${KESTREL_BUILD_USER}"
  KESTREL_BUILD_HOST="${KESTREL_BUILD_HOST}")
