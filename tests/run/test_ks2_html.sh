#!/usr/bin/env bash
# `ks2 html`: its output files, and its page in a headless browser.
. "$(dirname "$0")/common.sh"
spoiled='*cut.KS2'
ks2=${KS2:-$build/ks2}
export HOME=$scratch  # The browser writes there.

# ---- a gather file of this machine: whole, named after it, private, not over what exists
"$kestrel" -batch -skip "installed software" > out 2> console || die "gathering: $(cat console)"
mv "$(gather_file)" vm.KS2
"$ks2" html vm.KS2 > out || die "a whole file: $(cat out)"
expect vm.html "$(cat out)" "name of the page"
expect 600 "$(stat -c %a vm.html)" "mode of the page"
holds vm.html "<h1>$(uname -n)</h1>"
grep -E "(href|src)=\"[^#]" vm.html && die "the page needs something else"
"$ks2" html vm.KS2 2> console && die "an existing page was replaced"
holds console "--force"
"$ks2" html vm.KS2 -o - > page || die "standard output"
cmp -s page vm.html || die "both ways of output differ"
cp vm.KS2 same && ln same other
"$ks2" html same -f -o other 2> console
expect 2 $? "the input as output"
cmp -s vm.KS2 same || die "the input was written to"
ln -s vm.KS2 link.html
"$ks2" html vm.KS2 -o link.html 2> console && die "written through a link"
mkfifo fifo
"$ks2" html vm.KS2 -f -o fifo 2> console && die "a FIFO was replaced"
[ -p fifo ] || die "the FIFO was removed"
"$ks2" html vm.KS2 -o - > /dev/full 2> console && die "a full disk was not told"

# ---- no report: what the file holds instead; a cut one: as far as it goes
head -c $(($(stat -c %s vm.KS2) - 3000)) vm.KS2 > cut.KS2
mkdir stored && (cd stored && "$kestrel" -batch -textfile ../console > out 2>&1)
mv "$(gather_file stored)" stored.KS2
"$ks2" html stored.KS2 2> console
expect 1 $? "status without a report"
holds console "stored file"
printf 'no gather file' > plain
"$ks2" html plain 2> console
expect 3 $? "status for another file"
"$ks2" html cut.KS2 2> console
expect 1 $? "status for a cut file"
holds cut.html "This file is damaged."
holds cut.html "<h1>$(uname -n)</h1>"

# ---- in the browser
for check in search_and_fold sort keyboard_and_copy look attack large; do
  timeout 600 python3 "$here/html_check.py" "$ks2" "$check" > out 2>&1 || die "$check: $(cat out)"
done
