#!/usr/bin/env python3
"""Checks that includes and imports below gantry/ only go down, as cmake/Layers.txt declares."""

import re
import sys
from pathlib import Path

import tree

INCLUDE = re.compile(r'^\s*(?:#\s*include|import)\s*[<"]([^>"]+)[>"]')


def declared():
    """For each folder of cmake/Layers.txt all folders that it may include, itself among them."""
    allowed = {}
    for line in tree.text("cmake/Layers.txt").splitlines():
        if not line or line.startswith("#"):
            continue
        folder, _, below = line.partition(":")
        allowed[folder] = {folder}
        for lower in below.split():
            allowed[folder] |= allowed[lower]  # a KeyError names a folder used before its line
    return allowed


def folder_of(name, allowed):
    """The folder of Layers.txt that holds the file, None where none does."""
    parts = Path(name).parts[1:-1]
    for length in range(len(parts), 0, -1):
        folder = "/".join(parts[:length])
        if folder in allowed:
            return folder
    return None


def file_problems(name, text, allowed):
    # What lies beside the folders, such as the export macro, is for all of them and uses none.
    own = folder_of(name, allowed)
    for number, line in enumerate(text.splitlines(), 1):
        match = INCLUDE.match(line)
        if not match:
            continue
        target = match.group(1)
        where = f"{name}:{number}: "
        if target == "gantry/Gantry.h":
            yield where + "the umbrella header is for users of the library"
        elif target.startswith("gantry/"):
            folder = folder_of(target, allowed)
            if folder is not None and (own is None or folder not in allowed[own]):
                yield where + f"{own or 'runtime'} includes {folder}, which is above it"
        elif target.startswith(("fenc/", "hosts/", "tests/", "bench/", "fuzz/", "examples/")):
            yield where + "the library includes nothing from outside gantry/"
        elif '"' in line and "#" in line:
            yield where + "includes read <gantry/folder/Name.h>"


def fenc_problems(name, text):
    for number, line in enumerate(text.splitlines(), 1):
        match = INCLUDE.match(line)
        if match and match.group(1).startswith("gantry/"):
            yield f"{name}:{number}: fenc is built before the library and uses nothing of it"


def main():
    allowed = declared()
    names = [name for name in tree.sources() if Path(name).suffix in {".h", ".cpp", ".fen"}]
    problems = []
    for name in names:
        # What lies directly in gantry/ is of the whole library and stands above everything.
        if name.startswith("gantry/") and len(Path(name).parts) > 2:
            if folder_of(name, allowed) is None and len(Path(name).parts) > 3:
                problems.append(f"{name}: cmake/Layers.txt has no line for its folder")
            problems.extend(file_problems(name, tree.text(name), allowed))
        elif name.startswith("fenc/"):
            problems.extend(fenc_problems(name, tree.text(name)))
    return tree.report(problems, len(names), "files")


if __name__ == "__main__":
    sys.exit(main())
