#!/usr/bin/env bash
# Runs the program as root in emulated PCs and compares its report with what other readers in the
# same machine say and with what the machine was given.
#
# Usage: run.sh [MACHINE...]      (names in tests/vm/machine; all of them when none is given)
#   KESTREL_VM_CACHE   folder of the kernels and root file systems (~/.cache/kestrel/vm)
#   KESTREL_VM_OUT     folder of the results (build-vm in the repository)
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
# shellcheck source=../../cmake/packages.sh
. "$root/cmake/packages.sh"
install_missing "${BUILD_PACKAGES[@]}" "${VM_PACKAGES[@]}"
# By version: the package without one would take cross compilers away.
install_missing "g++-$(g++ -dumpversion)-multilib"
cache=${KESTREL_VM_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/kestrel/vm}
out=${KESTREL_VM_OUT:-$root/build-vm}
limit=300

build_program() {
  cmake --preset "$1" -S "$root" -B "$2" -G Ninja
  cmake --build "$2" --target kestrel
}

# Starts one machine; its results are left in the folder $1.
emulate() {
  local run=$1 arch=$2 machine=$3 word rest name args=()
  local emulator=qemu-system-x86_64
  [ "$arch" = i386 ] && emulator=qemu-system-i386
  while read -r word rest; do
    rest=${rest//%RUN%/$run}
    case $word in
      '#'* | '' | arch | has) ;;
      disk) truncate -s "${rest#* }" "$run/${rest% *}" ;;
      -*) args+=("$word" "$rest") ;;
      *) echo "$machine: unknown word $word" >&2 && return 1 ;;
    esac
  done <"$machine"
  for name in $(python3 "$here/smbios.py" "${machine%.machine}.smbios" "$run"); do
    args+=(-smbios "file=$name")
  done
  timeout "$limit" "$emulator" -accel tcg -nodefaults -display none -no-reboot \
    -serial "file:$run/serial.log" -kernel "$cache/$arch/vmlinuz" -initrd "$cache/$arch/initramfs" \
    -append "console=ttyS0 quiet panic=-1 net.ifnames=0 mitigations=off" \
    -drive "if=none,id=root,format=raw,snapshot=on,file=$cache/$arch/root.img" \
    -device virtio-blk-pci,drive=root,addr=0x1d \
    -fsdev "local,id=host,path=$run,security_model=none" \
    -device virtio-9p-pci,fsdev=host,mount_tag=host,addr=0x1e "${args[@]}" \
    >"$run/emulator.log" 2>&1 </dev/null || echo "the emulator ended with $?" >&2
  [ -e "$run/out/finished" ] || {
    tail -n 5 "$run/emulator.log" "$run/serial.log" >&2
    return 1
  }
}

# Errors end it through the subshell in which it runs.
prove() {
  local name=$1 machine=$here/machine/$1.machine run=$out/$1 arch preset=release
  arch=$(sed -n 's/^arch //p' "$machine")
  [ "$arch" = i386 ] && preset=i686
  build_program "$preset" "$out/$preset" >"$out/$preset.log" 2>&1 || {
    tail "$out/$preset.log" >&2
    exit 1
  }
  "$here/build.sh" "$arch" "$cache"
  rm -rf "$run"
  mkdir -p "$run/program" "$run/out"
  cp "$out/$preset/kestrel" "$out/$preset/pcidb.txt" "$run/program/"
  cp "$here/guest.sh" "$run/guest.sh"
  cp "${machine%.machine}.setup" "$run/setup"
  emulate "$run" "$arch" "$machine"
  python3 "$here/check.py" "$machine" "$run/out"
}

mkdir -p "$out"
if [ $# = 0 ]; then
  for machine in "$here"/machine/*.machine; do
    set -- "$@" "$(basename "$machine" .machine)"
  done
fi
failed=()
for name; do
  echo "$name:"
  # Not as a condition: there the shell would not stop at the first error.
  set +e
  (set -e; prove "$name")
  # shellcheck disable=SC2181
  [ $? = 0 ] || failed+=("$name")
  set -e
done
[ ${#failed[@]} = 0 ] || {
  echo "FAILED: ${failed[*]}; what the machines left is in $out" >&2
  exit 1
}
