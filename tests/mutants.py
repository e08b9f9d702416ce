"""Makes one small fault at a time in a copy of the tree and tells which the tests do not notice.

mutants.py COPY BUILD LAYER COUNT SEED: COPY is a checkout that may be changed, BUILD its configured
build folder. A fault that does not compile counts as none. Whole runs are asked last, for what the
unit tests let live.
"""
import pathlib
import random
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
LAYERS = {"lib": ["lib"], "gatherer": ["gatherer"], "probes": ["probes"], "tools": ["tools"]}
UNIT_TESTS = ["lib_tests", "gatherer_tests", "probes_tests", "tools_tests"]
PROGRAMS = ["kestrel", "ks2", "kestrel-talv", "kestrel-qxr", "kestrel-wren"]


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
    def __init__(self, copy, build):
        self.copy, self.build = copy, build

    def run(self, command, limit, folder=None):
        try:
            return subprocess.run(command, cwd=folder or self.build, timeout=limit,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL).returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def builds(self, targets):
        return self.run(["ninja", *targets], 900)

    def killer(self):
        """The first test that notices; None when none does, "" when it does not compile."""
        if not self.builds(["kestrel", "ks2"]):
            return ""
        if not self.builds(UNIT_TESTS):
            return "build"
        for test in UNIT_TESTS:
            if not self.run([f"./tests/{test}", "--gtest_brief=1"], 300):
                return test
        self.builds(PROGRAMS)
        for group in ("^fuzz", "^run"):
            if not self.run(["ctest", "-R", group, "--stop-on-failure", "-j2"], 1800):
                return group
        return None


def main():
    copy, build, layer, count, seed = sys.argv[1:]
    copy = pathlib.Path(copy)
    chosen = random.Random(f"{layer} {seed}")
    files = sorted(f for folder in LAYERS[layer] for f in (copy / folder).rglob("*.cc"))
    lines = {file: file.read_text().split("\n") for file in files}
    everywhere = [(file, place) for file in files for place in places(lines[file])]
    judge = Judge(copy, build)
    killed = alive = 0
    while killed + alive < int(count):
        file, (number, start, end, new) = everywhere[chosen.randrange(len(everywhere))]
        old = lines[file][number]
        changed = list(lines[file])
        changed[number] = old[:start] + new + old[end:]
        file.write_text("\n".join(changed))
        by = judge.killer()
        file.write_text("\n".join(lines[file]))
        if by == "":
            continue
        killed += by is not None
        alive += by is None
        verdict = f"killed by {by}" if by else "ALIVE"
        print(f"{file.relative_to(copy)}:{number + 1}: {changed[number].strip()}  "
              f"// was {old[start:end]}: {verdict}", flush=True)
    print(f"{layer}: {killed} of {killed + alive} killed")


main()
