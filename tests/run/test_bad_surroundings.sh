#!/usr/bin/env bash
# Surroundings that a run must survive: a full disk, a folder that takes nothing, closed descriptors,
# a command that hangs, one that floods, the end by a signal.
. "$(dirname "$0")/common.sh"

# ---- a full disk: told, return code 1, nothing half done that claims to be whole
cat > small_disk.sh <<'EOF'
mount -t tmpfs -o size=$2 none "$3" && cd "$3" || exit 99
"$1" -batch -probe "gatherer information;system summary" $4 > /dev/null 2> "$5"
echo $? >> "$5"
cp -r . "$6"
EOF
mkdir disk
for size in 4k 8k 12k; do
  for options in "" "-local" "-text"; do
    rm -rf left && mkdir left
    unshare --mount --propagation private bash small_disk.sh "$kestrel" $size "$scratch/disk" \
      "$options" "$scratch/console" "$scratch/left"
    # A disk that holds a short report must hold it whole; a smaller one is told.
    if grep -qE 'No space left on device|Disk full' console; then
      tail -n 1 console | grep -qE '^(1|134)$' || die "full disk $size '$options': $(cat console)"
    else
      expect 0 "$(tail -n 1 console)" "disk of $size '$options' $(cat console)"
      [ $size != 4k ] || die "nothing told of a disk of 4k"
    fi
    for file in left/*.KS2 left/*.GTH; do
      [ -e "$file" ] || continue
      $gather list "$file" > items || die "container of a full disk"
      holds items "1 "
    done
    expect "" "$(ls left | grep -E '^(ksid|kest[0-9]).*tmp$' || true)" "temporaries left"
  done
done

# ---- a folder that takes nothing (a read-only mount binds root too)
mkdir readonly
unshare --mount --propagation private bash -c "
  mount -t tmpfs -o ro none '$scratch/readonly' && cd '$scratch/readonly' || exit 99
  '$kestrel' -batch -probe network 2> '$scratch/console'; echo \$? >> '$scratch/console'"
holds console "Cannot create temporary file"
holds console "Read-only file system"
expect 1 "$(tail -n 1 console)" "status in a read-only folder"

# ---- closed descriptors: the report must not become the console
mkdir closed && cd closed
"$kestrel" -batch -local -skip "installed software" 0<&- 1>&- 2>&- || die "closed descriptors"
$gather check ./*.XML || die "report written with closed descriptors"
cd ..

# ---- no standard input to answer the prompt: no consent, and no endless question
mkdir declined && cd declined
"$kestrel" < /dev/null 2> ../console || die "end of input at the prompt"
holds ../console "Sorry, this software only works if you agree with the above terms"
holds ../console "Run complete, rc = 0"
expect "" "$(ls)" "files of a declined run"
printf 'x%0.s' {1..200} > ../answers
printf '\n\nyes please\n' >> ../answers
"$kestrel" -local -probe network < ../answers 2> ../console || die "consent"
expect 3 "$(grep -o 'Do you agree' ../console | wc -l)" "questions asked"
cd ..

# ---- a command that hangs, with a grandchild holding the pipe; one that floods
mkdir -p machine/bin machine/var/log slow && cd slow
printf 'one line\n' > ../machine/var/log/messages
printf '#!/bin/sh\necho before the hang\nsleep 600 &\nexec sleep 600\n' > ../machine/bin/tail
chmod +x ../machine/bin/tail
start=$SECONDS
in_machine ../machine "$kestrel" -batch -local -debug -timeout 1 -probe "System Logs" 2> ../console ||
  die "hanging command: $(cat ../console)"
[ $((SECONDS - start)) -lt 30 ] || die "the hang was waited for"
holds gatherer.log "killed: deadline passed"
holds ./*.XML "before the hang"
lacks ../console "tail"
$gather check ./*.XML || die "report with a hung command"
! pgrep -f '^sleep 600$' > /dev/null || die "grandchildren outlived the deadline"
printf '#!/bin/sh\nexec yes "a flood"\n' > ../machine/bin/tail.flood
mv ../machine/bin/tail ../machine/bin/tail.hang && mv ../machine/bin/tail.flood ../machine/bin/tail
chmod +x ../machine/bin/tail
start=$SECONDS
in_machine ../machine "$kestrel" -batch -local -timeout 1 -probe "System Logs" 2> ../console ||
  die "flooding command: $(cat ../console)"
[ $((SECONDS - start)) -lt 60 ] || die "the flood was waited for"
$gather check ./*.XML || die "report with a flood"
mv ../machine/bin/tail.hang ../machine/bin/tail
cd ..

# ---- a file-size limit is a full disk
mkdir limited && cd limited
head -c 100000 /dev/urandom > noise
for limit in 1 4 40; do
  (ulimit -f $limit && exec "$kestrel" -batch -binaryfile noise -level 5 -probe "system summary" \
    2> ../console)
  expect 1 $? "status with a file-size limit of $limit"
  holds ../console "File too large"
  lacks ../console "compression failed"
  expect "noise" "$(ls | grep -v '\.KS2$\|\.XML$\|^kestr.*tmp$')" "left by a limit of $limit"
  for file in ./*.KS2; do "$build/ks2" verify "$file" > ../verdict || die "$(cat ../verdict)"; done
  rm -f ./*.tmp
done
cd ..

# ---- standard output that takes no more
for options in -stdout -listprobes; do
  "$kestrel" -batch $options -local -probe network >&- 2> console && die "$options >&-"
  "$kestrel" -batch $options -local -probe network > /dev/full 2> console && die "$options, full"
  holds console "standard output: No space left on device"
done

# ---- another run of the same process id in the folder: its files are left alone
mkdir shared && cd shared
for name in kestr1.tmp kestr1-1.tmp kestg1.tmp ksid1.txt kest31.tmp fscn1.tmp; do
  echo "another run's" > $name
done
: > stored
unshare --pid --fork --mount-proc "$kestrel" -batch -binaryfile stored -level 5 \
  -probe "system summary;filescan" -p filescan path=/etc filter=hostname 2> ../console ||
  die "two runs in a folder: $(cat ../console)"
$gather check ./*.KS2 || die "check of a file written beside another run"
expect "1 17 66 15 " "$($gather list ./*.KS2 | cut -d' ' -f1 | tr '\n' ' ')" "items"
expect 6 "$(grep -lx "another run's" ./*.t[mx][pt] | wc -l)" "files of the other run"
expect 8 "$(ls | wc -l)" "files in the folder: $(ls)"
cd ..

# ---- a name that is a folder: what was gathered is kept, and the user is told where
mkdir -p taken/r.XML taken/r.KS2 && cd taken
for options in -local ""; do
  "$kestrel" -batch -filename r -probe network $options 2> ../console && die "a taken name"
  kept=$(ls ./*.tmp)
  holds ../console "${kept#./}: kept under this name, r."
  $gather check "$kept" || die "check of $kept"
  rm "$kept"
done
cd ..

# ---- the debug log: the real reason for which it cannot be opened
mkdir -p log/gatherer.log && cd log
"$kestrel" -batch -debug 2> ../console
expect 134 $? "status without a log"
holds ../console "Unable to open debug log: Is a directory"
