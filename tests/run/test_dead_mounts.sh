#!/usr/bin/env bash
# File systems whose server is dead, in a mount namespace of this script's own: FUSE servers that
# answer neither statfs nor a look-up, one that was killed, one that is well. No signal reaches a
# process that waits for them. Needs root, /dev/fuse and python3-fusepy.
. "$(dirname "$0")/common.sh"
if [ "${DEAD_MOUNTS:-}" = "" ]; then
  DEAD_MOUNTS=yes unshare --mount --propagation private bash "$here/$(basename "$0")" "$build"
  exit
fi
cat > server.py << 'EOP'
"""server.py FOLDER NAME: FOLDER is mounted from NAME; when that is "well", requests are answered."""
import signal, stat, sys
from fusepy import FUSE, Operations

class Server(Operations):
    def getattr(self, path, fh=None):
        while path != "/" and sys.argv[2] != "well" or sys.argv[2] == "mute":
            signal.pause()
        return {"st_mode": stat.S_IFDIR | 0o755}

    def statfs(self, path):
        while sys.argv[2] != "well":
            signal.pause()
        return {"f_bsize": 65536, "f_frsize": 4096, "f_blocks": 1000, "f_bfree": 250}

FUSE(Server(), sys.argv[1], fsname=sys.argv[2], foreground=True, nothreads=True)
EOP
servers=()
end_servers() {
  [ ${#servers[@]} -eq 0 ] || kill -9 "${servers[@]}" 2> /dev/null
  for mounted in silent again gone well tree/mute; do umount -l "$mounted" 2> /dev/null; done
}
trap 'end_servers; rm -rf "$scratch"' EXIT
serve() {  # FOLDER NAME
  mkdir "$1"
  /usr/bin/python3 server.py "$scratch/$1" "$2" &
  servers+=($!)
  disown
  for _ in {1..100}; do grep -q " $scratch/$1 fuse" /proc/self/mounts && return; sleep 0.1; done
  die "$1 is not mounted"
}
run() {  # FOLDER OPTION...: sets report; nobody may be left who holds the console
  local folder=$1 place=${dead_place:-} user=${dead_home:-$HOME}
  mkdir "$folder"
  (cd "$folder" && { HOME=$user PATH=$place$PATH "$kestrel" -batch -local -fdebug "${@:2}" 2>&1 > out |
    /usr/bin/cat > console; exit "${PIPESTATUS[0]}"; }) &
  for _ in {1..250}; do kill -0 $! 2> /dev/null || break; sleep 0.1; done
  ! kill -0 $! 2> /dev/null || { end_servers; die "run $folder does not end"; }
  wait $! || die "run $folder: $? $(cat "$folder/console")"
  expect "" "$(cat "$folder/out")" "standard output of $folder"
  report=$(ls "$folder"/*Unknown.XML)
  $gather check "$report" || die "report of $folder"
  $gather sections "$report" | sed 's/: [0-9]*$//' > "$folder.titles"
}
mounts() { $gather table "$report" "Partition Information" "Mounted Filesystems"; }

[ -r /etc/mtab ] || die "no mount table to read"
run before -skip "installed software"
mounts | cut -f 1,2,9 > before.mounts
serve silent dead:/one
serve again dead:/two
serve gone gone:/
kill -9 "${servers[2]}"
serve well well

# ---- a row each, zeros for what cannot be asked; one wait for both folders of a server
run during -skip "installed software"
expect 1 "$(grep -c 'fs_linux: statvfs (110)' during/gatherer.log)" "waits"
zeros=$(printf '0 bytes|0|%.0s' 1 2 3)
expect "$scratch/silent|dead:/one|${zeros}fuse,$scratch/again|dead:/two|${zeros}fuse,\
$scratch/gone|gone:/|${zeros}fuse,$scratch/well|well|3.9 MB|4096000|1003.9 KB|1024000|2.9 MB|3072000|fuse," \
  "$(mounts | tail -n 4 | tr '\t\n' '|,')" "rows"

# ---- the other rows and the rest of the report are those of a healthy machine
expect "" "$(mounts | head -n -4 | cut -f 1,2,9 | diff before.mounts -)" "other mounts"
expect "" "$(diff before.titles during.titles)" "sections and tables"

# ---- a file scan around and of a folder whose server is dead
mkdir tree && : > tree/found && ln -s mute tree/link
serve tree/mute mute
run scan -p FILESCAN "path=$scratch/tree;$scratch/tree/mute" filter=found -probe filescan
for name in mute link; do
  holds scan/gatherer.log "not scanning $name, as its server does not answer"
done
holds scan/Unknown-Unknown-Unknown.FILESCAN.XML "found</"
umount -l tree/mute

# ---- a user whose folder is there
dead_home=$scratch/silent run home -probe "regional settings"
holds home.titles "REGIONAL SETTINGS"

# ---- folders of PATH there: one wait, told, and every command finds its program elsewhere
dead_place=$scratch/silent/bin:$scratch/silent: run path -probe "processes;environment"
expect "PATH: $scratch/silent/bin does not answer, left out" "$(grep PATH path/console)" "PATH"
lacks path/gatherer.log "killed: deadline passed"
$gather table "$report" "Processes" "Process List" | grep -q . || die "no processes"
$gather table "$report" "ENVIRONMENT" "Shell variables" | grep -qF "$scratch/silent/bin:" ||
  die "the environment is not that of the run"

# ---- a run that is ended while it waits goes at once and leaves nothing
mkdir ended
(cd ended && exec "$kestrel" -batch -local -probe "partition information" 2> ../console) & ended=$!
for _ in {1..100}; do grep -qs "Partition" console && break; sleep 0.1; done
sleep 0.5
kill -TERM $ended
for _ in {1..30}; do kill -0 $ended 2> /dev/null || break; sleep 0.1; done
! kill -0 $ended 2> /dev/null || die "the end was waited for"
wait $ended
expect 143 $? "status of a run that was ended"
expect "" "$(ls ended)" "files left"
