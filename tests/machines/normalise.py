#!/usr/bin/env python3
"""Prints a ksml report without what differs from run to run and from host to host: sums, the clock,
the build, the processor, counters, the real kernel's release, and the order in which a folder's
entries are met. gather.py has verified the sums before.

  normalise.py REPORT SCRATCH     the path SCRATCH becomes @SCRATCH@
"""
import re
import sys

ANY = ".*"
# (table, row, column): regular expressions of the cells that become "*"
VOLATILE = [
    ("Operating System", ANY, "Version"),
    ("GATHERER INFORMATION", "Gatherer Version|Build .*", "Value"),
    ("Current Time", ANY, "Date|Time"),
    ("CPU Family Information", ANY, ANY),
    ("CPU Flags", ANY, "Enabled"),
    ("Network Interface Statistics", ANY, "[rt]x .*"),
    ("Mounted Filesystems", "/|/boot", "(Capacity|Free Space|Used Space).*"),
]
UNSORTED = "/boot Contents|Startup Services|Kernel Modules"
# The list of all probes belongs to no machine.
DROPPED = "Probes List"

TABLE = re.compile(r'<TABLE ID="([^"]*)">\n.*?</TABLE>\n', re.S)
ROW = re.compile(r'<ROW ID="([^"]*)">\n.*?</ROW>\n', re.S)
CELL = re.compile(r'(<([A-Z]+) ID="([^"]*)"[^>]*>)[^<]*(</\2>)')


def fix_row(table, row):
    text = row.group(0)
    for wanted_table, wanted_row, column in VOLATILE:
        if re.fullmatch(wanted_table, table) and re.fullmatch(wanted_row, row.group(1)):
            text = CELL.sub(
                lambda cell: cell.group(1) + "*" + cell.group(4)
                if re.fullmatch(column, cell.group(3)) else cell.group(0), text)
            if column == ANY:
                text = text.replace('<ROW ID="%s">' % row.group(1), '<ROW ID="*">')
    return text


def fix_table(match):
    name, text = match.groups()[0], match.group(0)
    if re.fullmatch(DROPPED, name):
        return ""
    rows = [fix_row(name, row) for row in ROW.finditer(text)]
    if re.fullmatch(UNSORTED, name):
        rows.sort()
    first = ROW.search(text)
    if first is None:
        return text
    last = text.rindex("</ROW>\n") + len("</ROW>\n")
    return text[:first.start()] + "".join(rows) + text[last:]


report = open(sys.argv[1], encoding="utf-8", newline="").read()
report = report.replace("\r\n", "\n").replace(sys.argv[2], "@SCRATCH@")
report = re.sub(r"<CHK>[ 0-9A-F]*</CHK>\n", "", report)
report = re.sub(r"(<GATHERER_VERSION>)[^<]*", r"\1*", report)
sys.stdout.buffer.write(TABLE.sub(fix_table, report).encode("utf-8"))
