#!/usr/bin/env bash
# Surroundings that a run must survive: a full disk, a folder that takes nothing, closed descriptors,
# commands that hang, that flood, that are out of PATH's reach, a run that is killed.
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

# ---- a command that hangs, with grandchildren holding the pipe, one of them in its own session
mkdir -p machine/bin machine/var/log slow && cd slow
printf 'one line\n' > ../machine/var/log/messages
cat > ../machine/bin/tail << 'EOF'
#!/bin/sh
pids=${0%/*}/../pids
sleeper="echo \$\$ >> $pids; exec sleep 6000"
setsid sh -c "$sleeper" &
sh -c "$sleeper" &
echo before the hang
eval "$sleeper"
EOF
chmod +x ../machine/bin/tail
wait_for_sleepers() {
  for _ in {1..600}; do [ "$(grep -c . ../machine/pids)" -lt 3 ] || return 0; sleep 0.1; done
  die "no command runs"
}
# What ../machine/bin/tail started is gone, or will be in a moment.
no_sleepers() {
  local process
  [ "$(grep -c . ../machine/pids)" -ge 3 ] || die "processes of a command, $1"
  while read -r process; do
    for _ in {1..600}; do kill -0 "$process" 2> /dev/null || continue 2; sleep 0.1; done
    die "process $process outlived $1"
  done < ../machine/pids
  : > ../machine/pids
}
in_machine ../machine timeout 200 "$kestrel" -batch -local -debug -timeout 10 \
  -probe "System Logs" 2> ../console || die "hanging command: $(cat ../console)"
holds gatherer.log "killed: deadline passed"
holds ./*.XML "before the hang"
lacks ../console "tail"
# A tool that hung is not waited for as long again.
expect "System Log: stopped after 10 s, 1 rows|Kernel Log: stopped after 5 s, 1 rows|" \
  "$(grep stopped ../console | tr '\n' '|')" "what is told of limits"
holds ../console "Run complete, rc = 0"
$gather check ./*.XML || die "report with a hung command"
no_sleepers "the deadline"
printf '#!/bin/sh\nexec yes "a flood"\n' > ../machine/bin/tail.flood
mv ../machine/bin/tail ../machine/bin/tail.hang && mv ../machine/bin/tail.flood ../machine/bin/tail
chmod +x ../machine/bin/tail
in_machine ../machine timeout 200 "$kestrel" -batch -local -timeout 1 -probe "System Logs" \
  2> ../console || die "flooding command: $(cat ../console)"
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
cd ..

# ---- killed in the middle, or ended by a signal: what the command started does not outlive it
mkdir killed && cd killed
run_command() {
  bash "$here/../machines/enter.sh" ../machine "$kestrel" -batch -probe "System Logs" 2> ../console &
  wait_for_sleepers
}
run_command
kill -KILL $!
wait $!
expect 137 $? "status of a run that was killed"
no_sleepers "a run that was killed"
rm -f ./*
run_command
kill -TERM $!
wait $!
expect 143 $? "status of a run that was ended"
no_sleepers "a run that was ended"
expect 1 "$(ls | wc -l)" "only the gather file is left: $(ls)"
$gather list ./*.KS2 | grep -q '^1 ' || die "items of a run that was ended"
cd ..

# ---- the PATH of cron and su: tools of the administration are found, the run's own PATH is reported
mkdir cron && cd cron
cat > ../tool << 'EOF'
#!/bin/sh
printf 'Chain INPUT\nnum\n1 2 3 ACCEPT all -- * * 0.0.0.0/0 0.0.0.0/0\n'
EOF
chmod +x ../tool
unshare --mount --propagation private bash -c "
  mount -t tmpfs none /usr/local/sbin && cp ../tool /usr/local/sbin/iptables || exit 99
  PATH=/usr/bin:/bin exec '$kestrel' -batch -local -probe 'network;environment' 2> ../console" ||
  die "PATH of cron: $(cat ../console)"
expect ACCEPT "$(cell ./*.XML NETWORK "iptables INPUT Chain" 1 4)" "a rule"
expect "PATH /usr/bin:/bin" "$($gather table ./*.XML ENVIRONMENT "Shell variables" |
  grep '^PATH' | tr '\t' ' ')" "PATH as reported"
