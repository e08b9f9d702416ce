#!/usr/bin/env python3
"""Writes an image of the first megabyte of a PC's memory: a BIOS area with an entry point whose
checksum is wrong, a good one with its SMBIOS table, a product data block and a version text."""
import struct
import sys


def strings(*texts):
    return b"".join(t.encode() + b"\0" for t in texts) + (b"\0" if texts else b"\0\0")


def structure(kind, handle, body, *texts):
    return bytes([kind, len(body) + 4]) + struct.pack("<H", handle) + body + strings(*texts)


def anchor(length, address, count, good):
    entry = b"_DMI_\0" + struct.pack("<HIHB", length, address, count, 0x23)
    checksum = -sum(entry) & 0xFF
    return entry[:5] + bytes([checksum if good else checksum ^ 0x55]) + entry[6:]


uuid = bytes(range(16))
table = structure(0, 0, bytes([1, 2]) + b"\0\xe0" + bytes([3, 15]) + bytes(8),
                  "Acme", "1.23", "08/15/2006")
table += structure(1, 1, bytes([1, 2, 3, 4]) + uuid + b"\6",
                   "Acme/Works", "Server -[8670-4RX]-", "1.0", "SN_42__")
place = 0xF1000
if "--past-end" in sys.argv:
    # The system structure comes last, and the byte that ends it would stand behind the area.
    place = 0x100000 - len(table) + 1
else:
    table += structure(127, 2, b"")

memory = bytearray(0x100000)
memory[0xF0100:0xF010F] = anchor(len(table), 0xF2000, 3, good=False)
memory[0xF0200:0xF020F] = anchor(len(table), place, 3, good=True)
memory[place:] = table[:0x100000 - place].ljust(0x100000 - place, b"\0")
text = b"\0BIOS Version 7.89 of Acme$"
memory[0xF5000:0xF5000 + len(text)] = text
if "--vpd" in sys.argv:
    block = b"\xAAUVPD" + b"....:..." + b"1AET38WW " + b"KBC1234" + b"J1XYZ123456" + b"8668T20"
    memory[0xF8000:0xF8000 + len(block)] = block
with open(sys.argv[1], "wb") as out:
    out.write(memory)
