#!/usr/bin/env bash
# A machine whose /dev/mem holds a false entry point before the good one: what identifies it, and the
# names of its files. Then the same with a product data block, which wins over SMBIOS.
. "$(dirname "$0")/common.sh"
mkdir -p machine/dev work
python3 "$here/make_bios.py" machine/dev/mem
chmod 600 machine/dev/mem
cd work
in_machine ../machine "$kestrel" -batch -skip "installed software" -debug 2> console || die "run failed: $(cat console)"
file="Acme Works-8670-SN_42.KS2"
[ -f "$file" ] || die "no '$file' but $(ls)"
holds console "Close Gatherer File .................... $file"
holds console "Run complete, rc = 0"
$gather check "$file" || die "check"
expect "1 15 " "$($gather list "$file" | cut -d' ' -f1 | tr '\n' ' ')" "items"
row() { $gather table "$file" "SYSTEM SUMMARY" "System Summary" | cut -f"$1"; }
expect "Acme/Works 8670 SN_42 000102030405060708090a0b0c0d0e0f" \
  "$(row 2) $(row 3) $(row 4) $(row 7)" "identity"
expect "BIOS Version 7.89 of Acme\$" "$(row 5)" "BIOS version"
$gather item "$file" 1 > identity
expect "$(printf 'VAcme Works\nM8670\nSSN_42')" "$(sed -n 2,4p identity | tr / ' ')" "identity block"
expect 600 "$(stat -c %a "$file")" "mode of the gather file"
expect 600 "$(stat -c %a gatherer.log)" "mode of the log"
expect "$file console gatherer.log identity " "$(LC_ALL=C ls | sort -f | tr '\n' ' ')" "files left"
holds gatherer.log "dmi: signature found at offset 0x000100"
holds gatherer.log "dmi: Checksum is 85"
holds gatherer.log "dmi: signature found at offset 0x000200"
holds gatherer.log "console: Run complete, rc = 0"

# A memory that ends before the BIOS area, and none: nothing is found, nothing breaks.
head -c 1000000 ../machine/dev/mem > ../machine/dev/short
mv ../machine/dev/short ../machine/dev/mem
in_machine ../machine "$kestrel" -batch -probe network 2> console || die "short memory: $(cat console)"
[ -f "Unknown-Unknown-Unknown.KS2" ] || die "short memory: $(ls)"

python3 "$here/make_bios.py" ../machine/dev/mem --vpd
in_machine ../machine "$kestrel" -batch -local -skip "installed software" 2> console || die "product data: $(cat console)"
file="ZYR-8668T20-KBC1234.XML"
holds console "Close XML Output File .................. $file"
$gather check "$file" || die "check of the report"
expect "000102030405060708090a0b0c0d0e0f" "$(row 7)" "the UUID still is SMBIOS's"
