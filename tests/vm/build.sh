#!/usr/bin/env bash
# Fills a cache folder outside the repository with what an emulated PC of one architecture boots: a
# kernel, an initramfs that loads the drivers, and a root file system, all unpacked from Debian
# packages. Nothing is installed here and no root rights are needed.
#
# Usage: build.sh amd64|i386 CACHE    (what this script has built already is left as it is)
set -euo pipefail

PATH=$PATH:/usr/sbin:/sbin
arch=$1
cache=$(mkdir -p "$2/$1" && cd "$2/$1" && pwd)
cmp -s "$0" "$cache/built-by" && exit 0

# The guest's userland: what the program starts, and the readers that its tables are compared with.
packages=(base-files base-passwd bash coreutils debianutils findutils grep sed mawk hostname
  libc-bin util-linux mount fdisk e2fsprogs procps kmod iproute2 iptables dmidecode pciutils strace)
# Loaded in the initramfs, in this order; what they depend on goes before them.
drivers=(virtio_pci virtio_blk crc32c_generic ext4 9p 9pnet_virtio
  sd_mod sr_mod sym53c8xx ata_piix uhci_hcd ehci_pci usb_storage sg isofs
  e1000 virtio_net ne2k_pci 8139cp dummy tun
  iptable_filter xt_tcpudp xt_comment xt_conntrack xt_multiport ipt_REJECT)
# Module files of the root, which the program lists: each costs a second of the emulated processor.
kept=(sg dummy bonding)

apt() {
  local command=$1
  shift
  "$command" -q -o Dir::State="$cache/apt" -o Dir::State::status="$cache/apt/status" \
    -o Dir::Cache="$cache/apt" -o Dir::Cache::archives="$cache/packages" -o Debug::NoLocking=1 \
    -o APT::Architecture="$arch" -o APT::Architectures::="$arch" -o APT::Install-Recommends=no \
    -o APT::Sandbox::User= -o Acquire::Languages=none "$@"
}

fetch_packages() {
  local meta=linux-image-amd64 kernel
  [ "$arch" = i386 ] && meta=linux-image-686
  mkdir -p "$cache"/apt/lists/partial "$cache"/packages/partial
  : >"$cache/apt/status"
  # Sources of others that lack this architecture only warn.
  apt apt-get update || echo "some package lists could not be read, going on"
  kernel=$(apt apt-cache depends "$meta" | sed -n 's/.*Depends: \(linux-image-[^ ]*\)$/\1/p')
  apt apt-get install -y --download-only "${packages[@]}"
  # The kernel without what it depends on, which would make an initramfs of its own.
  (cd "$cache/packages" && rm -f linux-image-*.deb && apt apt-get download "$kernel" busybox-static)
}

unpack() {
  dpkg-deb --fsys-tarfile "$1" | tar -x --keep-directory-symlink -C "$2"
}

# The module files that `modprobe` would load for its arguments, in their order.
module_files() {
  local module
  for module; do
    modprobe -d "$cache/kernel" -S "$version" --show-depends "$module" ||
      echo "this kernel has no module $module" >&2
  done | sed -n 's/^insmod \([^ ]*\).*/\1/p' | awk '!seen[$0]++'
}

build_kernel() {
  rm -rf "$cache/kernel"
  mkdir -p "$cache/kernel/usr/lib"
  ln -s usr/lib "$cache/kernel/lib"
  unpack "$(echo "$cache"/packages/linux-image-*.deb)" "$cache/kernel"
  version=$(cd "$cache/kernel/lib/modules" && echo *)
  cp "$cache/kernel/boot/vmlinuz-$version" "$cache/vmlinuz"
  find "$cache/kernel" -name '*.ko.xz' -exec xz -d {} +
  depmod -b "$cache/kernel" "$version"
}

build_initramfs() {
  local tree=$cache/initramfs-tree module
  rm -rf "$tree"
  mkdir -p "$tree"/{bin,dev,modules,root}
  unpack "$(echo "$cache"/packages/busybox-static_*.deb)" "$tree"
  [ -e "$tree/bin/busybox" ] || ln -s ../usr/bin/busybox "$tree/bin/busybox"
  module_files "${drivers[@]}" | while read -r module; do
    cp "$module" "$tree/modules/"
    echo "busybox insmod /modules/${module##*/} || echo ${module##*/} failed"
  done >"$tree/load"
  cat >"$tree/init" <<'END'
#!/bin/busybox sh
busybox mount -t devtmpfs dev /dev
exec </dev/console >/dev/console 2>&1
. /load
busybox mount -t ext4 /dev/vda /root
busybox mount -t 9p -o trans=virtio,version=9p2000.L host /root/host
busybox mount --move /dev /root/dev
exec busybox switch_root /root /bin/bash /host/guest.sh
END
  chmod 755 "$tree/init"
  (cd "$tree" && find . | cpio --quiet -o -H newc -R 0:0) >"$cache/initramfs"
}

build_root() {
  local tree=$cache/root deb module
  rm -rf "$tree"
  mkdir -p "$tree"/usr/{bin,sbin,lib,lib32,lib64} "$tree"/{dev,proc,sys,run,tmp,root,host,work,etc}
  for folder in bin sbin lib lib32 lib64; do ln -s "usr/$folder" "$tree/$folder"; done
  for deb in "$cache"/packages/*.deb; do
    case ${deb##*/} in linux-image-* | busybox-static_*) continue ;; esac
    unpack "$deb" "$tree"
  done
  # What the packages' own scripts would have done.
  cp "$tree/usr/share/base-passwd/passwd.master" "$tree/etc/passwd"
  cp "$tree/usr/share/base-passwd/group.master" "$tree/etc/group"
  ln -sf /proc/mounts "$tree/etc/mtab"
  ln -sf bash "$tree/bin/sh"
  ln -sf which.debianutils "$tree/usr/bin/which"
  ln -sf xtables-legacy-multi "$tree/usr/sbin/iptables"
  ln -sf xtables-legacy-multi "$tree/usr/sbin/iptables-save"
  ln -sf mawk "$tree/usr/bin/awk"
  for module in "${kept[@]}"; do
    module=$(module_files "$module" | tail -n 1)
    install -D -m 644 "$module" "$tree/usr/lib/${module#"$cache/kernel/lib/"}"
  done
  rm -rf "$tree"/usr/share/{doc,man,locale,perl,lintian} "$tree"/usr/lib/*/gconv
  rm -f "$cache/root.img"
  mke2fs -q -t ext4 -d "$tree" -E root_owner=0:0 "$cache/root.img" 400M
}

main() {
  fetch_packages
  build_kernel
  build_initramfs
  build_root
  rm -rf "$cache"/{kernel,initramfs-tree,root,packages,apt}
  cp "$0" "$cache/built-by"
}

version=
exec 3>&2 >"$cache/log" 2>&1
trap '[ $? = 0 ] || { tail -n 20 "$cache/log"; echo "build.sh: see $cache/log"; } >&3' EXIT
main
