#!/usr/bin/env python3
"""Reads gather files and ksml reports for the tests, sharing no code with the program: the container
is parsed here, compressed items are unpacked by lhasa, and every checksum is computed again.

  gather.py check FILE...                container, items and report are sound
  gather.py list FILE                    one line an item: type, size, compressed size
  gather.py item FILE TYPE               an item's bytes on standard output
  gather.py sections FILE                titles of sections and tables with row counts
  gather.py table FILE SECTION TABLE     the table's rows, cells separated by tabs

FILE is a gather file or a ksml report.
"""
import html
import re
import struct
import subprocess
import sys
import tempfile

HEAD = b"_KESTREL_\0"
STUFFED = b"_KESTRFF_"


def fail(text):
    sys.exit("gather.py: " + text)


def unstuff(data):
    out, i = bytearray(), 0
    while i < len(data):
        if data[i] == 0xFF:
            if i + 1 >= len(data) or data[i + 1] not in (1, 0xFF):
                fail("bad stuffing at %d" % i)
            out.append(0 if data[i + 1] == 1 else 0xFF)
            i += 2
        else:
            out.append(data[i])
            i += 1
    return bytes(out)


def crc16(data):
    crc = 0
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = (crc >> 1) ^ (0xA001 if crc & 1 else 0)
    return crc


def unpack(packed, size):
    """Hands the stream to lhasa as the one member (method -lh1-) of an archive."""
    body = b"-lh1-" + struct.pack("<IIIBB", len(packed), size, 0, 0x20, 0) + b"\x01x" + b"\0\0"
    header = bytes([len(body), sum(body) & 0xFF]) + body
    with tempfile.NamedTemporaryFile(suffix=".lzh") as archive:
        archive.write(header + packed + b"\0")
        archive.flush()
        run = subprocess.run(["lhasa", "-pq", archive.name], capture_output=True)
    if len(run.stdout) != size:
        fail("lhasa unpacked %d of %d bytes" % (len(run.stdout), size))
    return run.stdout


def items(data):
    if data.startswith(STUFFED):
        data = HEAD + unstuff(data)[10:]
    if data[:10] != HEAD or len(data) < 20 or data[17:19] != b"\0\2":
        fail("no gather file head")
    hour, minute, second, day, month, year = struct.unpack("<5BH", data[10:17])
    if hour > 23 or minute > 59 or second > 60 or not 1 <= day <= 31 or not 1 <= month <= 12:
        fail("bad stamp")
    found, at = [], 20
    for _ in range(data[19]):
        kind, size, flag, packed = struct.unpack("<BIBI", data[at:at + 10])
        length = packed if flag else size
        at += 10
        if at + length > len(data):
            fail("an item ends behind the file")
        found.append((kind, size, flag, packed, data[at:at + length]))
        at += length
    if at != len(data):
        fail("%d bytes behind the last item" % (len(data) - at))
    return found


def content(item):
    kind, size, flag, packed, body = item
    return unpack(body, size) if flag and packed != size else body


def report_of(path):
    data = open(path, "rb").read()
    if not data.startswith((HEAD[:6],)):
        return data
    reports = [i for i in items(data) if i[0] == 15]
    if not reports:
        fail("%s holds no report" % path)
    return content(reports[-1])


def narrow(text):
    return sum(b - 256 if b > 127 else b for b in text.encode("utf-8")) & 0xFFFF


def wide(text):
    return sum(ord(c) & 0xFFFF for c in text) & 0xFFFF


LINE = re.compile(r'<(/?)([A-Z_]+)(?: ID="([^"]*)")?(?: W="(\d+)")?>(?:(.*)</\2>)?\r\n', re.S)


class Report:
    """A ksml report, read line by line; every sum is verified on the way."""

    def __init__(self, data):
        self.text = data.decode("utf-8")
        self.at = 0
        self.sections = []
        head = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\r\n<GATHERED_DATA>\r\n'
        if not self.text.startswith(head):
            fail("no report head")
        self.at = len(head)
        self.tag("GATHERER_VERSION")
        total = 0
        while not self.peek("CHK"):
            if self.text.startswith("<!-- import ", self.at):
                total += self.imported()
            else:
                total += self.section()
        self.sum(total & 0xFFFFFFFF, 8)
        if self.text[self.at:] != "</GATHERED_DATA>\r\n":
            fail("no report end")

    def peek(self, name):
        return self.text.startswith("<" + name, self.at)

    def tag(self, name):
        end = self.text.find("\r\n", self.at) + 2
        line = self.text[self.at:end]
        match = LINE.fullmatch(line)
        if not match or match.group(1) + match.group(2) != name:
            fail("expected %s, found %r" % (name, line[:200]))
        self.at = end
        return match

    def sum(self, wanted, width):
        found = self.tag("CHK").group(5)
        if found != "%*X" % (width, wanted):
            fail("sum %r should be %X before offset %d" % (found, wanted, self.at))

    def section(self):
        title = html.unescape(self.tag("SECTION").group(3))
        tables, total = [], 0
        while not self.peek("CHK"):
            if self.peek("FILE"):
                total += self.file()
            else:
                total += self.table(tables)
        self.sum(total & 0xFFFFFFFF, 8)
        self.tag("/SECTION")
        self.sections.append((title, tables))
        return total

    def table(self, tables):
        title = html.unescape(self.tag("TABLE").group(3))
        columns = int(self.tag("COLS").group(5))
        rows, total = [], 0
        while self.peek("ROW "):
            total += self.row(rows, columns)
        if int(self.tag("ROWS").group(5)) != len(rows):
            fail("table %s has another row count" % title)
        self.sum(total & 0xFFFF, 4)
        self.tag("/TABLE")
        tables.append((title, rows))
        return total & 0xFFFF

    def row(self, rows, columns):
        self.tag("ROW")
        cells, sums = [], {0}
        while not self.peek("CHK"):
            end = self.text.index("\r\n<", self.at) + 2
            while not LINE.fullmatch(self.text, self.at, end):
                end = self.text.index("\r\n<", end) + 2
            match = LINE.fullmatch(self.text, self.at, end)
            if match.group(2) not in ("STR", "DEC", "HEX", "BOOL", "ASC", "DATE", "TIME",
                                      "DATETIME"):
                fail("unknown cell %s" % match.group(2))
            self.at = end
            value = html.unescape(match.group(5))
            cells.append((html.unescape(match.group(3)), value))
            sums = {(s + rule(value)) & 0xFFFF for s in sums for rule in (narrow, wide)}
        if len(cells) > columns:
            fail("a row has %d cells in %d columns" % (len(cells), columns))
        found = self.tag("CHK").group(5)
        if found not in {"%4X" % s for s in sums}:
            fail("row sum %s before offset %d" % (found, self.at))
        self.tag("/ROW")
        rows.append(cells)
        return int(found, 16)

    def file(self):
        self.tag("FILE")
        total = 0
        if self.text.startswith("<![CDATA[", self.at):
            end = self.text.index("]]>\r\n<CHK>", self.at)
            body = self.text[self.at + 9:end].replace("]]]]><![CDATA[>", "]]>")
            total = sum(ord(c) for c in body) & 0xFFFFFFFF
            self.at = end + 5
        self.sum(total, 8)
        self.tag("/FILE")
        return total

    def imported(self):
        begin = self.text.index("-->\r\n", self.at) + 5
        end = self.text.index("<!-- end of import -->\r\n", begin)
        self.at = end + 24
        body = self.text[begin:end].encode("utf-8")
        return sum(body) or 42

    def find(self, section, table):
        for title, tables in self.sections:
            for name, rows in tables:
                if title == section and name == table:
                    return rows
        fail("no table %s/%s" % (section, table))


def main(words):
    command, path = words[0], words[1]
    if command == "check":
        for path in words[1:]:
            data = open(path, "rb").read()
            if data.startswith(HEAD[:6]):
                for item in items(data):
                    text = content(item)
                    if item[0] == 15 and b"<SECTION ID=" in text:
                        Report(text)
            else:
                Report(data)
    elif command == "list":
        for kind, size, flag, packed, _ in items(open(path, "rb").read()):
            print(kind, size, packed if flag else "-")
    elif command == "item":
        for item in items(open(path, "rb").read()):
            if item[0] == int(words[2]):
                sys.stdout.buffer.write(content(item))
                return
        fail("no item of type " + words[2])
    elif command == "sections":
        for title, tables in Report(report_of(path)).sections:
            print(title)
            for name, rows in tables:
                print("  %s: %d" % (name, len(rows)))
    elif command == "table":
        for row in Report(report_of(path)).find(words[2], words[3]):
            print("\t".join(value for _, value in row))
    else:
        fail("unknown command " + command)


if __name__ == "__main__":
    main(sys.argv[1:])
