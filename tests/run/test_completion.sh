#!/usr/bin/env bash
# The completions of both programs, driven as the shell drives them.
. "$(dirname "$0")/common.sh"
root=$here/../..
PATH=$build:$PATH
compopt() { options+=" $*"; }
. "$root/completions/kestrel.bash"
. "$root/completions/ks2.bash"

# offers WANTED WORD...: what is offered for the last word, sorted, on one line
offers() {
  local wanted=$1
  shift
  COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) options=
  "_$1" "$1" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
  expect "$wanted" "$(printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort | tr '\n' '|' | sed 's/|$//')" "$*"
}

mkdir -p some/where && : > some/file
offers "-silent|-skip|-stdout|-step" kestrel -S
offers "PCI_ADAPTER_INFORMATION|PCI_DEVICES" kestrel -probe pci
offers "NETWORK;PCI_ADAPTER_INFORMATION|NETWORK;PCI_DEVICES" kestrel -skip '"NETWORK;pci'
offers "date=" kestrel -p FILESCAN da
offers "path=" kestrel -p FILESCAN date = No pa
offers "some/where" kestrel -p FILESCAN path = some/w
offers "some/file|some/where" kestrel -textfile some/
offers "text/html|text/plain|text/xml" kestrel -textfile some/file text
# No keyword is forgotten: the manual tells them all.
COMP_WORDS=(kestrel -) COMP_CWORD=1
_kestrel kestrel - kestrel
grep -E '^(\.(TP|BI?)|\\fB)' "$root/docs/man/kestrel.1" | grep -oE '\\-[a-z]+' | tr -d '\\' | sort -u > manual
printf '%s\n' "${COMPREPLY[@]}" | sort -u | diff - manual || die "keywords of completion and manual"

kestrel -batch -level 1 -probes "SYSTEM SUMMARY;GATHERER INFORMATION" 2> /dev/null
mv "$(gather_file)" "a file.KS2"
offers "list" ks2 li
offers "extract" ks2 Ex
offers "show|stuff" ks2 -m 1G s
offers "html" ks2 help ht
offers "--directory|--force|--max-size|--output|--raw" ks2 extract --
offers "secevent|stored|sysevent" ks2 extract 'a\ file.KS2' s
offers "csv" ks2 show --format c
offers "csv|json|text" ks2 show --format = ""
offers "secevent|stored|sysevent" ks2 extract --max-size = 1G 'a\ file.KS2' s
offers "SYSTEM SUMMARY|SYSTEM SUMMARY/Operating System|SYSTEM SUMMARY/System Summary" \
  ks2 show -F text 'a\ file.KS2' 'system\ '
offers "GATHERER INFORMATION/Parameters|GATHERER INFORMATION/Probes List" ks2 show '"a file.KS2"' '"Gatherer Information/p'
