#!/usr/bin/env python3
"""Checks the layout of every C++ file with clang-format: format.py CLANG_FORMAT."""

import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import tree


def main():
    program = sys.argv[1]
    names = [name for name in tree.sources() if Path(name).suffix in tree.CPP]

    def problem(name):
        status, output = tree.run([program, "--dry-run", "--Werror", name], cwd=tree.ROOT)
        return output.split("\n")[0] if status != 0 else None

    with ThreadPoolExecutor(tree.jobs()) as pool:
        problems = [found for found in pool.map(problem, names) if found]
    if problems:
        print("clang-format -i settles these:")
    return tree.report(problems, len(names), "files")


if __name__ == "__main__":
    sys.exit(main())
