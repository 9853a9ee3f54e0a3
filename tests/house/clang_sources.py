#!/usr/bin/env python3
"""Checks with clang, warnings as errors, the sources that no clang build compiles in full.

Usage: clang_sources.py COMPILE_COMMANDS FOLDER ...

Takes each command of the folders named (below the source tree) from the compilation database,
which a clang build has written, and runs it without producing code. What the benchmarks' peers
generate is not there then, so the sources in bench/peers are left to the benchmarks' own build.
"""

import json
import shlex
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import tree


def syntax_command(entry):
    words = shlex.split(entry["command"])
    while "clang" not in Path(words[0]).name:  # a compiler launcher comes first
        words.pop(0)
    words = [word for word in words if not word.startswith("-fsanitize")]
    output = words.index("-o")
    del words[output : output + 2]
    words.remove("-c")
    return words + ["-fsyntax-only", "-Werror"]


def main():
    database, folders = Path(sys.argv[1]), sys.argv[2:]
    wanted = [tree.ROOT / folder for folder in folders]
    entries = [
        entry
        for entry in json.loads(database.read_text())
        if any(Path(entry["file"]).is_relative_to(folder) for folder in wanted)
        and not Path(entry["file"]).is_relative_to(tree.ROOT / "bench" / "peers")
    ]
    commands = [(entry["file"], syntax_command(entry), entry["directory"]) for entry in entries]
    with ThreadPoolExecutor(tree.jobs()) as pool:
        results = list(pool.map(lambda item: tree.run(item[1], cwd=item[2]), commands))
    problems = []
    for (file, _, _), (status, output) in zip(commands, results):
        if status != 0:
            problems.append(f"{file}:\n{output}")
    return tree.report(problems, len(entries), "sources")


if __name__ == "__main__":
    sys.exit(main())
