#!/usr/bin/env python3
"""Turns a text of SMBIOS structures into one binary file a structure, and prints their names.

  smbios.py TEXT FOLDER

A line holds the type (decimal), the handle and the further bytes (hexadecimal, in the order of the
table), and the strings in quotes.
"""
import re
import struct
import sys


def structures(path):
    """Yields type, bytes of the formatted area and strings of every line."""
    for line in open(path):
        if not line.strip() or line.startswith("#"):
            continue
        words, *_ = line.split('"', 1)
        kind, handle, *rest = words.split()
        body = bytes.fromhex("".join(rest))
        head = struct.pack("<BBH", int(kind), 4 + len(body), int(handle, 16))
        yield int(kind), head + body, re.findall(r'"([^"]*)"', line)


def main(text, folder):
    for number, (_, area, strings) in enumerate(structures(text)):
        path = "%s/smbios-%02d" % (folder, number)
        ends = b"".join(s.encode() + b"\0" for s in strings) or b"\0"
        open(path, "wb").write(area + ends + b"\0")
        print(path)


if __name__ == "__main__":
    main(*sys.argv[1:])
