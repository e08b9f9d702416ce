#!/usr/bin/env bash
# The Debian package holds what both programs need, and they find it from where it was unpacked.
. "$(dirname "$0")/common.sh"
cpack --config "$build/CPackConfig.cmake" -G DEB -B packed > log 2>&1 || die "$(cat log)"
package=$(echo packed/*.deb)
dpkg-deb -f "$package" Depends | grep -qE '(^|, )libc6 \(>= ' || die "depends on $(dpkg-deb -f "$package" Depends)"
dpkg-deb -x "$package" root
for file in bin/kestrel bin/ks2 share/kestrel/pcidb.txt share/man/man1/kestrel.1.gz \
  share/man/man1/ks2.1.gz share/doc/kestrel/changelog.gz share/doc/kestrel/copyright share/bash-completion/completions/ks2; do
  [ -s root/usr/$file ] || die "$file is not in the package"
done
# Nobody ships the sanitised programs.
if ! nm "$build/ks2" | grep -q __asan_init; then
  lintian --allow-root --fail-on error "$package" > lint 2>&1 || die "$(cat lint)"
fi
# One card, so that its name is asked for.
mkdir -p bus/pci/00 && { printf '\206\200\067\022'; head -c 60 /dev/zero; } > bus/pci/00/00.0
unshare --mount --propagation private sh -c 'mount --bind bus /proc/bus && exec "$@"' - \
  root/usr/bin/kestrel -batch -probe PCI_DEVICES 2> console || die "$(cat console)"
root/usr/bin/ks2 verify "$(gather_file)" > whole || die "$(cat whole)"
expect "Intel Corporation" "$(cell "$(gather_file)" "PCI DEVICES" "PCI Device Summary" 1 6)" "maker"
