#!/usr/bin/env bash
# The end by a signal: rows so far, whole files, no temporary, no process, the signal's own status.
. "$(dirname "$0")/common.sh"

# ---- a machine whose log never ends; the number tells its commands from those of other tests
hang="sleep $((200000 + $$))"
mkdir -p machine/bin machine/var/log
printf 'one line\n' > machine/var/log/messages
printf '#!/bin/sh\necho before the end\nexec %s\n' "$hang" > machine/bin/tail
chmod +x machine/bin/tail

# until COMMAND...: waits for it to succeed
until_() { for _ in $(seq 300); do "$@" && return; sleep 0.05; done; die "in vain: $*"; }
is_hanging() { pgrep -f "^$hang$" > /dev/null; }
# start OPTION...: a run in an empty folder; INT and QUIT as a terminal hands them on
start() {
  cd "$scratch" && rm -rf work && mkdir work && cd work || exit 1
  bash "$here/../machines/enter.sh" ../machine /usr/bin/env --default-signal=INT,QUIT \
    ASAN_OPTIONS=handle_segv=0 "$kestrel" "$@" \
    > ../out 2> ../console < "${input:-/dev/null}" &
  run=$!
}
# ended STATUS WHAT: how it ended, and that nothing runs on and no temporary is left
ended() {
  wait $run
  expect "$1" $? "status of $2: $(cat ../console)"
  ! is_hanging || die "$2: the command runs on"
  expect "" "$(find . -name '*.tmp' -o -name 'ksid*')" "$2: temporaries"
}

# ---- every signal that ends a process, in every mode
modes=("" -text -local -html -stdout -silent)
turn=0
for name in INT TERM HUP QUIT USR1 USR2 ALRM XCPU VTALRM PROF IO PWR STKFLT SYS TRAP RTMIN+3; do
  number=$(kill -l "SIG$name" 2> /dev/null || kill -l "$name")
  mode=${modes[turn++ % ${#modes[@]}]}
  start -batch $mode -probe "System Logs;Processes"
  until_ is_hanging
  kill -"$name" $run
  ended $((128 + number)) "$name $mode"
  case $mode in
    -text) $gather item ./*.GTH 254 > report ;;
    -stdout) cp ../out report ;;
    -local) cp ./*.XML report && $gather check ./*.XML || die "check" ;;
    -html) cp ./*.HTML report ;;
    *) "$build/ks2" verify ./*.KS2 > ../verdict || die "$name: $(cat ../verdict)"
      $gather item ./*.KS2 15 > report ;;
  esac
  holds report "before the end"
  [ "$mode" = -silent ] || holds ../console "Stopped by $(
    case $name in RTMIN*) echo "signal $number" ;; IO) echo SIGPOLL ;; *) echo "SIG$name" ;; esac)"
done
holds ../console "; what was gathered so far is kept in "

# ---- a crash ends it at once; what was in the gather file stays
for name in SEGV ABRT; do
  start -batch -probe "System Logs"
  until_ is_hanging
  (ulimit -c 0; kill -$name $run)
  ended $((128 + $(kill -l $name))) "$name"
  rm -f core*
  expect "1 " "$($gather list ./*.KS2 | cut -c1-2)" "items of a crash"
done

# ---- one that the caller ignores stays ignored; the debug log may get another name and owner
trap '' HUP
start -batch -debug -probe "System Logs;Processes"
trap - HUP
until_ is_hanging
kill -HUP $run
ln gatherer.log second && chown 65534 gatherer.log
kill -TERM $run
ended 143 "a run that ignores HUP"
holds second "Stopped by SIGTERM"

# ---- prompts: before anything is gathered at once, later with what there is
mkfifo ../answers && exec 8<> ../answers
input=../answers
start
until_ grep -q "Do you agree" ../console
kill -TERM $run
ended 143 "the consent prompt"
expect "" "$(ls)" "files of a run that nobody agreed to"
printf 'y\n' >&8
start -batch -step
until_ grep -q "GATHERER INFORMATION .* \[Y" ../console
kill -TERM $run
ended 143 "a step prompt"
$gather item ./*.KS2 15 | grep -q "SYSTEM SUMMARY" || die "rows before a step prompt"
input=

# ---- a run that cannot go on (nobody reads its report) is ended by the second signal, or by time
head -c 65536 /dev/zero > ../zeros
mkfifo ../full && exec 9<> ../full && cat ../zeros >&9
for second in HUP ""; do
  cd "$scratch" && rm -rf work && mkdir work && cd work || exit 1
  "$kestrel" -batch -stdout -skip "installed software" > ../full 2> ../console &
  run=$!
  is_writing() { read -r _ descriptor _ < /proc/$run/syscall && [ "$descriptor" = 0x1 ]; }
  until_ is_writing
  kill -TERM $run
  sleep 0.4
  [ -z "$second" ] || kill -$second $run
  ended $((128 + $(kill -l ${second:-TERM}))) "a run that hangs, then ${second:-nothing}"
  expect "1 " "$($gather list ./*.KS2 | cut -c1-2)" "items of a run that hung"
done

# ---- ended at any of its system calls: a whole gather file, or none. STEP=1 takes every call.
cd "$scratch" && rm -rf work && mkdir work && cd work || exit 1
export ASAN_OPTIONS=detect_leaks=0  # which ptrace does not allow
options=(-batch -probe "gatherer information" -binaryfile ../zeros -level 5)
strace -c -U calls,name -o ../calls "$kestrel" "${options[@]}" 2> ../console || die "strace"
# A sanitizer's own calls for memory come with its locks held, where no handler can go on.
passed_over='total|execve|exit'
grep -q __asan_init "$kestrel" && passed_over="$passed_over|mmap|munmap|madvise|mprotect"
runs=0
while read -r count call; do
  for ((at = 1 + runs % ${STEP:-7}; at <= count; at += ${STEP:-7})); do
    for name in TERM KILL; do
      rm -rf ./*
      timeout -s KILL 100 strace -o /dev/null -e inject="$call":signal=$name:when=$at "$kestrel" "${options[@]}" \
        > ../out 2>&1
      status=$?
      runs=$((runs + 1))
      [ $name = KILL ] || expect 143 $status "status of TERM at $call $at"
      [ $name = KILL ] || expect "" "$(ls | grep -v '\.KS2$')" "left by TERM at $call $at"
      file=$(gather_file)
      [ -z "$file" ] || "$build/ks2" verify "$file" > ../verdict ||
        die "$name at $call $at: $(cat ../verdict)"
    done
  done
done < <(awk -v passed_over="^($passed_over)" \
  '$1 ~ /^[0-9]+$/ && $2 !~ passed_over { print $1, $2 }' ../calls)
[ $runs -gt 50 ] || die "only $runs runs"
echo "$runs runs ended at a system call"
