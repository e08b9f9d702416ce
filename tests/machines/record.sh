#!/usr/bin/env bash
# record.sh FOLDER: records the machine that it runs on as a new one for test_machines.sh: copies the
# files that the probes read, runs the tools that they run, and keeps what these print. Best run as
# root, in a copy of this folder. Afterwards:
#
#   look through FOLDER: logs, accounts, serial numbers and hosts are those of a real machine;
#   add FOLDER/mounts and FOLDER/prepare by hand where more is needed (see enter.sh, rpmserver);
#   UPDATE=1 bash tests/run/test_machines.sh BUILD-FOLDER NAME; read "expected" before it is kept.
#
# Not recorded, because no file replaces it: the network, the processor, SCSI devices, sizes of
# mounted file systems, and all of the environment but a few harmless names.
set -u
[ $# -eq 1 ] || { sed -n '2,12s/^# \{0,1\}//p' "$0"; exit 1; }
mkdir -p "$1" && cd "$1" || exit 1
echo "umask 022" > prepare

for path in /etc/{debian_version,mandrake-release,redhat-release,SuSE-release,turbolinux-release} \
  /etc/{issue,inittab,hosts,resolv.conf,passwd,group,crontab,mtab,modules.conf,localtime} \
  /etc/sysconfig/{i18n,language} /etc/X11/{xorg.conf,XF86Config,XF86Config-4} \
  /root/{.i18n,.profile} /boot/{grub.conf,menu.lst} /boot/grub/{grub.conf,menu.lst} \
  /proc/{cmdline,meminfo,interrupts,iomem,ioports,dma,modules,partitions}; do
  [ -r "$path" ] || continue
  mkdir -p ".${path%/*}" && cat "$path" > ".$path"
done
# What stands in these folders matters by its name alone.
find /etc/init.d/ -type f 2> /dev/null | while read -r path; do
  mkdir -p ".${path%/*}" && : > ".$path"
done
for path in /etc/rc?.d/*; do
  [ -e "$path" ] || [ -L "$path" ] || continue
  mkdir -p ".${path%/*}" && ln -s "$(readlink "$path" || echo ../init.d/none)" ".$path"
done
(cd /boot && find . -type f ! -path './grub/*' 2> /dev/null \
  -printf 'mkdir -p "boot/%h" && truncate -s %s "boot/%P" && chmod %m "boot/%P"\n') >> prepare
for path in /var/log/messages* /var/log/boot /var/log/boot.msg /var/log/boot.log; do
  [ -f "$path" ] || continue
  mkdir -p var/log && tail -n 50 "$path" > ".$path"
  echo "touch -d '$(stat -c %y "$path")' '.$path'" >> prepare
done
for path in /proc/bus/pci/??/*; do
  [ -f "$path" ] && mkdir -p ".${path%/*}" && head -c 256 "$path" > ".$path"
done
# The BIOS area at its place in an otherwise empty megabyte.
mkdir -p dev && truncate -s 983040 dev/mem && { head -c 1048576 /dev/mem | tail -c 65536; } \
  2> /dev/null >> dev/mem || rm dev/mem

# answer TOOL ARGUMENT...: named as stand_in.sh looks them up
answer() {
  command -v "$1" > /dev/null || return
  local file
  file=answers/$1/$(printf '%s' "${*:2}" | tr -c 'A-Za-z0-9.-' _ | cut -c 1-60)
  [ $# -gt 1 ] || file=${file}none
  mkdir -p bin "answers/$1"
  "$@" > "$file" 2> /dev/null < /dev/null || echo $? > "$file.rc"
  printf '#!/bin/sh\n. "${0%%/*}/../../stand_in.sh"\n' > "bin/$1" && chmod 755 "bin/$1"
}
answer uname -r
format='Name: %{NAME}\nVersion: %{VERSION}-%{RELEASE}\nVendor: %{VENDOR}\nDescription: %{SUMMARY}\n'
format=$format'Group: %{GROUP}\nInstallDate: %{INSTALLTIME:day}\nSize: %{SIZE}\n---EOP---\n'
answer rpm --query --all --queryformat "$format"
format='Name: %p++Version: %v++Maintainer: %m++Description: %d++Group: %s++Size: %I++---EOP---'
answer aptitude search '~i~T' -F "$format" -w 512
answer ps --no-headers -eo pid,comm,user,nice,pcpu,pmem,stat --sort pid
answer iptables -L
for chain in INPUT FORWARD OUTPUT; do answer iptables -L $chain -n -v --line-numbers; done
while read -r _ _ _ name; do
  [ -b "/dev/$name" ] && answer tune2fs -l "/dev/$name"
done < /proc/partitions 2> /dev/null
answer xrandr
answer xdpyinfo
# Of the modules those that are loaded: every one costs three answers.
cut -d ' ' -f 1 /proc/modules 2> /dev/null | while read -r name; do
  path=$(find "/lib/modules/$(uname -r)" \( -name "$name.ko" -o -name "$name.o" \) | head -n 1)
  [ -n "$path" ] || continue
  for field in -a -l -d; do answer modinfo $field "$path"; done
  echo "mkdir -p '.${path%/*}' && touch '.$path'" >> prepare
done
for browser in dillo konqueror elinks wren {,mozilla-}firefox{,-bin} mozilla; do
  version=$($browser --version 2> /dev/null < /dev/null) || continue
  mkdir -p bin
  printf '#!/bin/sh\necho %q\n' "$version" > bin/$browser && chmod 755 bin/$browser
done

hostname > hostname
env | grep -E '^(LANG|LC_[A-Z]+|TZ|TERM|DISPLAY)=' > environment
for tool in sh bash cat tr cut ls grep egrep sed awk tail head find which basename dirname readlink
do
  command -v $tool > /dev/null && echo $tool
done > tools
