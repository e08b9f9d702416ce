#!/usr/bin/env bash
# The database of PCI names as it is built, cut and installed. Needs the package pci.ids.
. "$(dirname "$0")/common.sh"
export LC_ALL=C

# ---- every vendor, device and subsystem of the list, in its order
id='\([0-9a-f]\{4\}\)'
sed -n "/^C /q; s/^$id  /V \1 /p; s/^\t$id  /D \1 /p; s/^\t\t$id $id  /X \1\2 /p" \
  /usr/share/misc/pci.ids | grep -v '.\{250\}' > wanted
grep -v '.\{250\}' "$build/pcidb.txt" | cmp - wanted || die "pcidb.txt is not the list"
[ "$(wc -l < wanted)" -gt 10000 ] || die "the list is short"

# ---- lines that are too long for the reader end before the character that does not fit
for lead in '' x xx xxx; do
  printf '8086  %s' "$lead"; printf '\342\202\254%.0s' {1..100}; printf '\n'
done > long.ids
awk -f "$here/../../data/make_pcidb.awk" long.ids > long.txt
lengths=$(awk '{ print length($0) }' long.txt | tr '\n' ' ')
expect "253 254 252 253 " "$lengths" "lengths of long lines"
iconv -f UTF-8 -t UTF-8 long.txt > /dev/null || die "a character was cut"

# ---- an installed program finds it beside its data
cmake -DCMAKE_INSTALL_PREFIX="$scratch/usr" -P "$build/data/cmake_install.cmake" > /dev/null
mkdir usr/bin work && cp "$kestrel" usr/bin/ && cd work || exit 1
"$scratch/usr/bin/kestrel" -batch -local -debug -probe "PCI DEVICES" 2> console ||
  die "run: $(cat console)"
holds gatherer.log "records in $scratch/usr/bin//../share/kestrel/pcidb.txt"
lacks gatherer.log "pcidb: ignored"
