"""Makes one small fault at a time in a copy of the tree and tells which the tests do not notice.

mutants.py COPY LAYER COUNT SEED [units]: COPY holds "tree", a checkout that may be changed, and
"build", its configured build folder; "found" there keeps a line a fault: file, line, which of equal
lines, what stood there, the line as it became, who noticed. A fault that does not compile counts as
none. The unit tests are asked first, the quick ones before the slow ones; whole runs last or, with
"units", not. What a faulty program starts ends with its process namespace. mutants-equivalent.txt
beside this file names faults that change nothing: file, the line as it became, the reason.
"""
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys

TRACE = re.compile(r"\b(printd\w*|print_error|print_hexdump|print_worddump|printd_noflush)\(")
SKIPPED = re.compile(r"^\s*(//|#|static_assert|using |namespace |class |struct |template|})")
TOKEN = re.compile(
    r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'|//.*|'
    r"(?<= )(?:==|!=|<=|>=|<|>|&&|\|\||[+\-*]|<<|>>|&|\|)(?= )|"
    r"!(?=[\w(])|\b0x[0-9A-Fa-f]+[uUlL]*\b|\b\d+[uUlL]*\b|\b(?:true|false|continue|break)\b")
SWAPS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||",
         "||": "&&", "+": "-", "-": "+", "*": "+", "<<": ">>", ">>": "<<", "&": "|", "|": "&",
         "!": "", "true": "false", "false": "true", "continue": "break", "break": "continue"}
# What links a layer, and the whole runs that show it, quick and likely ones first.
RUNS = ["options", "machines", "firmware_image", "pci_fuse", "run", "signals", "bad_surroundings",
        "hung_scsi", "dead_mounts", "ks2"]
LAYERS = {"lib": (["lib", "gatherer", "probes"], RUNS),
          "gatherer": (["gatherer"], RUNS), "probes": (["probes"], RUNS),
          "tools": (["tools"], ["run", "ks2", "ks2_html"])}
PROGRAMS = ["kestrel", "ks2", "kestrel-talv", "kestrel-qxr", "kestrel-wren"]
SILENT = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
SLOW = 0.3  # Seconds from which on a unit test waits for the quick ones.


def mutated(token):
    if token in SWAPS:
        return SWAPS[token]
    number = re.match(r"(0x[0-9A-Fa-f]+|\d+)([uUlL]*)$", token)
    if number is None:
        return None
    value = int(number[1], 0 if number[1].startswith("0x") else 10) + 1
    return (f"0x{value:X}" if number[1].startswith("0x") else str(value)) + number[2]


def places(lines):
    """Where a line may be changed: (line number, start, end, new text)."""
    found = []
    in_trace = False
    for number, line in enumerate(lines):
        in_trace = in_trace or TRACE.search(line) is not None
        if not in_trace and not SKIPPED.match(line):
            for token in TOKEN.finditer(line):
                new = mutated(token[0])
                if new is not None:
                    found.append((number, token.start(), token.end(), new))
        if line.rstrip().endswith((";", "{", "}")):
            in_trace = False
    return found


class Judge:
    def __init__(self, copy):
        self.copy, self.build, self.tree = copy, copy / "build", copy / "tree"
        for kept in self.build.rglob("*.o.kept"):  # An earlier call was ended here.
            kept.replace(kept.with_suffix(""))
        self.compiles = {}
        for unit in json.loads((self.build / "compile_commands.json").read_text()):
            self.compiles.setdefault(unit["file"], []).append(unit["command"])
        self.links, self.slow, self.sound = {}, {}, set()

    def run(self, command, limit):
        """Whether it succeeds. What takes too long twice hangs."""
        shut_in = ["unshare", "-pf", "--mount-proc", "--kill-child", "bash", "-c",
                   f"{command}; exit $?"]
        for _ in range(2):
            try:
                done = subprocess.run(shut_in, cwd=self.build, timeout=limit, **SILENT)
                return done.returncode == 0
            except subprocess.TimeoutExpired:
                limit *= 2
        return False

    def prepare(self, program):
        """Builds a program as it should be and learns how it is linked; a test must pass then."""
        if program in self.links:
            return
        path = self.build / ("tests" if program.endswith("_tests") else ".") / program
        path.unlink(missing_ok=True)  # It may hold an earlier fault.
        subprocess.run(["ninja", program], cwd=self.build, check=True, stdout=subprocess.DEVNULL)
        commands = subprocess.run(["ninja", "-t", "commands", program], cwd=self.build, check=True,
                                  text=True, capture_output=True).stdout.split("\n")
        links = [c.split(" && cd ")[0] for c in commands if "libks2_shared.a" in c or
                 f" -o {path.relative_to(self.build)} " in c]
        self.links[program] = "{ " + "; } && { ".join(links) + "; }"
        if program.endswith("_tests"):
            report = self.copy / f"{program}.json"
            if not self.run(f"tests/{program} --gtest_output=json:{report}", 3000):
                sys.exit(f"{program} fails without a fault")
            self.slow[program] = ":".join(
                f"{suite['name']}.{test['name']}"
                for suite in json.loads(report.read_text())["testsuites"]
                for test in suite["testsuite"] if float(test["time"][:-1]) >= SLOW) or "-*"

    def notices(self, test):
        """Whether one unit test program or one whole run fails with the fault."""
        if test.endswith("_tests"):
            self.link(test)
            return not all(self.run(f"ulimit -v 8000000; tests/{test} --gtest_fail_fast "
                                    f"--gtest_filter={sign}{self.slow[test]}", 60)
                           for sign in ("-", ""))
        return not self.run(f"bash {self.tree}/tests/run/test_{test}.sh .", 900)

    def link(self, program):
        subprocess.run(self.links[program], shell=True, cwd=self.build, check=True,
                       stdout=subprocess.DEVNULL)

    def killer(self, file, units, runs):
        """The first test that notices; None when none does, "" when it does not compile."""
        for command in self.compiles[str(file)]:
            if subprocess.run(command, shell=True, cwd=self.build, **SILENT).returncode:
                return ""
        for test in units:
            if self.notices(test):
                return test
        if runs:
            self.link_programs()
        return next((test for test in runs if self.notices(test)), None)

    def link_programs(self):
        for program in self.links:
            if not program.endswith("_tests"):
                self.link(program)

    def ask(self, file, text, *tests):
        """As killer(), of a file with this text; everything but programs is as before then."""
        was, stamp = file.read_text(), file.stat()
        objects = [self.build / re.search(r" -o (\S+\.o) ", c)[1] for c in self.compiles[str(file)]]
        for made in objects:
            made.rename(f"{made}.kept")
        file.write_text(text)
        try:
            return self.killer(file, *tests)
        finally:
            file.write_text(was)
            os.utime(file, ns=(stamp.st_atime_ns, stamp.st_mtime_ns))
            for made in objects:
                pathlib.Path(f"{made}.kept").replace(made)

    def must_pass(self, run):
        """A whole run that noticed something for the first time must pass without a fault."""
        self.link_programs()
        if run not in self.sound and self.notices(run):
            sys.exit(f"{run} fails without a fault")
        self.sound.add(run)


def all_places(tree, layer, seed):
    """Every place of a layer in an order that the seed makes: (key, file, new text of the file)."""
    found = []
    for file in sorted((tree / layer).rglob("*.cc")):
        lines = file.read_text().split("\n")
        for number, start, end, new in places(lines):
            old = lines[number]
            changed = old[:start] + new + old[end:]
            key = (str(file.relative_to(tree)), str(lines[:number].count(old)), old[start:end],
                   changed.strip())
            text = "\n".join([*lines[:number], changed, *lines[number + 1:]])
            place = hashlib.sha256(repr((seed, key)).encode()).digest()
            found.append((place, key, number, file, text))
    return sorted(found)


def main():
    copy, layer, count, seed = pathlib.Path(sys.argv[1]), *sys.argv[2:5]
    units, runs = LAYERS[layer]
    units, runs = [f"{unit}_tests" for unit in units], [] if "units" in sys.argv else runs
    names = pathlib.Path(__file__).with_name("mutants-equivalent.txt")
    equal = {tuple(line.split("\t")[:2]) for line in names.read_text().splitlines()}
    found = copy / "found"
    earlier = found.read_text().splitlines() if found.exists() else []
    known = {tuple(f[:1] + f[2:5]): f[5] for f in (line.split("\t") for line in earlier)}
    judge = Judge(copy)
    for program in units + (PROGRAMS if runs else []):
        judge.prepare(program)
    tally = {}
    for _, key, number, file, text in all_places(copy / "tree", layer, seed):
        if sum(tally.values()) == int(count):
            break
        by = "equivalent" if (key[0], key[3]) in equal else known.get(key, "ALIVE")
        if by == "ALIVE":
            by = judge.ask(file, text, units, runs)
            by = "ALIVE" if by is None else by
            if by in runs:
                judge.must_pass(by)
            with found.open("a") as out:
                print(key[0], number + 1, *key[1:], by, sep="\t", file=out)
        if by:
            print(f"{key[0]}:{number + 1}: {key[3]}  // was {key[2]}: {by}", flush=True)
            tally[by] = tally.get(by, 0) + 1
    print(f"{layer}: {sum(tally.values())} tried: "
          + ", ".join(f"{by} {n}" for by, n in sorted(tally.items())))


main()
