#!/usr/bin/env bash
# mutants.sh [LAYER [COUNT [SEED]]]: how many small faults (a turned condition, an offset, a constant)
# in lib, gatherer, probes or tools the tests notice. Works in a copy of the committed tree; takes from
# seconds to a minute a fault.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
git clone -q "$root" "$copy/tree"
cmake -S "$copy/tree" -B "$copy/build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKESTREL_TESTS=ON > /dev/null
ninja -C "$copy/build" > /dev/null
for layer in ${1:-lib gatherer probes tools}; do
  python3 "$root/tests/mutants.py" "$copy/tree" "$copy/build" "$layer" "${2:-60}" "${3:-1}"
done
