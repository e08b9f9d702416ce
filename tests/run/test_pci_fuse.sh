#!/usr/bin/env bash
# The real program on played PCI cards: a FUSE file system lies over /proc/bus in a mount namespace
# of this script's own. Needs root, /dev/fuse and python3-fusepy.
. "$(dirname "$0")/common.sh"
if [ "${PLAYED_PCI:-}" = "" ]; then
  PLAYED_PCI=yes unshare --mount --propagation private bash "$here/$(basename "$0")" "$build"
  exit
fi
/usr/bin/python3 "$here/pci_card.py" /proc/bus accesses &
card=$!
disown
# What hangs ends with the server, and not before.
trap 'kill -9 $card 2> /dev/null; rm -rf "$scratch"' EXIT
is_played() { grep -q ' /proc/bus fuse' /proc/mounts; }
for _ in {1..100}; do is_played && break; sleep 0.1; done
is_played || die "the cards are not there"

mkdir work && cd work || exit 1
timeout 60 "$kestrel" -batch -local -debug -probe "PCI DEVICES" 2> console ||
  die "run: $(cat console)"
report=$(ls ./*.XML)
$gather check "$report" || die "check of the report"
$gather table "$report" "PCI DEVICES" "PCI Device Summary" > table

# ---- what is listed: not the functions behind a gap, hidden, without a header, mute or on far buses
expect "0 0 0,0 1 0,0 1 1,0 2 0,0 3 0,0 4 0,0 5 0,0 8 0,0 8 1,15 31 0," \
  "$(cut -f 1-3 table | tr '\t\n' ' ,')" "functions"
row() { grep -P "^0\t$1\t$2\t" table | cut -f "$3"; }
expect "Unknown|0x8086|Intel Corporation|0x1237" "$(row 0 0 4-7 | tr '\t' '|')" "identity"
name=$(grep -A 99999 '^8086 ' /usr/share/misc/pci.ids | grep -P -m 1 '^\t100e  ' | cut -c 8-)
expect "$name|Network|Ethernet" "$(row 2 0 8-10 | tr '\t' '|')" "names"
expect "Bridge|PCI-to-ISA" "$(row 1 0 9-10 | tr '\t' '|')" "class"
expect "Unknown|Encryption / Decryption|Unknown" "$(tail -n 1 table | cut -f 8-10 | tr '\t' '|')" \
  "a card without names"

# ---- VPD: at once, late, never, with a length past the last address
expect "Fast card|12A3456|A.1|0AB|S123" "$(row 2 0 11-15 | tr '\t' '|')" "VPD"
expect "Fast card|12A3456|A.1|0AB|S123" "$(row 3 0 11-15 | tr '\t' '|')" "late VPD"
expect "||||" "$(row 4 0 11-15 | tr '\t' '|')" "VPD that never comes"
expect "Liar||||" "$(row 5 0 11-15 | tr '\t' '|')" "VPD that lies"

# ---- the door: exact widths, nothing written but read requests, no header read twice
log=$scratch/accesses
expect "" "$(grep ' r ' "$log" | grep -v -E ' (1|2)$| r 00 64$')" "reads of other widths"
expect "" "$(grep ' w ' "$log" | grep -v -E ' w 42 2 [0-7]...$')" "writes that are no requests"
expect "" "$(grep ' r 00 64' "$log" | sort | uniq -d)" "functions tried twice"
expect "0000 0003 0004 " "$(grep '02.0 w' "$log" | head -n 3 | cut -d' ' -f5 | tr '\n' ' ')" \
  "requests"
expect "pci_linux: read: 40 of 64 bytes" "$(grep -o 'pci_linux: .*' gatherer.log)" "trouble logged"

# ---- accesses that never end: one wait each, the function's other cells and all others are there
expect "||||" "$(row 8 0 11-15 | tr '\t' '|')" "VPD that hangs"
expect "Fast card|12A3456|A.1|0AB|S123" "$(row 8 1 11-15 | tr '\t' '|')" "VPD behind it"
for mute in 08.0 09.0; do
  expect 1 "$(grep -c "PCI DEVICES: /proc/bus/pci/00/$mute does not answer" console)" "notice"
  expect 1 "$(grep -c "worker: no progress at '/proc/bus/pci/00/$mute'" gatherer.log)" "waits"
done

# ---- a run that is ended while it waits goes at once
mkdir ended
(cd ended && exec "$kestrel" -batch -local -probe "PCI DEVICES" 2> ../console) & ended=$!
: > "$log"
for _ in {1..100}; do grep -q '09.0 r' "$log" && break; sleep 0.1; done
kill -TERM $ended
for _ in {1..20}; do kill -0 $ended 2> /dev/null || break; sleep 0.1; done
! kill -0 $ended 2> /dev/null || die "the end was waited for"
