#!/usr/bin/env bash
# The real program on played SCSI generic nodes, some of which never answer, in a mount namespace of
# this script's own. Needs root, /dev/fuse and python3-fusepy.
. "$(dirname "$0")/common.sh"
if [ "${HUNG_SCSI:-}" = "" ]; then
  HUNG_SCSI=yes unshare --mount --propagation private bash "$here/$(basename "$0")" "$build"
  exit
fi
cat > nodes.py <<'EOP'
"""nodes.py FOLDER: disks 0 to 5 as the generic driver's nodes; 1 hangs when it is opened, 3 when it
is asked for its size; 4 and 5 have to spin up for that. A reply to the driver's version 2 interface is a header of 36 bytes and data."""
import stat, sys, threading, time
from fusepy import FUSE, Operations

INQUIRY = b"\0\0\5\x12\x1f\0\0\x12EXAMPLE FAST DISK 36    1.07"
REPLIES = {b"\x12\0": INQUIRY, b"\x12\1": b"\0\x80\0\2S", b"\x25\0": b"\0\0\0\1\0\0\2\0"}

class Nodes(Operations):
    asked = {}

    def getattr(self, path, fh=None):
        return {"st_mode": stat.S_IFDIR | 0o755 if path == "/" else stat.S_IFREG | 0o600,
                "st_size": 1 << 20}

    def open(self, path, flags):
        if path == "/1":
            threading.Event().wait()
        return 0

    def write(self, path, data, offset, fh):
        self.asked[path] = data[36:38]
        return len(data)

    def read(self, path, size, offset, fh):
        if path == "/3" and self.asked[path] == b"\x25\0":
            threading.Event().wait()
        if path in ("/4", "/5") and self.asked[path] == b"\x25\0":
            time.sleep(8)
        reply = REPLIES[self.asked[path]] + (path[1:].encode() if self.asked[path][1] else b"")
        return bytes(36) + reply + bytes(size - 36 - len(reply))

FUSE(Nodes(), sys.argv[1], foreground=True, direct_io=True)
EOP
mkdir disks dev
/usr/bin/python3 nodes.py disks & server=$!
disown
# What hangs ends with the server, and not before.
trap 'kill -9 $server 2> /dev/null; umount -l "$scratch/disks"
  umount -lR "$scratch/dev"; rm -rf "$scratch"' EXIT
for _ in {1..100}; do grep -q " $scratch/disks fuse" /proc/mounts && break; sleep 0.1; done
mount -t tmpfs none dev || die "no folder for the nodes"
for name in null zero urandom; do
  : > dev/$name
  mount --bind /dev/$name dev/$name
done
for disk in 0 1 2 3 4 5; do ln -s "$scratch/disks/$disk" dev/sg$disk; done
mount --rbind dev /dev

mkdir work ended
cd work || exit 1
timeout -s KILL 40 "$kestrel" -batch -local -debug -probe "SCSI Devices" 2> console ||
  die "run: $? $(cat console)"
report=$(ls ./*.XML)
$gather check "$report" || die "check of the report"
healthy() { echo "sg$1|EXAMPLE |FAST DISK 36    |1.07|Disk|0|0|0|0|S$1|512 bytes"; }
expect "$(healthy 0; echo 'sg1||||Disk|0|0|0|0||'; healthy 2; healthy 3 | sed 's/512 bytes//'
healthy 4; healthy 5)" "$($gather table "$report" "SCSI Devices" "SCSI Devices" | tr '\t' '|')" "rows"
for disk in 1 3; do
  expect 1 "$(grep -c "SCSI PROBE: /dev/sg$disk does not answer" console)" "notices of $disk"
  expect 1 "$(grep -c "worker: no progress at '/dev/sg$disk'" gatherer.log)" "waits for $disk"
done
expect 5 "$(grep -c 'scsi: found /dev/sg' gatherer.log)" "nodes found"

cd ../ended || exit 1
"$kestrel" -batch -local -probe "SCSI Devices" 2> ../console & ended=$!
sleep 1
kill -TERM $ended
for _ in {1..20}; do kill -0 $ended 2> /dev/null || break; sleep 0.1; done
! kill -0 $ended 2> /dev/null || die "the end was waited for"
