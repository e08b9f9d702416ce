#!/usr/bin/env python3
"""Fills the folder it is started in with a machine on which nothing is as it should be: what the
probes read begins with a few good lines (those that "checks" looks for) and goes on with bytes of
every value, with NULs, with a line of a million characters, and without a last newline. The same
seed makes the same machine each time."""
import os
import random

bytes_of_all_values = random.Random(8).randbytes(3000)
MILLION = 1000000

GOOD = {
    "etc/redhat-release": b"Red Hat Linux release 9 (Shrike)\n",
    "etc/issue": b"",
    "etc/inittab": b"id:3:initdefault:\n",
    "etc/modules.conf": b"alias eth0 tg3\n",
    "etc/X11/xorg.conf": b"Section \"Device\"\n",
    "etc/X11/XF86Config": b"\xff\xfeS\0e\0",
    "etc/X11/XF86Config-4": b"\xfe\xff\xd8",
    "etc/hosts": b"127.0.0.1 localhost\n",
    "etc/resolv.conf": b"nameserver 10.0.0.1\n",
    "etc/passwd": b"root:x:0:0:root:/root:/bin/sh\n",
    "etc/group": b"root:x:0:\n",
    "etc/crontab": b"1 2 3 4 5 root true\n",
    "etc/mtab": b"/dev/sda9 /opt ext3 rw 0 0\nserver:/gone /nowhere nfs rw 0 0\n",
    "etc/sysconfig/i18n": b"LANG=\nLANG=\"\nLANG=" + b"x" * 4096 + b"\n",
    "etc/sysconfig/language": b"",
    "root/.i18n": b"LANG",
    "root/.profile": b"export LANG=\"unclosed\n",
    "boot/grub/grub.conf": b"title Good\nroot (hd0,0)\nkernel /vmlinuz ro\nboot\n",
    "var/log/messages": b"Jan  1 00:00:00 host kernel: good ]]]]]]> line\n",
    "var/log/messages.1.gz": b"",
    "var/log/boot": b"good\n",
    "var/log/boot.msg": b"",
    "var/log/boot.log": b"good\n",
    "proc.good/cmdline": b"ro root=/dev/sda9 ",
    "proc.good/meminfo": b"MemTotal: 1024 kB\nMemFree: 99999999999999999999999 kB\nCached: -5 kB\n",
    "proc.good/interrupts": b"  CPU0 CPU1\n  0: 11 12 XT-PIC timer\n999999999999999: 1\n",
    "proc.good/modules": b"good 4096 1 - Live 0x0\nhuge 99999999999999999999 -1 a, Live\n Live\n",
    "proc.good/partitions": b"major minor  #blocks  name\n\n 8 9 1234 sda9\n"
                            b" 8 1 1 $(touch${IFS}x)\n",
    "proc.good/iomem": b"0-1 : good\n",
    "proc.good/ioports": b"0-1 : good\n",
    "proc.good/dma": b"4: good\n",
    "proc.good/bus/pci/00/00.0": b"\x86\x80",
}
NAMES = [b"new\nline", b"<&\">]]>", b"\xff\xfe\x80", b"*[!a]?", b"$(touch x)`'\"", b"n" * 255, b" ",
         b"-a", b"\xe2\x82\xac%s%n"]


def write(path, data):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as out:
        out.write(data)


# These are embedded whole: one long line of them is enough.
EMBEDDED = ("etc/X11", "etc/modules", "var/log/boot")

for path, good in GOOD.items():
    length = 5000 if path.startswith(EMBEDDED) else MILLION
    write(path, good + bytes_of_all_values + b"\n\0\n\n:::::::::::\n= = =\n" + b"9" * length +
          b"\n" + b"a:=\t" * 1000)
for folder in (b"boot/", b"etc/init.d/", b"etc/rc3.d/S10", b"lib/modules/junk/deep/"):
    for name in NAMES:
        write(folder + name[:252 - len(os.path.basename(folder))] + b".ko", name)
    write(folder + b"good.ko" if b"modules" in folder else folder + b"good", b"")
os.symlink(".", "boot/again")
os.symlink("..", "etc/init.d/up")
os.symlink("nowhere", "boot/dangling")

# Tables that lie about where they are and how long they are.
memory = bytearray(random.Random(9).randbytes(0x100000))
memory[0xF0000:0xF000F] = b"_DMI_\0" + b"\xff\xff\0\0\x0f\0\xff\xff#"
memory[0xF0005] = -sum(memory[0xF0000:0xF000F]) & 0xFF
memory[0xF8000:0xF8005] = b"\xaaUVPD"
write("dev/mem", memory)
write("dev/sg0", b"no device")
