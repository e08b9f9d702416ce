#!/usr/bin/env bash
# Stored files, formats and flavours as a user meets them.
. "$(dirname "$0")/common.sh"
# Package lists take long and show nothing here.
run() { "${program:-$kestrel}" -batch -skip "installed software" "$@" > out 2> console || die "$*: $(cat console)"; }
fresh() { cd "$scratch" && rm -rf work && mkdir work && cd work || exit 1; }

# ---- stored files in every way, odd names and contents included
fresh
printf 'caf\303\251 \351\001\n' > notes.txt
printf 'a\0b\377' > $'dump\nMIME-Type: forged.bin'
: > empty
mkdir folder && mkfifo fifo
export LC_ALL=C.UTF-8
run -textfile notes.txt text/x-log -asciifile notes.txt -binaryfile $'dump\nMIME-Type: forged.bin' \
  -textfile empty -binaryfile folder -textfile fifo -dgmlfile fifo -xmlfile notes.txt ZYR/SysEvent
file=$(gather_file)
$gather check "$file" || die "check"
expect "1 66 66 66 66 13 " "$($gather list "$file" | cut -d' ' -f1 | tr '\n' ' ')" "items stored"
$gather item "$file" 66 > item
expect "$(printf 'Filename: notes.txt\nMIME-Type: text/x-log\n\ncaf\303\251 \357\277\275\001')" \
  "$(cat item)" "text item"
expect 3 "$(grep -c 'Not found' console)" "files that are no files"
lacks console "Create XML Output File"

# ---- a file that fails in the middle is not passed off as whole
fresh
"$kestrel" -batch -binaryfile /proc/self/mem 2> console && die "half a file is no success"
holds console "/proc/self/mem: Input/output error"
expect "1 " "$($gather list "$(gather_file)" | cut -c1-2)" "items behind a file that failed"

# ---- a full gather file is told under the names of what it does not take
fresh
: > small
files=()
for _ in {1..256}; do files+=(-binaryfile small); done
"$kestrel" -batch "${files[@]}" -level 1 -probe "gatherer information" 2> console && die "a full gather file"
expect 2 "$(grep -c '^small: the gather file is full$' console)" "files that had no room"
grep -q '^[^ ]*\.XML: the gather file is full$' console || die "the report had no room: $(tail console)"
lacks console ".tmp"
"$kestrel" -batch -dgmlfile small 2> console && die "an empty file packed"
holds console "small: compression failed, the file may be empty"

# ---- the debug log takes nobody else's file
fresh
echo untouched > victim
ln victim gatherer.log
run -debug -binaryfile victim
expect untouched "$(cat victim)" "a file with a second name"
expect "600 1" "$(stat -c '%a %h' gatherer.log)" "mode and links of the log"
rm gatherer.log && ln -s victim gatherer.log
run -fdebug -binaryfile victim
expect untouched "$(cat victim)" "a file behind a link"

# ---- names: undecodable bytes stay the bytes they are, the suffix always fits
fresh
LC_ALL=C run -local -filename "$(printf 'r\351port-@X@')"
[ -f "$(printf 'r\351port-.XML')" ] || die "name with a byte that does not decode: $(ls)"
fresh
run -local -probe network -filename "$(printf 'n%.0s' {1..400})"
expect 255 "$(ls | grep '\.XML$' | tr -d '\n' | wc -c)" "length of a cut name"

# ---- reports are UTF-8 and harmless on a terminal, wherever their texts come from
fresh
localedef -i tr_TR -f ISO-8859-9 "$scratch/tr_TR" && localedef -i tr_TR -f UTF-8 "$scratch/tr_TR.UTF-8"
speaking() { env LOCPATH="$scratch" LC_ALL="$1" "${@:2}"; }
for format in -text -html; do
  speaking tr_TR "$kestrel" -batch $format -local -level 1 "$(printf 'caf\351\033[2J')" 2> console || die "$format"
  report=$(ls ./*.TXT ./*.HTML 2> /dev/null)
  iconv -f UTF-8 -t UTF-8 "$report" > /dev/null || die "$format: no UTF-8"
  holds "$report" "$(printf 'caf\303\251\357\277\275[2J')"
  rm "$report"
done

# ---- words are those of ASCII in every language
speaking tr_TR.UTF-8 "$kestrel" -batch -LOCAL -FILENAME turkish -SKIP "installed software" \
  -P filescan FILTER=none PATH=/proc/self/fdinfo 2> console || die "Turkish"
lacks console "understand"
lacks console "valid parameter"
holds turkish.FILESCAN.XML "<filescan_results>"
speaking tr_TR.UTF-8 "$build/ks2" show turkish.XML "gatherer information" > out ||
  die "a title in small letters"

# ---- an interface whose message exceeds the buffer hides behind the end of the dump; the log says so
fresh
unshare --net bash -c 'python3 - && exec "$0" -batch -local -debug -probe network' "$kestrel" 2> console << 'END' || die "network"
import socket, struct
def attribute(kind, data):
    return (struct.pack("HH", 4 + len(data), kind) + data).ljust(4 + len(data) + 3 & ~3, b"\0")
link = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, 0)
for i in range(70):  # other names of the first interface, for RTM_NEWLINKPROP
    names = attribute(52 | 0x8000, attribute(53, b"%03d" % i + 120 * b"n" + b"\0"))
    body = struct.pack("BxHiII", 0, 0, 1, 0, 0) + names
    link.send(struct.pack("IHHII", 16 + len(body), 108, 5, i, 0) + body)
    assert struct.unpack("i", link.recv(8192)[16:20]) == (0,)
END
grep -qE "net: (lo is missing in the dump|the dump is incomplete: Message too long)" gatherer.log ||
  die "nothing told of a hidden interface"

# ---- a user whom nobody knows, in a folder that is gone
fresh
mkdir gone && cd gone && rmdir ../gone
chmod 755 "$scratch"
setpriv --reuid 54321 --clear-groups "$kestrel" -batch -stdout -local -text -level 1 > "$scratch/out" ||
  die "a run in a folder that is gone"
cd "$scratch" || exit 1
for row in User "Current Directo"; do
  grep -q "^| $row *| Unknown *|$" out || die "$row: $(grep -- "| $row" out)"
done
grep -A 4 '^Table: System Summary' out | grep -q '| Unknown *| [^|]*|$' || die "Current User"

# ---- probe list and help
fresh
"$kestrel" -help -listprobes > list || die "probe list"
expect "SYSTEM_SUMMARY GATHERER_INFORMATION" "$(head -n 2 list | tr '\n' ' ' | sed 's/ $//')" "list"
lacks list "TIME_ZONE_INFO"
"$kestrel" -listprobes -help 2> help && die "help ends with 1"
holds help " -nolimit   : Collect entire event log (default is last 500 entries)."
"$kestrel" -listprobes > /dev/full 2> console && die "a list that could not be written"

# ---- step mode: yes, no, then the end of input skips the rest; the files are closed all the same
fresh
printf 'y\nn\n' | "$kestrel" -batch -step -local 2> console || die "step mode"
holds console "Skipped"
holds console "Close XML Output File"
expect "SYSTEM SUMMARY" "$($gather sections ./*.XML | grep -v '^ ')" "sections of a stepped run"

# ---- flavours
fresh
program=$build/kestrel-talv
run
expect "" "$(cat console)" "console of a silent flavour"
holds out '<InventoryTable name="TALV_CURRENT_TIME">'
holds out "SYSTEM_SUMMARY"
expect "" "$(ls | grep -v -e out -e console)" "files of a flavour that writes to standard output"
program=$build/kestrel-qxr
run
holds console "QXR"
$gather item "$(gather_file)" 15 > report
holds report "<KS_SYSTEM_SUMMARY>"
holds report "<KS_OS_TYPE>"
xmllint --noout report || die "the XML flavour is not well formed"

# ---- the flavour that sweeps a postbox beside the program
fresh
mkdir POSTBOX POSTBOX/deeper
cp "$build/kestrel-wren" wren
printf 'a plug-in said so\n' > POSTBOX/NOTE.TXT
printf '<dgml/>\n' > POSTBOX/deeper/graph.dgml
printf '<?xml version="1.0" encoding="UTF-8"?>\r\n<PLUGIN>1</PLUGIN>\r\n' > POSTBOX/part.ksml
mkfifo POSTBOX/fifo.bin
program=./wren
run
holds console "3 file(s) added, 1 file(s) fa"
file=$(gather_file)
$gather check "$file" || die "check of a swept postbox"
expect "1 15 18 66 " "$($gather list "$file" | cut -d' ' -f1 | sort -n | tr '\n' ' ')" "items"
$gather item "$file" 15 | grep -q '<PLUGIN>1</PLUGIN>' || die "merged markup"
