#!/usr/bin/env python3
"""tidy.py BUILD-FOLDER: clang-tidy over the product's sources. One that was clean is looked at again
only when it, a header that it includes or the configuration is another. Needs a build that is up to date:
what a source includes is what the compiler told ninja."""
import concurrent.futures
import hashlib
import json
import os
import re
import subprocess
import sys

build = sys.argv[1]
root = os.getcwd()
folder = os.path.join(build, "tidy")
clean_list = os.path.join(folder, "clean")


def write_commands():
    """The build's commands without the precompiled header, which only its own compiler can read."""
    with open(os.path.join(build, "compile_commands.json")) as file:
        commands = json.load(file)
    for entry in commands:
        entry["command"] = re.sub(r" -Winvalid-pch| -include \S*cmake_pch\.hxx", "", entry["command"])
    with open(os.path.join(folder, "compile_commands.json"), "w") as file:
        json.dump(commands, file)


def included():
    """{source: the project's files that its object is made of}"""
    files = {}
    listing = subprocess.run(["ninja", "-C", build, "-t", "deps"], check=True, text=True, capture_output=True)
    for block in listing.stdout.split("\n\n"):
        paths = [os.path.normpath(os.path.join(build, line.strip())) for line in block.splitlines()[1:]]
        ours = [path for path in paths if path.startswith(root + os.sep)]
        if ours:
            files[os.path.relpath(ours[0], root)] = ours
    return files


def digest(paths):
    total = hashlib.sha256()
    for path in sorted(paths):
        with open(path, "rb") as file:
            total.update(path.encode() + file.read())
    return total.hexdigest()


def is_clean(source):
    # The commands are those of another compiler, whose warnings clang does not all know.
    run = subprocess.run(["clang-tidy", "-p", folder, "--quiet", "--extra-arg=-Wno-unknown-warning-option", source],
                         text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if run.returncode:
        print(run.stdout)
    return run.returncode == 0


os.makedirs(folder, exist_ok=True)
write_commands()
known = set()
if os.path.exists(clean_list):
    with open(clean_list) as file:
        known = set(file.read().split())
deps = included()
listed = subprocess.run(["git", "ls-files", "lib", "gatherer", "probes", "tools", "extended"], check=True, text=True,
                        capture_output=True).stdout.split()
keys = {source: digest(deps.get(source, [source]) + [os.path.join(root, ".clang-tidy")])
        for source in listed if source.endswith(".cc")}
todo = [source for source, key in keys.items() if key not in known]
with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
    results = dict(zip(todo, pool.map(is_clean, todo)))
with open(clean_list, "w") as file:
    file.writelines(f"{key}\n" for source, key in keys.items() if results.get(source, True))
faulty = [source for source, clean in results.items() if not clean]
print(f"clang-tidy: {len(keys)} sources, {len(todo)} looked at, {len(faulty)} with findings")
sys.exit(1 if faulty else 0)
