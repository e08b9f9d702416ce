#!/usr/bin/env python3
"""uncalled.py BUILD-FOLDER SOURCE-FOLDER: holds the functions that no program calls against the headers
that say "no program calls" of them, and names those that differ. A remark in a header's first lines is
of all its functions, one behind a function of that one, any other of those up to the next empty line.

A function is not called when the linker leaves it out of kestrel and ks2, and nothing that it keeps has
it inlined, as the debugging information tells."""
import json
import pathlib
import re
import subprocess
import sys

build, root = map(pathlib.Path, sys.argv[1:3])
LIBRARIES = re.compile(r"(kestrel_(lib|gatherer|probes|doors)|ks2_lib)\.dir/.*\.o$")
REMARK = "no program calls"
# Called, but always to the same answer: nothing of them is left where they are inlined.
FOLDED = {"linux_get_cmos_byte", "valid"}


def lines(*command, given=None):
    run = subprocess.run(command, input=given, stdout=subprocess.PIPE, text=True, check=True)
    return run.stdout.splitlines()


def symbols(path, kinds):
    """Mangled names, without what tells the copies that the compiler makes of a function."""
    fields = [line.split() for line in lines("nm", "--defined-only", path)]
    return {field[-1].split(".")[0] for field in fields if field[-2] in kinds}


def inlined(program):
    """What stands inlined in functions of the program; those that were left out have no address."""
    names, origins, found, entry, is_inlined = {}, {}, set(), None, False
    with subprocess.Popen(["readelf", "--debug-dump=info", "--wide", program],
                          stdout=subprocess.PIPE, text=True) as dump:
        for line in dump.stdout:
            if line.startswith(" <"):
                entry = line[line.index("<", 3) + 1:line.index(">:")]
                is_inlined = "(DW_TAG_inlined_subroutine)" in line
            elif "DW_AT_linkage_name" in line:
                names[entry] = line.split()[-1]
            elif "DW_AT_abstract_origin" in line or "DW_AT_specification" in line:
                origins[entry] = line[line.index("<0x") + 3:line.rindex(">")]
            elif is_inlined and ("DW_AT_entry_pc" in line or "DW_AT_low_pc" in line):
                if int(line.split()[-1], 16) != 0:
                    found.add(entry)
    for entry in found:
        while entry not in names and entry in origins:
            entry = origins[entry]
        yield names.get(entry, "")


def plain(mangled):
    """The functions' full names; constructors have several mangled ones each."""
    return set(lines("c++filt", given="\n".join(mangled)))


def short(name):
    return re.sub(r"\[abi:\w+\]", "", name).split("(")[0].split("::")[-1]


def remarked():
    """The names of which headers say that no program calls them."""
    names = set()
    for header in sorted(root.glob("**/*.h")):
        if header.relative_to(root).parts[0] not in ("lib", "gatherer", "probes", "tools"):
            continue
        start, _, rest = header.read_text().partition("#pragma once")
        parts = [rest]
        if REMARK not in start.replace("\n// ", " "):
            whole = re.sub(r"(//.*)\n *///? ", r"\1 ", rest)  # a comment, a line
            parts = re.findall(rf"^ *//[^\n]*{REMARK}(?s:.*?)\n\n|^[^\n]*\S[^\n]*// ?[^\n]*{REMARK}", whole,
                               re.M)
        for part in parts:
            names |= set(re.findall(r"(?<!std::)(?<!\w)(~?\w+)\(", re.sub(r"//.*", "", part)))
    return names


programs = [build / "kestrel", build / "ks2"]
defined = set()
for step in json.loads((build / "compile_commands.json").read_text()):
    target = re.search(r" -o (\S+)", step["command"])[1]
    if LIBRARIES.search(target):
        defined |= symbols(build / target, "T")
assert len(defined) > 1000, "the objects are not there"
called = set().union(*(symbols(program, "TtWw") for program in programs))
called |= set().union(*map(set, map(inlined, programs)))
defined, called = plain(defined), plain(called)
uncalled = {short(name) for name in defined - called} - FOLDED
told = remarked() & {short(name) for name in defined}
for name in sorted(uncalled - told):
    print(f"{name}: no program calls it, and no header says so")
for name in sorted(told - uncalled):
    print(f"{name}: a header says that no program calls it")
sys.exit(uncalled != told)
