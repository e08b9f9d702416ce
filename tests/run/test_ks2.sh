#!/usr/bin/env bash
# ks2 on what the real program writes, whole and damaged. ks2 never writes to its input.
. "$(dirname "$0")/common.sh"
spoiled='*cut.KS2'
ks2=$build/ks2
schema=$here/../../docs/ksml.xsd
export LC_ALL=C.UTF-8

# status WANTED COMMAND...: runs it, its output in "out" and "err"
status() {
  local wanted=$1
  shift
  timeout 60 "$@" > out 2> err
  expect "$wanted" $? "status of $*: $(head -n 5 out err)"
}

# ---- a gather file with everything in it
printf 'caf\303\251\n' > notes.txt
mkdir odd && printf 'x' > $'odd/..\e[2J evil' && printf 'y' > odd/report.ksml && cp notes.txt odd/
printf '<?xml version="1.0" encoding="UTF-8"?>\r\n<X>1</X>\r\n' > import.xml
"$kestrel" -batch -level 5 -textfile notes.txt text/x-log -binaryfile $'odd/..\e[2J evil' \
  -binaryfile odd/report.ksml -textfile odd/notes.txt -ksmlfile import.xml -level 5 2> console || die "kestrel: $(cat console)"
file=$(gather_file)
cp -p "$file" before
status 0 "$ks2" verify "$file"
holds out "whole"
holds out "without sums: machine identity, stored file (4)"
$gather item "$file" 15 > report.xml
status 0 "$ks2" verify report.xml
status 0 xmllint --noout --schema "$schema" report.xml
status 0 "$ks2" list "$file"
lacks out $'\e'

# ---- extract: safe names, nothing overwritten, never through a link
status 0 "$ks2" extract -d folder "$file"
expect "_. [2J evil identity.txt notes.txt notes.txt.2 report.ksml report.ksml.2" \
  "$(ls folder | sed 's/_\[2J/ [2J/' | tr '\n' ' ' | sed 's/ $//')" "names"
expect "600" "$(stat -c %a folder/* | sort -u)" "modes"
cmp folder/report.ksml report.xml || die "the report is another one"
cmp folder/notes.txt notes.txt || die "a stored file is another one"
printf kept > kept && ln -s "$PWD/kept" folder/link && mv folder/link folder/identity.txt
status 1 "$ks2" extract -d folder "$file" identity
holds err "exists; --force replaces it"
status 0 "$ks2" extract --force -d folder "$file" 1
expect kept "$(cat kept)" "what the link leads to"
[ ! -L folder/identity.txt ] || die "the link is still there"
status 0 "$ks2" extract "$file" identity
status 0 "$ks2" extract "$file" identity
[ -f "$(basename "$file" .KS2)/identity.txt" ] && [ -f "$(basename "$file" .KS2).2/identity.txt" ] ||
  die "folders named after the file: $(ls)"
status 0 "$ks2" extract -o - --raw "$file" 2
expect "Filename: notes.txt MIME-Type: text/x-log  café" "$(tr '\n' ' ' < out | sed 's/ $//')" "raw"
(ulimit -f 1; trap '' XFSZ; "$ks2" extract -d full "$file" report 2> err) && die "a full disk"
[ -z "$(ls full)" ] || die "half a file was left"

# ---- the two forms
status 0 "$ks2" stuff "$file" -o stuffed
expect 0 "$(tr -dc '\0' < stuffed | wc -c)" "zero bytes in the stuffed form"
$gather check stuffed || die "the stuffed form"
status 0 "$ks2" verify stuffed
status 0 "$ks2" unstuff stuffed -o plain
cmp plain "$file" || die "stuffing does not come back"
ln "$file" hardlink
status 2 "$ks2" stuff "$file" -o hardlink --force
cmp before "$file" || die "the input was written to"
expect "$(stat -c %Y before)" "$(stat -c %Y "$file")" "time of the input"

# ---- show
status 0 "$ks2" show "$file"
holds out "SYSTEM SUMMARY"
status 0 env COLUMNS=50 "$ks2" show -a "$file"
python3 -c 'import sys; sys.exit(any(len(line) > 51 for line in open("out")))' ||
  die "lines wider than the terminal"
on_terminal() { script -qec "stty cols 60; $*" /dev/null < /dev/null > out; }
PAGER='sed s/^/paged:/' TERM=xterm on_terminal "'$ks2' show '$file' 'system summary'"
holds out "paged:"
holds out $'\e[1'
PAGER=cat NO_COLOR=1 TERM=xterm on_terminal "'$ks2' show '$file' 'system summary'"
lacks out $'\e'

# ---- a hostile report is shown without what a terminal would act upon
sed -e '0,/>Linux</s//>Li\x1b]0;x\x07\xc2\x9bnux</' -e '0,/<\/ROW>\r/s///' report.xml > hostile.xml
status 1 "$ks2" verify hostile.xml
holds out "forbidden character U+001B"
holds out "ROW has no end"
for format in text csv json; do
  status 1 "$ks2" show -a -F $format hostile.xml
  cat err >> out
  expect 0 "$(LC_ALL=C tr -d '\n\r\t -~\200-\377' < out | wc -c)" "control characters as $format"
  expect 0 "$(LC_ALL=C grep -c $'\xc2\x9b' out)" "C1 characters as $format"
done

# ---- a cut file is shown as far as it goes (every cut and every byte: tests/tools/test_ks2.cc)
for size in 900 1200; do
  head -c $size "$file" > cut.KS2
  status 1 "$ks2" verify cut.KS2
  status 1 "$ks2" show cut.KS2
  holds out "SYSTEM SUMMARY"
done

# ---- the examples of the documents are what they say
python3 - "$here/../../docs" << 'END'
import re, sys
lines = open(sys.argv[1] + "/ksml.md", encoding="utf-8").read().split("## Elements")[0].split("\n")
report = [line[4:] for line in lines if line.startswith("    ")]
open("example.ksml", "w", encoding="utf-8", newline="\r\n").write(
    "\n".join(report).replace("b\n]]>", "b]]>") + "\n")
dump = re.findall(r"^    [0-9a-f]{8}: ([0-9a-f ]+)  ", open(sys.argv[1] + "/gather-file.md").read(), re.M)
open("example.KS2", "wb").write(bytes.fromhex("".join(dump)))
END
sed -i 's/>b]]>\r$/>b\n]]>\r/' example.ksml
status 0 "$ks2" verify example.ksml example.KS2
status 0 xmllint --noout --schema "$schema" example.ksml
status 0 "$ks2" extract -o - example.KS2 2
expect aaaaaaaa "$(cat out)" "the packed example"

# ---- verify, show and html judge alike
printf '%s\n' {1..400} > numbers.txt
mkdir judged && (cd judged && "$kestrel" -batch -textfile ../numbers.txt -level 1 2> /dev/null)
whole=$(gather_file judged)
python3 - "$whole" "$ks2" << 'END'
import subprocess, sys
data = bytearray(open(sys.argv[1], "rb").read())
at = 20 + 10 + int.from_bytes(data[21:25], "little")
assert data[at] == 66
for offset in range(400, 800, 10):  # Nearly half of them still decode to the right size.
    flipped = bytearray(data)
    flipped[at + 10 + offset] ^= 4
    open("suspect-cut.KS2", "wb").write(flipped)
    verdict = subprocess.run([sys.argv[2], "verify", "suspect-cut.KS2"], capture_output=True)
    if b"cut.KS2: suspect: " in verdict.stdout:
        break
shorter = bytearray(data)
shorter[at + 2] -= 1
open("lying-cut.KS2", "wb").write(shorter)
at += 10 + int.from_bytes(data[at + 6:at + 10], "little")
assert data[at] == 15
data[at] = 18
open("type-cut.KS2", "wb").write(data)
END
for kind in suspect lying; do
  for command in "verify" "verify --thorough" "show" "html -o page.$kind"; do
    # shellcheck disable=SC2086
    status 1 "$ks2" $command $kind-cut.KS2
  done
  status 0 "$ks2" html -f -o page.whole "$whole"
done
"$ks2" verify suspect-cut.KS2 | grep -q '^suspect-cut.KS2: suspect: ' || die "the word for scripts"
"$ks2" show suspect-cut.KS2 2>&1 > out | grep -q 'it was changed' || die "show tells it"
holds page.suspect "This file may have been changed."
holds page.lying "This file is damaged."
lacks page.whole 'id="faults"'
status 1 "$ks2" verify type-cut.KS2
holds out "suspect: it holds a report"
status 0 "$ks2" verify --thorough "$whole"

# ---- statuses and texts
printf 'nothing of ours' > other.txt
status 3 "$ks2" verify "$file" other.txt
status 4 "$ks2" verify other.txt missing folder
status 4 "$ks2" verify -m 100 "$file"
status 2 "$ks2" show -F yaml "$file"
status 2 "$ks2" show -a "$file" gatherer
status 0 "$ks2" --version
for command in list extract verify show html stuff unstuff; do
  status 0 "$ks2" $command --help
  for option in $(grep -oE '^  -[a-zA-Z]' out); do
    status 2 "$ks2" $command $option  # The file is missing, or the option's word.
    lacks err "it has no option"
  done
done
"$ks2" list "$file" > /dev/full 2> err && die "a full disk"
mkdir qxr && (cd qxr && "$build/kestrel-qxr" -batch 2> /dev/null)
qxr=$(gather_file qxr)
status 0 "$ks2" verify "$qxr"
status 1 "$ks2" show "$qxr"
holds err "XML report"

# ---- the command line: options in front, help, standard input, the words of list
status 0 "$ks2" -m 1G list "$file"
status 2 "$ks2" -m 1G
for command in list verify "show -a" "html -o -" "stuff -o -" "extract -o - - identity"; do
  case $command in *" - "*) operand='' ;; *) operand=- ;; esac
  # shellcheck disable=SC2086
  status 0 "$ks2" $command $operand < <(cat "$file")
  [ -s out ] || die "$command of standard input"
done
status 3 "$ks2" verify - < other.txt
status 4 "$ks2" verify -m 1000 - < "$file"
status 0 "$ks2" extract -o - "$file" "Machine Identity"
status 2 "$ks2" extract -o - "$file" "stored file"
status 0 "$ks2" extract -o - "$file" odd/report.ksml

# ---- the limit and the terminal
status 4 "$ks2" show -m $(($(stat -c %s "$file") + 1000)) "$file"
holds err "holds no ksml report that --max-size allows"
status 4 "$ks2" html -m $((2 * $(stat -c %s report.xml))) -o page.cut report.xml
holds page.cut "This page is cut."
holds page.cut "The page is cut here: the report goes on."
python3 -c 'print("<GATHERED_DATA>\r\n<SECTION ID=\"S\">\r\n<FILE ID=\"f\">\r\n<![CDATA["
  + "x" * 20_000_000 + "]]>\r\n</FILE>")' > long.ksml
for format in text csv json; do
  python3 - "$ks2" show -a -F $format -m 30M long.ksml << 'END' || die "the memory of show as $format"
import resource, subprocess, sys
subprocess.run(sys.argv[1:], stdout=open("out", "wb"), stderr=subprocess.DEVNULL)
assert resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss < 80_000
END
  [ "$(stat -c %s out)" -gt 20000000 ] || die "the file as $format"
done
# A machine without memory (the sanitizers need all the address space there is).
if ! nm "$ks2" 2> /dev/null | grep -q __asan_init; then
  for kilobytes in 20000 30000 40000 50000 60000; do
    (ulimit -v $kilobytes; "$ks2" show -a -F json long.ksml > out 2> err
     case $? in 1) ;; 4) grep -q "not enough memory" err ;; *) false ;; esac) || die "memory: $(cat err)"
  done
  (ulimit -v 20000; "$ks2" html -o memory.html long.ksml 2> err)
  expect 4 $? "status without memory"
fi
# A signal leaves nothing of an unfinished file: the page is larger than what the run may write.
for signal in TERM INT HUP; do
  python3 - "$ks2" $signal << 'END' || die "a file that SIG$signal ended"
import os, signal, subprocess, sys, time
def begin():
    signal.signal(signal.SIGINT, signal.SIG_DFL)
    os.setsid()
run = subprocess.Popen([sys.argv[1], "html", "-o", "ended.html", "long.ksml"],
                       preexec_fn=begin, stderr=subprocess.DEVNULL)
while run.poll() is None and not [n for n in os.listdir(".") if n.startswith(".ks2-")]:
    pass
run.send_signal(getattr(signal, "SIG" + sys.argv[2]))
run.wait()
assert not [n for n in os.listdir(".") if n.startswith(".ks2-")]
END
  rm -f ended.html
done
# A terminal gets nothing that it would act upon, and a pager that does not exist loses nothing.
printf 'before\033[2Jbehind' > escape.txt
mkdir escapes && (cd escapes && "$kestrel" -batch -binaryfile ../escape.txt 2> /dev/null)
TERM=xterm on_terminal "'$ks2' extract -o - '$(gather_file escapes)' stored"
holds out "before"
lacks out $'\e'
"$ks2" extract -o - "$(gather_file escapes)" stored | cmp - escape.txt || die "a pipe gets other bytes"
PAGER='no-such-pager -x' TERM=xterm on_terminal "'$ks2' show '$file' 'system summary'"
holds out "Operating System"
TERM=xterm on_terminal "'$ks2' show -a '$file' | cat > piped"
python3 -c 'assert any(len(line) > 90 for line in open("piped"))' || die "a pipe gets wrapped lines"
PAGER='sed s/^/paged:/' TERM=dumb on_terminal "'$ks2' show '$file' 'system summary'"
lacks out "paged:"

# ---- --force: never the input, never a device, and the old file stays until the new one is there
mkdir twin && cp "$file" twin/notes.txt && ln -s /dev/null device && printf old > page.html
status 2 "$ks2" extract --force -d twin twin/notes.txt 2
cmp "$file" twin/notes.txt || die "the input was replaced"
status 1 "$ks2" html "$file" --force -o device
holds err "is no regular file"
(ulimit -f 1; trap '' XFSZ; "$ks2" html "$file" --force -o page.html 2> err) && die "a full disk"
holds err "File too large"
expect old "$(cat page.html)" "the page that could not be replaced"
expect "" "$(find . -name '.ks2*')" "what is left of the new one"
status 0 "$ks2" html "$file" --force -o page.html
"$ks2" unstuff stuffed -o - | cmp - "$file" || die "standard output"

# ---- reports of others are only odd; a report without its head or in a wrong order is damaged
mkdir others && printf '<?xml version="1.0"?>\n<!-- theirs -->\n<x/>\n' > theirs.xml
tail -c +1500 report.xml > headless.ksml
(cd others && "$kestrel" -batch -binaryfile ../theirs.xml zyr/kestrel2 \
  -binaryfile ../headless.ksml zyr/kestrel2 -level 1 2> /dev/null)
status 0 "$ks2" verify "$(gather_file others)"
holds out "item 2, offset 43: warning: the document does not end with its first element"
holds out "warning: the report does not begin with its XML declaration"
status 1 "$ks2" verify headless.ksml
status 1 "$ks2" show -F csv headless.ksml "time zone/current"
expect 3 "$(wc -l < out)" "rows behind a lost head"
python3 -c 'import re
report = open("report.xml", newline="").read()
open("order.ksml", "w", newline="").write(re.sub(
    r"(<COLS>.*?)(<ROW .*?</ROW>\r\n)(<ROWS>.*?</CHK>\r\n)", r"\1\3\2", report, 1, re.S))'
status 1 "$ks2" verify order.ksml
holds out "ROW behind the sum of its TABLE"
