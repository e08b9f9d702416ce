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

# A tree for the file scan: names, sizes, modes, owners, times and links.
mkdir -p tree/deep/er tree/other/empty
touch tree/other/skipped.conf "tree/deep/it's <&> \"quoted\".conf"
touch -d '1999-12-31 23:59:59' tree/deep/er/{grün,write-only}.conf
touch -a -d '2038-01-19 03:14:07' tree/other/n
truncate -s 5G tree/other/large.conf
ln -s ../deep tree/other/again
chmod 200 tree/deep/er/write-only.conf
chmod 640 tree/other/n tree/deep/er/grün.conf
chown 4321:54321 tree/other/large.conf
chown 33:4 tree/other/n
chmod 4755 tree/other/large.conf
tree_fields='%f|%h|%C+|%A+|%T+|%s|%m|%U|%G\n'

dmidecode >readers/dmidecode
lspci -n >readers/lspci
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
for name in /proc/{cpuinfo,meminfo,mounts,partitions,modules,swaps,cmdline,sys/kernel/hostname} \
  /etc/{passwd,group}; do
  cat "$name" >"readers/${name##*/}"
done

cp /host/program/* .
date +%s >readers/began
./kestrel -batch -debug -p FILESCAN "path=/work/tree/deep;/work/tree/other" \
  "filter=*.conf;n*" "ignore=skip*;*.o" mask=0440 >stdout 2>console
echo $? >status
date +%s >readers/ended
find -L /work/tree/{deep,other} -type f \( -name '*.conf' -o -name 'n*' \) ! -name "skip*" \
  -perm /0440 -printf "$tree_fields" >readers/scanned

# The scan inside the report, the time of the hardware pass, and what the PCI scan opens.
./kestrel -batch -local -stdout -probes FILESCAN "CPU Information" -p FILESCAN \
  path=/work/tree "filter=*" check=0640 date=no size=no version=all >readers/inline 2>/dev/null
find -L /work/tree -type f -perm 0640 -printf "$tree_fields" >readers/scanned-inline
TIMEFORMAT='%U s user, %S s system'
{ time ./kestrel -batch -local -probes "SCSI Devices" "PCI DEVICES" "PCI ADAPTER INFORMATION" \
  "CPU Information" "Firmware Information" "SMBIOS INFORMATION" &>/dev/null; } 2>readers/cpu-time
strace -f -e trace=openat -o readers/opened ./kestrel -batch -local -probes "PCI DEVICES" &>/dev/null
cp -r readers stdout console status gatherer.log ./*.KS2 /host/out/
touch /host/out/finished
sync
echo 1 >/proc/sys/kernel/sysrq
echo o >/proc/sysrq-trigger
sleep 60
