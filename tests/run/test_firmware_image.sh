#!/usr/bin/env bash
# A machine whose /dev/mem holds a false entry point before the good one: its gather file and its log.
# What the report says of it is compared in tests/machines.
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
$gather item "$file" 1 > identity
expect "$(printf 'VAcme Works\nM8670\nSSN_42')" "$(sed -n 2,4p identity | tr / ' ')" "identity block"
expect "600 600" "$(stat -c %a "$file" gatherer.log | tr '\n' ' ' | sed 's/ $//')" "modes"
expect "$file console gatherer.log identity " "$(LC_ALL=C ls | sort -f | tr '\n' ' ')" "files left"
holds gatherer.log "dmi: signature found at offset 0x000100"
holds gatherer.log "dmi: Checksum is 85"
holds gatherer.log "dmi: signature found at offset 0x000200"
holds gatherer.log "console: Run complete, rc = 0"

# A table that runs past the end of the area still tells whose machine it is.
rm "$file"
python3 "$here/make_bios.py" ../machine/dev/mem --past-end
in_machine ../machine "$kestrel" -batch -probe network 2> console || die "past end: $(cat console)"
[ -f "$file" ] || die "past end: $(ls)"

# A memory that ends before the BIOS area: nothing is found, nothing breaks.
truncate -s 1000000 ../machine/dev/mem
in_machine ../machine "$kestrel" -batch -probe network 2> console || die "short memory: $(cat console)"
[ -f "Unknown-Unknown-Unknown.KS2" ] || die "short memory: $(ls)"
