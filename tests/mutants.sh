#!/usr/bin/env bash
# mutants.sh [LAYER [COUNT [SEED [units]]]]: how many small faults (a turned condition, an offset,
# a constant) in lib, gatherer, probes or tools the tests notice. Works in a copy of the committed
# tree below MUTANTS (a folder of /tmp by default), which also keeps what was found: a second call
# goes on where the first one ended and asks again only those that lived. Needs root, as the run
# tests do.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
copy=${MUTANTS:-${TMPDIR:-/tmp}/kestrel-mutants}
mkdir -p "$copy"
[ -d "$copy/tree" ] || git clone -q "$root" "$copy/tree"
git -C "$copy/tree" fetch -q "$root" HEAD
git -C "$copy/tree" update-index -q --refresh || true
git -C "$copy/tree" reset -q --hard FETCH_HEAD

# What costs most is a unit's headers and the link: headers are read once, and no line is optimised
# or described for a debugger. Warnings kill no fault.
flags="-O0 -g0 -w"
if [ ! -f "$copy/all.h.gch" ]; then
  printf '#include <%s>\n' algorithm array chrono functional map memory optional set span string \
    string_view vector > "$copy/all.h"
  ${CXX:-g++} $flags -std=c++20 -D_FILE_OFFSET_BITS=64 -x c++-header "$copy/all.h" \
    -o "$copy/all.h.gch"
fi
for linker in mold lld gold bfd; do
  if command -v "ld.$linker" > /dev/null; then break; fi
done
# The time of the last commit would build anew what tells it.
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-0}
env -u CMAKE_CXX_COMPILER_LAUNCHER cmake -S "$copy/tree" -B "$copy/build" -G Ninja \
  -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="$flags -include $copy/all.h" \
  -DCMAKE_EXE_LINKER_FLAGS="-fuse-ld=$linker" -DKESTREL_TESTS=ON > /dev/null
for layer in ${1:-lib gatherer probes tools}; do
  nice -n 15 python3 "$root/tests/mutants.py" "$copy" "$layer" "${2:-60}" "${3:-1}" "${@:4}"
done
