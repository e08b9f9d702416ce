#!/usr/bin/env bash
# File systems whose server stops answering, in a mount namespace of this script's own: FUSE servers
# that stop at one call, for good or by dying, wherever a run can meet them. No signal reaches a
# process that waits for one. Needs root, /dev/fuse and python3-fusepy.
. "$(dirname "$0")/common.sh"
if [ "${DEAD_MOUNTS:-}" = "" ]; then
  DEAD_MOUNTS=yes unshare --mount --propagation private bash "$here/$(basename "$0")" "$build"
  exit
fi
cat > server.py << 'EOP'
"""server.py FOLDER NAME CALL:PATH stay|die [TARGET]: FOLDER is mounted from NAME until that call
comes. It has a link "way" to TARGET. Where there is a folder FOLDER.behind, it shows that, and CALL
may be the number of a request. FOLDER.met tells that the call has come."""
import errno, os, signal, stat, sys
from fusepy import FUSE, FuseOSError, Operations

NAMES = ["e1", "e2", "e3", "e4", "e5", ".i18n", "d"]
FILES = NAMES + ["e6"]
TEXT = b"LANG=de_DE\n" + b"#\n" * 150000

class Server(Operations):
    def meet(self, call, path):
        if f"{call}:{path}" != sys.argv[3]:
            return
        open(sys.argv[1] + ".met", "w").close()
        if sys.argv[4] == "die":
            os.kill(os.getpid(), signal.SIGKILL)
        while True:
            signal.pause()

    def getattr(self, path, fh=None):
        self.meet("getattr", path)
        name = path.rsplit("/", 1)[1]
        if name == "way":
            return {"st_mode": stat.S_IFLNK | 0o777, "st_nlink": 1}
        if name == "" or name == "d":
            return {"st_mode": stat.S_IFDIR | 0o755, "st_nlink": 2}
        if name not in FILES:
            self.meet("getattr", "other")
            raise FuseOSError(errno.ENOENT)
        return {"st_mode": stat.S_IFREG | 0o644, "st_size": len(TEXT), "st_nlink": 1}

    def access(self, path, mode):
        self.meet("access", path)

    def readlink(self, path):
        return sys.argv[5]

    def opendir(self, path):
        self.meet("opendir", path)
        return 0

    def readdir(self, path, fh):
        self.meet("readdir", path)
        return [".", ".."] + (["way"] * (len(sys.argv) > 5) + NAMES if path == "/" else ["e6"])

    def open(self, path, flags):
        self.meet("open", path)
        return 0

    def read(self, path, size, offset, fh):
        self.meet("read" if offset == 0 else "more", path)
        return TEXT[offset:offset + size]

    def statfs(self, path):
        self.meet("statfs", "/")
        return {"f_bsize": 65536, "f_frsize": 4096, "f_blocks": 1000, "f_bfree": 250}

class Folder(Server):
    asked = 0

    def __call__(self, call, *words):
        self.asked += call not in ("init", "destroy")
        self.meet(call, "/")
        self.meet(self.asked, "/")
        return getattr(self, call)(*words)

    def at(self, path): return sys.argv[1] + ".behind" + path
    def getattr(self, path, fh=None):
        found = os.lstat(self.at(path))
        return {key: getattr(found, key) for key in ("st_mode", "st_size", "st_nlink")}
    def create(self, path, mode): return os.open(self.at(path), os.O_RDWR | os.O_CREAT | os.O_EXCL, mode)
    def write(self, path, data, offset, fh): return os.pwrite(fh, data, offset)
    def flush(self, path, fh): return 0
    def release(self, path, fh): os.close(fh)
    def rename(self, old, new): os.rename(self.at(old), self.at(new))

SERVED = Folder if os.path.exists(sys.argv[1] + ".behind") else Server
FUSE(SERVED(), sys.argv[1], fsname=sys.argv[2], foreground=True, nothreads=True)
EOP
: > servers
end_servers() {
  while read -r server folder; do
    kill -9 "$server" 2> /dev/null
    umount -l "$folder" 2> /dev/null
  done < "$scratch/servers"
  : > "$scratch/servers"
}
trap 'end_servers; rm -rf "$scratch"' EXIT
serve() {  # FOLDER NAME CALL:PATH stay|die [TARGET]
  [ -e "$1" ] || mkdir -p "$1"
  /usr/bin/python3 "$scratch/server.py" "$@" < /dev/null > /dev/null 2>&1 &
  echo "$! $1" >> "$scratch/servers"
  disown
  for _ in {1..300}; do grep -q " $1 fuse" /proc/self/mounts && return; sleep 0.1; done
  die "$1 is not mounted"
}
# run FOLDER OPTION...: its standard error ends in a pipe, which nobody may hold behind the run
run() {
  local folder=$1
  mkdir -p "$folder"
  (cd "$folder" && { timeout -s KILL 30 env "PATH=${tools:-}$PATH" "$kestrel" -batch -local "${@:2}" 2>&1 > out |
    timeout -s KILL 30 cat > console; exit "${PIPESTATUS[0]}"; })
}
[ -r /etc/mtab ] || die "no mount table to read"

# ---- met by a file scan: CALL:PATH, the entries that must have a row whether it stays or dies, and
# ---- how the scan gets there
scan_case() {  # NUMBER CALL:PATH ENTRIES stay|die WAY
  local at=$scratch/scan$1
  mkdir -p "$at/tree/a/deep" "$at/tree/z"
  touch "$at/tree/one" "$at/tree/a/deep/two" "$at/tree/z/three"
  local dead=$at/tree/dead path="$at/tree"
  [ "$5" = met ] || dead=$at/dead
  [ "$5" = named ] && path="$at/tree;$dead"
  [ "$5" = link ] && { ln -s ../../dead "$at/tree/a/way"; ln -s ../dead/e4 "$at/tree/b"; }
  serve "$dead" "dead$1:/x" "$2" "$4"
  serve "$at/tree/well" "well$1:/x" none "$4"
  run "$at/run" -fdebug -probe filescan -p FILESCAN "path=$path" 'filter=*'
  echo "status $?" > "$at/verdict"
  local report=$at/run/Unknown-Unknown-Unknown.FILESCAN.XML entry
  for entry in one a/deep/two z/three well/e1 well/e5 well/d/e6; do
    grep -qF "<filename>${entry##*/}</filename>" "$report" || echo "no $entry" >> "$at/verdict"
  done
  for entry in $3; do
    [ "$(grep -cF "<filename>$entry</filename>" "$report")" -ge 2 ] || echo "no dead/$entry" >> "$at/verdict"
  done
  [ "$4" = die ] || grep -qF "$dead: does not answer" "$at/run/console" || echo silence >> "$at/verdict"
}
number=0
while read -r call entries; do
  for way in named met link; do
    for mode in stay die; do
      number=$((number + 1))
      scan_case $number "$call" "$entries" $mode $way &
      [ $((number % 10)) -ne 0 ] || wait
    done
  done
done << 'EOC'
opendir:/
readdir:/
getattr:/e1
getattr:/e3 e1 e2
getattr:/d e1 e2 e3 e4 e5
opendir:/d e1 e2 e3 e4 e5
EOC
wait
for i in $(seq $number); do
  expect "status 0" "$(cat "$scratch/scan$i/verdict")" "scan $i: $(tail -n 3 "$scratch/scan$i/run/gatherer.log")"
done

end_servers

# ---- sizes: a row each, zeros for what cannot be asked, one wait for both folders of a server; the
# ---- other rows are those of a healthy machine, and what waits to be mounted is not mounted
mounts() {
  $gather table "$1"/Unknown-Unknown-Unknown.XML "Partition Information" "Mounted Filesystems" |
    grep -vF "$scratch/scan"
}
run before -probe "partition information" || die "run before"
serve "$scratch/silent" dead:/one statfs:/ stay
serve "$scratch/again" dead:/two none stay
serve "$scratch/gone" gone:/ statfs:/ die
serve "$scratch/well" well none stay
run during -fdebug -probe "partition information" || die "run during"
expect 1 "$(grep -c "$scratch/silent: does not answer, left out" during/console)" "lines about a server"
lacks during/console "$scratch/again"
zeros=$(printf '0 bytes|0|%.0s' 1 2 3)
expect "$scratch/silent|dead:/one|${zeros}fuse,$scratch/again|dead:/two|${zeros}fuse,\
$scratch/gone|gone:/|${zeros}fuse,$scratch/well|well|3.9 MB|4096000|1003.9 KB|1024000|2.9 MB|3072000|fuse," \
  "$(mounts during | tail -n 4 | tr '\t\n' '|,')" "rows"
expect "" "$(mounts during | head -n -4 | cut -f 1,2,9 | diff <(mounts before | cut -f 1,2,9) -)" "other mounts"

end_servers

# ---- many servers at once, in the mount table and in a scan
mkdir many
for i in {10..27}; do serve "$scratch/many/m$i" "many$i:/x" statfs:/ stay; done
serve "$scratch/many/well" many:/well none stay
run scanned -probe filescan -p FILESCAN "path=$scratch/many" 'filter=*' & scan=$!
run asked -probe "partition information" || die "run beside many"
wait $scan || die "scan of many: $?"
expect "$(echo m{10..27} well | tr ' ' '\n')" "$(mounts asked | cut -f 1 | sed -n "s|$scratch/many/||p")" "rows of many"
for folder in asked scanned; do
  expect 18 "$(grep -c "many/m.*: does not answer, left out" $folder/console)" "notices: $folder"
done
holds scanned/Unknown-Unknown-Unknown.FILESCAN.XML "<filename>e6</filename>"
end_servers

# ---- what waits to be mounted is not: its daemon, which answers nothing, is not asked
cat > daemon.py << 'EOP'
"""daemon.py FOLDER direct, or FOLDER indirect HEALTHY: that is mounted at the names a and z."""
import ctypes, os, signal, subprocess, sys
os.setsid()  # the daemon's own group is let through
hears, kernel = os.pipe()
options = f"fd={kernel},pgrp={os.getpgrp()},minproto=5,maxproto=5,{sys.argv[2]}"
libc = ctypes.CDLL(None, use_errno=True)
if libc.mount(b"waiting", sys.argv[1].encode(), b"autofs", 0, options.encode()) != 0:
    sys.exit(os.strerror(ctypes.get_errno()))
for name in ("a", "bad", "z") * (sys.argv[2] == "indirect"):
    os.mkdir(f"{sys.argv[1]}/{name}")
    if name != "bad":
        subprocess.run(["mount", "--bind", sys.argv[3], f"{sys.argv[1]}/{name}"], check=True)
print("ready", flush=True)
signal.pause()
EOP
automount() {  # FOLDER direct|indirect [HEALTHY]
  local says=$scratch/daemon${1//\//-}
  mkdir -p "$1"
  /usr/bin/python3 "$scratch/daemon.py" "$@" > "$says" &
  echo "$! $1" >> "$scratch/servers"
  disown
  for _ in {1..300}; do grep -qs ready "$says" && return; sleep 0.1; done
  die "no automounter at $1"
}
automount "$scratch/waiting" direct
run automount -fdebug -probe "partition information" || die "run beside an automount point"
lacks automount/console "does not answer"
holds automount/gatherer.log "fs_linux: $scratch/waiting only waits to be mounted"
lacks automount/gatherer.log "statvfs (0)"
expect "$scratch/waiting|waiting|${zeros}autofs" \
  "$(mounts automount | grep -F "$scratch/waiting" | tr '\t' '|')" "row of an automount point"
end_servers

# ---- only what hangs is left out: not the healthy mount with a link to it, nor the automounter, nor
# ---- folders that were found over it before
blame_case() {  # inner|hop|file|auto|past: what in a tree leads to which dead one
  local at=$scratch/$1 dead=$scratch/$1/dead
  mkdir -p "$at/tree" "$at/good"
  touch "$at/tree/one" "$at/good/two"
  [ "$1" != hop ] || ln -s well/way "$at/tree/link"
  case $1 in
    file) dead=$at/tree/dead && touch "$dead" && serve "$dead" "$1:/x" getattr:/ stay ;;
    auto) dead=$at/tree/net/bad && automount "$at/tree/net" indirect "$at/good" ;;
    past)
      mkdir "$at/good/s1" "$at/good/s2"
      mv "$at/good/two" "$at/good/s1" && touch "$at/good/s2/two"
      ln -s ../dead/e1 "$at/good/x"
      ln -s ../dead/way "$at/tree/b"
      serve "$dead" "$1:/x" getattr:/e1 stay "$at/good"
      ;;
    *) serve "$dead" "$1:/x" getattr:/e1 stay ;;
  esac
  serve "$at/tree/well" "well-$1:/x" none stay "$at/dead/e1"
  run "$at/run" -probe filescan -p FILESCAN "path=$at/tree" 'filter=*'
  echo "status $?" > "$at/verdict"
  grep "does not answer" "$at/run/console" | tr -d '\r' >> "$at/verdict"
  grep -o '<filename>[a-z0-9.]*' "$at/run/Unknown-Unknown-Unknown.FILESCAN.XML" | cut -d '>' -f 2 |
    sort >> "$at/verdict"
  [ "$1" = auto ] || [ "$1" = past ] || printf 'two\ntwo\n' >> "$at/verdict"
  echo "status 0 $dead: does not answer, left out .i18n e1 e2 e3 e4 e5 e6 one two two" > "$at/wanted"
}
blames=(inner hop file auto past)
for blame in "${blames[@]}"; do blame_case "$blame" & done
wait
for blame in "${blames[@]}"; do
  expect "$(cat "$blame/wanted")" "$(tr '\n' ' ' < "$blame/verdict" | sed 's/ $//')" "$blame"
done
end_servers

# ---- as home, and as a file to be stored
place_case() {  # NUMBER home|store CALL:PATH stay|die WANTED
  local at=$scratch/place$1 status text
  serve "$at/dead" "place$1:/x" "$3" "$4"
  if [ "$2" = home ]; then
    HOME=$at/dead run "$at/run" -probe "regional settings"
    status=$?
    text="$(grep -c 'ID="Current Thread"' "$at/run/Unknown-Unknown-Unknown.XML") $(
      grep -c de_DE "$at/run/Unknown-Unknown-Unknown.XML") $(grep -c dead "$at/run/console")"
  else
    (mkdir "$at/run" && cd "$at/run" && exec timeout -s KILL 30 "$kestrel" -batch \
      -textfile "$at/dead/.i18n" -dgmlfile "$at/dead/.i18n" > "$at/out" 2> "$at/told")
    status=$?
    holds "$at/told" "$at/dead/.i18n: not read whole"
    text=$($gather list "$at/run"/*.KS2 | grep -E "^(66|18) ")
  fi
  echo "$status $text" > "$at.verdict"
}
number=0
while read -r place call mode wanted; do
  number=$((number + 1))
  wants[number]=$wanted
  place_case $number "$place" "$call" "$mode" &
done << 'EOC'
home none stay 0 1 1 0
home getattr:/.i18n stay 0 1 0 1
home open:/.i18n stay 0 1 0 1
home read:/.i18n stay 0 1 0 1
home more:/.i18n stay 0 1 1 1
home more:/.i18n die 0 1 1 1
store more:/.i18n die 1
EOC
wait
for i in $(seq $number); do
  expect "${wants[i]}" "$(sed 's/ $//' "$scratch/place$i.verdict")" "place $i"
done
end_servers

# ---- a server that stops between two questions about one file
serve /boot boot:/x access:/ stay
run between -fdebug -probe "linux startup information" || die "run beside a boot folder: $?"
expect 1 "$(grep -c "/boot: does not answer, left out" between/console)" "lines about /boot"
end_servers

# ---- as working folder: the server stops before or while it takes the files. Each is whole in its
# ---- place or in a local folder that a line names, and nothing else is left; the rows are there.
work_case() {  # NUMBER CALL|NUMBER stay|die TERM|- FOLDER OPTION...
  local at=$scratch/work$1 run status file
  mkdir -p "$at/dead.behind" "$at/local" "$at/run"
  serve "$at/dead" "work$1:/x" "$2:/" "$3"
  (cd "$at/$5" && TMPDIR=$at/local exec timeout -s KILL 30 "$kestrel" -batch \
    -probe "pci devices;processes" "${@:6}" > "$at/out" 2> "$at/told") & run=$!
  if [ "$4" != - ]; then
    for _ in {1..300}; do [ -e "$at/dead.met" ] && break; sleep 0.1; done
    kill -"$4" $run
  fi
  wait $run
  status=$?
  # What a server had begun to take when it stopped is its own.
  [ ! -e "$at/dead.met" ] || rm -f "$at"/dead.behind/kestd*.tmp
  for file in $(find "$at/dead.behind" "$at/local" "$at/run" -name '*.KS2'); do
    "$build/ks2" verify "$file" > /dev/null || status="$status damaged"
    [ "$4" = - ] || continue
    $gather table "$file" Processes "Process List" > "$at/rows"
    [ -s "$at/rows" ] || status="$status empty"
  done
  for file in $(find "$at/local" -type f); do grep -qF "$file" "$at/told" || status="$status untold"; done
  echo "$status" $(cd "$at" && find dead.behind local run -mindepth 1 |
    sed 's,kestrel-[^/]*,-,;s,Unknown-Unknown-Unknown,U,' | sort) > "$at/verdict"
}
kept="local/- local/-/U.KS2"
works=(
  "none stay - dead|0 dead.behind/U.KS2 dead.behind/gatherer.log|-fdebug"
  "none stay - dead|0 dead.behind/U.FILESCAN.XML dead.behind/U.XML|-local -p FILESCAN path=/etc filter=hosts -probe filescan"
  "3 stay - dead|1 $kept"  # the first requests are those of the shell above
  "6 stay - dead|1 $kept local/-/gatherer.log|-debug"
  "create stay - dead|1 $kept"
  "create die - dead|1 $kept"
  "write stay - dead|1 local/- local/-/U.XML|-local"
  "flush stay - dead|1 $kept"
  "rename stay - dead|1 $kept"
  "rename die - dead|1 $kept"
  "release stay - dead|0 dead.behind/U.KS2"
  "create stay - run|1 local/- local/-/x.KS2|-filename ../dead/x"
  "3 stay TERM dead|143 $kept"
  "create stay TERM dead|143 $kept"
)
# shellcheck disable=SC2086
for i in "${!works[@]}"; do
  IFS='|' read -r call _ options <<< "${works[i]}"
  work_case "$i" $call $options &
  [ $((i % 7)) -ne 6 ] || wait
done
wait
for i in "${!works[@]}"; do
  IFS='|' read -r _ wanted _ <<< "${works[i]}"
  expect "$wanted" "$(cat "work$i/verdict")" "work, ${works[i]}: $(cat "work$i/told")"
done
end_servers

# ---- folders of PATH there: one wait, told, and every command finds its program elsewhere
serve "$scratch/tools" tools: getattr:other stay
tools=$scratch/tools/bin:$scratch/tools: run path -fdebug -probe "processes;environment" || die "tools"
expect 1 "$(grep -c "$scratch/tools: does not answer, left out" path/console)" "lines about PATH"
lacks path/gatherer.log "killed: deadline passed"
report=path/Unknown-Unknown-Unknown.XML
[ -n "$($gather table $report "Processes" "Process List")" ] || die "no processes"
$gather table $report "ENVIRONMENT" "Shell variables" > variables
holds variables "$scratch/tools/bin:"

# ---- a run that is ended while it waits goes at once, long before the server is given up
serve "$scratch/late" late: readdir:/ stay
for what in "-probe filescan -p FILESCAN path=$scratch/late filter=*" "-probe partition_information"; do
  rm -rf ended && mkdir ended
  # shellcheck disable=SC2086
  (cd ended && set -f && exec "$kestrel" -batch -local $what 2> ../console) & ended=$!
  for _ in {1..300}; do grep -qs "FILESCAN\|Partition" console && break; sleep 0.1; done
  sleep 1
  kill -TERM $ended
  wait $ended
  expect 143 $? "status of a run that was ended"
  lacks console "does not answer"
  expect "" "$(find ended -name '*.tmp')" "files left"
  end_servers
  serve "$scratch/later" later: statfs:/ stay
done
