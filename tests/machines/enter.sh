#!/usr/bin/env bash
# enter.sh ROOT COMMAND [ARGUMENT...]: runs a command on a recorded machine: in a mount namespace in
# which what ROOT holds lies over the real system. Needs root.
#
#   ROOT/etc, ROOT/boot, ROOT/root, ROOT/var/log, ROOT/var/kestrel...  replace the whole folder
#   ROOT/proc/FILE                            replaces that one file
#   ROOT/dev                                  is added to a small /dev of the usual nodes
#   ROOT/bin                                  comes first on PATH
#   ROOT/environment                          NAME=VALUE lines, the only environment besides PATH
set -eu
root=$(cd "$1" && pwd)
shift
if [ "${IN_MACHINE:-}" != "$root" ]; then
  IN_MACHINE=$root exec unshare --mount --propagation private \
    bash "$(realpath "${BASH_SOURCE[0]}")" "$root" "$@"
fi

lay_over() {
  mkdir -p "$2"
  mount --bind "$1" "$2"
}
for folder in etc boot root home var/log lib/modules usr/local; do
  [ -d "$root/$folder" ] && lay_over "$root/$folder" "/$folder"
done
if [ -d "$root/proc" ]; then
  (cd "$root/proc" && find . -type f) | while read -r file; do
    mount --bind "$root/proc/$file" "/proc/$file"
  done
fi
if [ -d "$root/dev" ]; then
  # Built beside the real one, then laid over it.
  mkdir -p /mnt && mount -t tmpfs -o mode=755 none /mnt
  for node in null zero full random urandom tty fuse; do
    [ -e "/dev/$node" ] || continue
    touch "/mnt/$node" && mount --bind "/dev/$node" "/mnt/$node"
  done
  cp -r "$root/dev/." /mnt/
  mount --rbind /mnt /dev
fi

environment=(PATH="$root/bin:/usr/sbin:/usr/bin:/sbin:/bin" HOME=/root)
if [ -f "$root/environment" ]; then
  while IFS= read -r line; do environment+=("$line"); done < "$root/environment"
fi
exec env -i "${environment[@]}" "$@"
