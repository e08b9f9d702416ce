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

# ---- ended by a signal in the middle: temporaries go, the container keeps what it had
mkdir ended && cd ended
in_machine ../machine "$kestrel" -batch -probe "System Logs" 2> ../console &
for _ in $(seq 100); do
  pgrep -f '^sleep 600$' > /dev/null && break
  sleep 0.1
done
pkill -TERM -f "^$kestrel -batch -probe System Logs$"
wait $!
expect 143 $? "status of a run that was ended"
! pgrep -f '^sleep 600$' > /dev/null || die "children outlived the run"
expect 1 "$(ls | wc -l)" "only the gather file is left: $(ls)"
expect "1 " "$($gather list ./*.KS2 | cut -c1-2)" "items of a run that was ended"
