#!/usr/bin/python3
"""Plays PCI configuration space: a FUSE file system with one file a function, as /proc/bus/pci has
them. Cards answer VPD address cycles at once, late, never, or with lies; accesses to some hang.

  pci_card.py FOLDER LOG     stays in the foreground; FOLDER then holds pci/BUS/DEVICE.FUNCTION

Every access goes into LOG: "00/02.0 r 34 1" reads one byte at offset 34 hexadecimal, "w 42 2 0005"
writes two bytes. Nothing is cached in between, so the widths are those that the program asked for.
"""
import errno
import stat
import struct
import sys
import threading

from fusepy import FUSE, FuseOSError, Operations

VPD = 0x40  # where the capability is
CARD = (b"\x82\x09\0Fast card\x90\x1d\0" b"PN\x0712A3456" b"EC\x03A\xff1" b"MN\x030AB"
        b"SN\x04S123" b"\x78")


class Function:
    def __init__(self, vendor, device, class_code, header_type=0, size=256, vpd=None, polls=1,
                 hangs_at=None):
        head = struct.pack("<HHHHBBHBBB", vendor, device, 0, 0, 2, 0, class_code, 0, 0, header_type)
        self.registers = bytearray(head + bytes(size - len(head)))
        self.vpd, self.polls_needed, self.polls, self.hangs_at = vpd, polls, 0, hangs_at
        if vpd is not None:
            self.registers[0x06], self.registers[0x34], self.registers[VPD] = 0x10, VPD, 3

    def read(self, size, offset):
        if offset == self.hangs_at:
            threading.Event().wait()
        if self.vpd is not None and offset == VPD + 3:
            self.polls += 1
            if self.polls >= self.polls_needed:
                self.registers[offset] |= 0x80
        return bytes(self.registers[offset:offset + size])

    def write(self, data, offset):
        if self.vpd is not None and offset == VPD + 2 and len(data) == 2:
            address = struct.unpack("<H", data)[0]
            self.polls = 0
            self.registers[offset:offset + 6] = data + (self.vpd[address:] + bytes(4))[:4]


MACHINE = {
    "00/00.0": Function(0x8086, 0x1237, 0x0600),
    "00/01.0": Function(0x8086, 0x7000, 0x0601, header_type=0x80),
    "00/01.1": Function(0x8086, 0x7010, 0x0101),
    "00/01.3": Function(0x8086, 0x7113, 0x0680),  # behind a gap
    "00/02.0": Function(0x8086, 0x100E, 0x0200, size=4096, vpd=CARD),
    "00/02.1": Function(0x8086, 0x100E, 0x0200),  # hidden by the header type
    "00/03.0": Function(0x10EC, 0x8139, 0x0200, vpd=CARD, polls=3),
    "00/04.0": Function(0x10EC, 0x8029, 0x0200, vpd=CARD, polls=1 << 30),
    "00/05.0": Function(0x1AF4, 0x1001, 0x0100, vpd=b"\x82\4\0Liar\x90\xff\xff"),
    "00/07.0": Function(0x8086, 0x1237, 0x0600, size=40),  # not even a header
    "00/08.0": Function(0x10EC, 0x8029, 0x0200, header_type=0x80, vpd=CARD, hangs_at=VPD + 4),
    "00/08.1": Function(0x10EC, 0x8139, 0x0200, vpd=CARD),
    "00/09.0": Function(0x8086, 0x1237, 0x0600, hangs_at=0),
    "0f/1f.0": Function(0x1013, 0xFFFE, 0x1F00),
    "10/00.0": Function(0x8086, 0x1237, 0x0600),  # past the last bus
}


class Space(Operations):
    log = open(sys.argv[2], "w", buffering=1)

    def getattr(self, path, fh=None):
        name = path[len("/pci/"):]
        if name in MACHINE:
            return {"st_mode": stat.S_IFREG | 0o644, "st_size": len(MACHINE[name].registers)}
        if path in ("/", "/pci") or any(key[:2] == name for key in MACHINE):
            return {"st_mode": stat.S_IFDIR | 0o555}
        raise FuseOSError(errno.ENOENT)

    def truncate(self, path, length, fh=None):
        pass

    def read(self, path, size, offset, fh):
        self.log.write("%s r %02x %d\n" % (path[5:], offset, size))
        return MACHINE[path[5:]].read(size, offset)

    def write(self, path, data, offset, fh):
        self.log.write("%s w %02x %d %s\n" % (path[5:], offset, len(data), data[::-1].hex()))
        MACHINE[path[5:]].write(data, offset)
        return len(data)


FUSE(Space(), sys.argv[1], foreground=True, direct_io=True, nonempty=True)
