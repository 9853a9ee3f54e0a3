#!/usr/bin/env python3
"""Compiles every header alone, the generated ones too: headers.py COMPILER BINARY_DIR.

A header that a source includes first of all has been compiled alone with that source, by the build
and, with clang, by the stage that fuzzes; it is not compiled again here.
"""

import re
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import tree

FLAGS = "-std=c++20 -Wall -Wextra -Wshadow -Wconversion -Werror -fsyntax-only -x c++".split()
# What the build defines for all tests.
FLAGS += ['-DGANTRY_SOURCE_DIR=""', '-DGANTRY_BINARY_DIR=""']


FIRST_INCLUDE = re.compile(r'^#include [<"]([^>"]+)[>"]', re.MULTILINE)


def first_included(sources):
    """The headers that the sources include first."""
    found = set()
    for source in sources:
        match = FIRST_INCLUDE.search(source.read_text(encoding="utf-8"))
        if match:
            found.add(match.group(1))
    return found


def main():
    compiler, generated = sys.argv[1], Path(sys.argv[2]) / "generated"
    # What only a benchmark of a peer includes needs that peer's own headers.
    names = [name for name in tree.sources() if name.endswith(".h")]
    names = [name for name in names if not name.startswith("bench/peers/")]
    names += sorted(str(path.relative_to(generated)) for path in generated.rglob("*.fen.h"))
    sources = [name for name in tree.sources() if name.endswith(".cpp")]
    sources = [tree.ROOT / name for name in sources if not name.startswith("bench/peers/")]
    compiled = first_included([*sources, *generated.rglob("*.fen.cpp")])
    names = [name for name in names if name not in compiled]

    def problem(name):
        command = [compiler, *FLAGS, f"-I{tree.ROOT}", f"-I{generated}", "-"]
        status, output = tree.run(command, input=f"#include <{name}>\n")
        return f"{name}:\n{output}" if status != 0 else None

    with ThreadPoolExecutor(tree.jobs()) as pool:
        problems = [found for found in pool.map(problem, names) if found]
    return tree.report(problems, len(names), "headers")


if __name__ == "__main__":
    sys.exit(main())
