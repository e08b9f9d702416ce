#!/usr/bin/env bash
# Every recorded machine of tests/machines: a run of the real program on it must leave a sound
# report in good time and say nothing on standard output; the report is compared with the machine's
# "expected" and put to its "checks", whichever it has. Needs root and, for some, /dev/fuse.
#
# A machine may also have: "prepare", run in its copy before, with the folder of this script as
# argument; "options" of the program; "seconds" that the run may take. New ones: record.sh.
#
#   UPDATE=1 bash tests/run/test_machines.sh BUILD-FOLDER [MACHINE...]
#
# writes the reports of now to "expected": read the difference before it is kept.
. "$(dirname "$0")/common.sh"
shift
source=$here/../machines
umask 022
trap 'umount -l "$scratch"/machines/*/proc 2> /dev/null; rm -rf "$scratch"' EXIT
cp -r "$source" machines
cp "$kestrel" . && cp machines/pcidb.txt .

# inspect MACHINE: runs in the machine's copy, which holds "report" and "console" of its run
inspect() {
  local name=$1 want=$source/$1/expected
  if [ -f "$want" ] || { [ -n "${UPDATE:-}" ] && [ ! -f checks ]; }; then
    python3 ../normalise.py report "$scratch" > found || die "$name: normalising"
    if [ -n "${UPDATE:-}" ]; then cp found "$want"; fi
    diff -u "$want" found || die "$name: another report than expected"
  fi
  if [ -f checks ]; then . ./checks; fi
}

[ $# -gt 0 ] || set -- $(cd "$source" && ls -d */ | tr -d /)
for name in "$@"; do
  cd "$scratch/machines/$name" || exit 1
  mkdir -p etc boot root home var/log lib/modules usr/local dev proc
  [ ! -f prepare ] || bash -eu prepare "$here" || die "$name: prepare"
  options=$(cat options 2> /dev/null)
  mkdir work && cd work || exit 1
  timeout "$(cat ../seconds 2> /dev/null || echo 60)" bash "$source/enter.sh" .. \
    "$scratch/kestrel" -batch -local $options > ../output 2> ../console ||
    die "$name ended with status $?: $(tail -n 5 ../console)"
  mv ./*.XML ../report && cd .. || die "$name: no report"
  expect "" "$(head -c 1000 output)" "$name: standard output"
  lacks console "runtime error:"
  $gather check report || die "$name: a report that is not sound"
  "$build/ks2" verify report > verified || die "$name: $(head -n 5 verified)"
  xmllint --noout --schema "$here/../../docs/ksml.xsd" report || die "$name: a report that is no XML"
  (inspect "$name") || exit 1
done
