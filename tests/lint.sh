#!/usr/bin/env bash
# The configured format and static checks, over every source file that git knows.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
. "$root/cmake/packages.sh"
install_missing "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" clang-format clang-tidy shellcheck
cd "$root"
cmake --preset dev -G Ninja >/dev/null
cmake --build --preset dev --target ks2_lib >/dev/null # makes the header that it generates
git ls-files '*.cc' '*.h' | xargs clang-format --dry-run -Werror
# The commands are those of another compiler, whose warnings clang does not all know.
git ls-files '*.cc' | grep -v -e ^tests/ -e ^fuzz/ -e ^bench/ |
  xargs -P "$(nproc)" -n 4 clang-tidy -p build --quiet --extra-arg=-Wno-unknown-warning-option
git ls-files '*.sh' run test | xargs shellcheck -S error -e SC2148
