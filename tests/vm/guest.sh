#!/bin/bash
# Process 1 of the emulated PC, started by the initramfs: sets the machine up, lets other readers
# and then the program look at it, and leaves everything they said in the folder of the host.
export PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin HOME=/root LANG=C.UTF-8
mount -t proc proc /proc
mount -t sysfs sysfs /sys
mount -t tmpfs run /run
mount -t tmpfs work /work
mkdir -p /dev/pts /work/readers
mount -t devpts devpts /dev/pts
# shellcheck source=/dev/null
. /host/setup >/host/out/setup.log 2>&1
cd /work || exit

# What tells of every SCSI node: name, node of its class, address, type, texts and size in sysfs.
list_scsi() {
  local node device block
  for node in /sys/class/scsi_generic/*; do
    device=$(readlink -f "$node/device")
    block=$(ls "$device/block")
    echo "${node##*/}|$block|${device##*/}|$(cat "$device/type")|$(cat "$device/vendor")|$(
      cat "$device/model")|$(cat "$device/rev")|$(cat "$device/block/$block/size")"
  done
}
list_modules() {
  find "/lib/modules/$(uname -r)" -name '*.ko' | while read -r file; do
    echo "${file##*/}|$(modinfo -F author "$file" | head -n 1)|$(modinfo -F license "$file")|$(
      modinfo -F description "$file")"
  done
}
list_partitions() {
  local name
  while read -r _ _ _ name; do
    [ -b "/dev/$name" ] && tune2fs -l "/dev/$name" 2>/dev/null | sed "s|^|$name:|"
  done </proc/partitions
}
list_mounts() {
  local where
  while read -r _ where _; do
    where=$(printf '%b' "$where")
    stat -f -c '%n|%S|%b|%f' "$where"
  done </proc/mounts
}

dmidecode >readers/dmidecode
lspci -nx >readers/lspci
ip -j addr >readers/addresses
ip -j -s link >readers/links
ip -4 -j route show table all >readers/routes
iptables-save -c >readers/rules 2>&1
list_scsi >readers/scsi
list_modules >readers/modinfo
list_partitions >readers/tune2fs
list_mounts >readers/mounts-statfs
find -L /boot ! -type d -printf '%P|%m|%s\n' >readers/boot
cat /boot/grub/menu.lst >readers/menu 2>/dev/null
for name in cpuinfo meminfo mounts partitions modules swaps cmdline; do
  cat "/proc/$name" >"readers/$name"
done

cp /host/program/* .
./kestrel -batch -debug >stdout 2>console
echo $? >status
cp -r readers stdout console status gatherer.log ./*.KS2 /host/out/
touch /host/out/finished
sync
echo 1 >/proc/sys/kernel/sysrq
echo o >/proc/sysrq-trigger
sleep 60
