#!/usr/bin/env python3
"""uncalled.py BUILD-FOLDER SOURCE-FOLDER: holds the functions that no program calls against the headers
that say "no program calls" of them, and names those that differ. A remark in a header's first lines is
of all its functions, any other of those up to the next empty line.

A function is not called when the linker leaves it out of kestrel and ks2, and nothing that it keeps has
it inlined, as the debugging information tells."""
import pathlib
import re
import subprocess
import sys

build, root = map(pathlib.Path, sys.argv[1:3])
OBJECTS = {"kestrel_lib": ".", "kestrel_gatherer": ".", "kestrel_probes": ".", "kestrel_doors": ".",
           "ks2_lib": "tools"}
REMARK = "no program calls"


def lines(*command, given=None):
    run = subprocess.run(command, input=given, stdout=subprocess.PIPE, text=True, check=True)
    return run.stdout.splitlines()


def symbols(path, kinds):
    """Mangled names, without what tells the copies that the compiler makes of a function."""
    fields = [line.split() for line in lines("nm", "--defined-only", path)]
    return {field[-1].split(".")[0] for field in fields if field[-2] in kinds}


def inlined(program):
    """What stands inlined in functions of the program; those that were left out have no address. What
    left no code where it was inlined counts, too."""
    names, origins, roots, placed, entry, is_inlined = {}, {}, set(), {}, None, False
    with subprocess.Popen(["readelf", "--debug-dump=info", "--wide", program],
                          stdout=subprocess.PIPE, text=True) as dump:
        for line in dump.stdout:
            if line.startswith(" <"):
                entry = line[line.index("<", 3) + 1:line.index(">:")]
                is_inlined = "(DW_TAG_inlined_subroutine)" in line
            elif "DW_AT_linkage_name" in line:
                names[entry] = line.split()[-1]
            elif "DW_AT_inline " in line:
                roots.add(entry)
            elif "DW_AT_abstract_origin" in line or "DW_AT_specification" in line:
                origins[entry] = line[line.index("<0x") + 3:line.rindex(">")]
            elif is_inlined and ("DW_AT_entry_pc" in line or "DW_AT_low_pc" in line):
                placed[entry] = placed.get(entry, 0) | int(line.split()[-1], 16)
    left_out = {origins.get(entry) for entry, address in placed.items() if address == 0}
    for entry in {entry for entry, address in placed.items() if address != 0} | roots - left_out:
        while entry not in names and entry in origins:
            entry = origins[entry]
        yield names.get(entry, "")


def plain(mangled):
    """The functions' full names; constructors have several mangled ones each."""
    return set(lines("c++filt", given="\n".join(mangled)))


def short(name):
    return re.sub(r"\[abi:\w+\]", "", name).split("(")[0].split("::")[-1]


def remarked():
    """Names in the headers' remarks: the comment, or the line, with the remark and what follows it."""
    names = set()
    for header in sorted(root.glob("**/*.h")):
        if header.relative_to(root).parts[0] not in ("lib", "gatherer", "probes", "tools"):
            continue
        start, _, rest = header.read_text().partition("#pragma once")
        parts = [rest]
        if REMARK not in start.replace("\n// ", " "):
            whole = re.sub(r"(//.*)\n *///? ", r"\1 ", rest)  # a comment, a line
            parts = [part[part.rindex("\n", 0, part.index(REMARK)):]
                     for part in ("\n" + text for text in whole.split("\n\n")) if REMARK in part]
        for part in parts:
            names |= set(re.findall(r"(~?\w+)\(", re.sub(r"//.*", "", part)))
    return names


programs = [build / "kestrel", build / "ks2"]
defined = set()
for library, folder in OBJECTS.items():
    for path in build.glob(f"**/{library}.dir/**/*.o"):
        source = path.as_posix().partition(".dir/")[2].removesuffix(".o")
        if (root / folder / source).exists():
            defined |= symbols(path, "T")
assert len(defined) > 1000, "the objects are not there"
called = set().union(*(symbols(program, "TtWw") for program in programs))
called |= set().union(*map(set, map(inlined, programs)))
defined, called = plain(defined), plain(called)
uncalled = {short(name) for name in defined - called}
told = remarked() & {short(name) for name in defined}
for name in sorted(uncalled - told):
    print(f"{name}: no program calls it, and no header says so")
for name in sorted(told - uncalled):
    print(f"{name}: a header says that no program calls it")
sys.exit(uncalled != told)
