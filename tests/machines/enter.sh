#!/usr/bin/env bash
# enter.sh ROOT COMMAND [ARGUMENT...]: runs a command on a recorded machine: in namespaces in which
# what ROOT holds lies over the real system, and the network is a loopback device. Needs root.
#
#   ROOT/etc, ROOT/boot, ROOT/root, ROOT/var/log, ROOT/var/kestrel...  replace the whole folder
#   ROOT/proc           replaces /proc; of the real one only sys and the process itself stay
#   ROOT/dev            is added to a small /dev of the usual nodes
#   ROOT/bin            comes first on PATH
#   ROOT/tools          names the only programs of the real system that are on PATH
#   ROOT/mounts         FOLDER SIZE lines: an empty file system of that size is mounted there, not
#                       on /mnt, which the machine itself needs
#   ROOT/hostname       the machine's name
#   ROOT/environment    NAME=VALUE lines, the only environment besides PATH and HOME
set -eu
root=$(cd "$1" && pwd)
shift
if [ "${IN_MACHINE:-}" != "$root" ]; then
  IN_MACHINE=$root exec unshare --mount --uts --net --propagation private \
    bash "$(realpath "${BASH_SOURCE[0]}")" "$root" "$@"
fi

lay_over() {
  mkdir -p "$2"
  mount --bind "$1" "$2"
}

# What needs the real system comes before anything is laid over it; /mnt holds what is put together.
if [ -f "$root/hostname" ]; then cat "$root/hostname" > /proc/sys/kernel/hostname; fi
python3 - << 'LOOPBACK'
import fcntl, socket, struct
up, set_flags = 0x1, 0x8914
fcntl.ioctl(socket.socket(), set_flags, struct.pack("16sH22x", b"lo", up))
LOOPBACK
mkdir -p /mnt && mount -t tmpfs -o mode=755 none /mnt
mkdir /mnt/tools /mnt/dev /mnt/proc
path=$root/bin:/usr/sbin:/usr/bin:/sbin:/bin
if [ -f "$root/tools" ]; then
  path=$root/bin:/mnt/tools
  while read -r tool; do
    place=$(command -v "$tool")
    ln -s "$(realpath "$place")" "/mnt/tools/$tool"
  done < "$root/tools"
  # Commands look here too.
  mkdir /mnt/none
  for folder in /usr/local/sbin /usr/sbin /sbin; do
    if [ -d "$folder" ] && [ ! -L "$folder" ]; then mount --bind /mnt/none "$folder"; fi
  done
fi

for folder in etc boot root home var/log lib/modules usr/local; do
  if [ -d "$root/$folder" ]; then lay_over "$root/$folder" "/$folder"; fi
done
if [ -f "$root/mounts" ]; then
  while read -r folder size; do mount -t tmpfs -o "size=$size" none "$folder"; done < "$root/mounts"
fi
if [ -d "$root/dev" ]; then
  for node in null zero full random urandom tty fuse; do
    [ -e "/dev/$node" ] || continue
    touch "/mnt/dev/$node" && mount --bind "/dev/$node" "/mnt/dev/$node"
  done
  cp -r "$root/dev/." /mnt/dev/
  mount --rbind /mnt/dev /dev
fi
if [ -d "$root/proc" ]; then
  mkdir /mnt/proc/.real && mount --bind /proc /mnt/proc/.real
  for entry in self sys $$; do ln -s ".real/$entry" "/mnt/proc/$entry"; done
  (cd "$root/proc" && find . -type f) | while read -r file; do
    mkdir -p "$(dirname "/mnt/proc/$file")"
    touch "/mnt/proc/$file" && mount --bind "$root/proc/$file" "/mnt/proc/$file"
  done
  mount --rbind /mnt/proc /proc
fi

environment=(PATH="$path" HOME=/root)
if [ -f "$root/environment" ]; then
  while IFS= read -r line; do environment+=("$line"); done < "$root/environment"
fi
exec /usr/bin/env -i "${environment[@]}" "$@"
