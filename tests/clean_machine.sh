#!/usr/bin/env bash
# Makes the package, installs it on a Debian that has nothing but the essential packages, and takes a
# snapshot there. Needs root. Usage: clean_machine.sh [SUITE]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
. "$root/cmake/packages.sh"
install_missing "${BUILD_PACKAGES[@]}" "${PACKAGE_PACKAGES[@]}" debootstrap
suite=${1:-$(. /etc/os-release && echo "$VERSION_CODENAME")}
work=$(mktemp -d)
trap 'rm -rf --one-file-system "$work"' EXIT
machine=$work/machine
cmake --preset release -S "$root" -B "$work/build" -G Ninja >/dev/null
cmake --build "$work/build" >/dev/null
cpack --config "$work/build/CPackConfig.cmake" -G DEB -B "$work"
debootstrap --variant=minbase "$suite" "$machine" >"$work/log" 2>&1 || {
  tail "$work/log" >&2
  exit 1
}
cp "$work"/*.deb "$machine/tmp/"
# shellcheck disable=SC2016
unshare --mount --pid --fork chroot "$machine" bash -euc '
  mount -t proc proc /proc
  dpkg -i /tmp/*.deb
  cd /tmp
  kestrel -batch -filename snapshot
  ks2 verify snapshot.KS2
  ks2 list snapshot.KS2
  ks2 html snapshot.KS2
  su nobody -s /bin/bash -c "cd /tmp && kestrel -silent -filename unprivileged && ks2 verify *unp*.KS2"
  bash -c "source /usr/share/bash-completion/completions/kestrel"
  dpkg --purge kestrel
  [ -z "$(find /usr -name "*kestrel*" -o -name ks2)" ]'
