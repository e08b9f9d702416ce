#!/usr/bin/env bash
# The configured format and static checks, over every source file that git knows.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
. "$root/cmake/packages.sh"
install_missing "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" clang-format clang-tidy shellcheck
cd "$root"
cmake --preset dev -G Ninja >/dev/null
cmake --build --preset dev >/dev/null # for the headers that it generates and what includes what
git ls-files '*.cc' '*.h' | xargs clang-format --dry-run -Werror
python3 tests/tidy.py "$root/build"
git ls-files '*.sh' run test | xargs shellcheck -S error -e SC2148
