#!/usr/bin/env python3
"""syntax_check.py COMPILER BUILD JOBS FOLDER...: compiles without output, with another compiler.

Takes the options of every source below FOLDER... from BUILD/compile_commands.json and hands
them to COMPILER with -fsyntax-only. Exit status 1 if one source is refused or none is found.
"""

import concurrent.futures
import json
import os
import shlex
import subprocess
import sys


def options_of(entry):
    """The options of one entry, without compiler, output and source."""
    words = shlex.split(entry["command"])[1:]
    kept = []
    skip_next = False
    for word in words:
        if skip_next:
            skip_next = False
        elif word in ("-o", "-MF", "-MT"):
            skip_next = True
        elif word.endswith("cmake_pch.hxx"):
            kept.pop()  # A test that shares the source: its headers are none of ours.
        elif word not in ("-c", "-MD", "-Winvalid-pch", entry["file"]):
            kept.append(word)
    return kept


def check(compiler, entry):
    command = [compiler, *options_of(entry), "-fsyntax-only", entry["file"]]
    done = subprocess.run(command, cwd=entry["directory"], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, check=False)
    return entry["file"], done.returncode, done.stdout.decode(errors="replace")


def main(arguments):
    if len(arguments) < 5:
        print(__doc__, file=sys.stderr)
        return 2
    compiler, build, jobs, folders = arguments[1], arguments[2], int(arguments[3]), arguments[4:]
    root = os.path.abspath(os.path.join(os.path.dirname(__file__), ".."))
    roots = tuple(os.path.join(root, folder) + os.sep for folder in folders)
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        entries = [entry for entry in json.load(file)
                   if entry["file"].startswith(roots) and entry["file"].endswith(".cpp")]
    refused = 0
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for name, status, output in pool.map(lambda entry: check(compiler, entry), entries):
            if status != 0:
                refused += 1
                print(f"{name} is refused by {compiler}:\n{output}")
    print(f"{len(entries)} sources, {refused} refused")
    return 1 if refused or not entries else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
