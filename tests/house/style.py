#!/usr/bin/env python3
"""Checks what a reader relies on in every file: length, opening comment, plain characters, no marks
of unfinished work, nothing that only one machine understands."""

import re
import sys
from pathlib import Path

import tree

MAX_LINES = 800
MAX_COLUMNS = 100
CODE = {".h", ".cpp", ".fen", ".py", ".sh", ".cmake", ".ts", ".js"}

# Put together from pieces, so that this file does not find itself.
UNFINISHED = re.compile(
    r"\b(" + "|".join(["TO" + "DO", "FIX" + "ME", "XX" + "X", "HA" + "CK"]) + r")\b"
    r"|\bnot (yet )?imple" + r"mented\b|GTEST_" + r"SKIP|DISA" + r"BLED_"
)
ONE_MACHINE = re.compile(r"(?<![\w.~$}-])/(home|root|work|Users)/\w")
NUMBERED_CHAPTER = re.compile(r"\b[Pp]arts? \d+\.\d")


def is_code(name, text):
    return Path(name).suffix in CODE or name.endswith("CMakeLists.txt") or text.startswith("#!")


def line_problems(name, number, line, code):
    where = f"{name}:{number}: "
    if ONE_MACHINE.search(line):
        yield where + "a path that only one machine has"
    if NUMBERED_CHAPTER.search(line):
        yield where + "refers to a numbered chapter; say the reason instead"
    if not code:
        return
    if UNFINISHED.search(line):
        yield where + "a mark of unfinished or skipped work"
    if "\t" in line:
        yield where + "a tab"
    if line != line.rstrip():
        yield where + "blanks at the end of the line"
    if len(line) > MAX_COLUMNS:
        yield where + f"{len(line)} columns, at most {MAX_COLUMNS}"


def file_problems(name, text):
    code = is_code(name, text)
    lines = text.split("\n")
    suffix = Path(name).suffix
    if code:
        if len(lines) - 1 > MAX_LINES:
            yield f"{name}: {len(lines) - 1} lines, at most {MAX_LINES}: find where it comes apart"
        if text and not text.endswith("\n"):
            yield f"{name}: no newline at its end"
    if suffix in {".h", ".cpp", ".fen"} and not lines[0].startswith(("//", "/*")):
        yield f"{name}: does not begin with a comment that says what it is"
    if suffix == ".h" and "#pragma once" not in lines:
        yield f"{name}: no #pragma once"
    for number, line in enumerate(lines, 1):
        yield from line_problems(name, number, line, code)


def main():
    names = tree.sources()
    problems = [problem for name in names for problem in file_problems(name, tree.text(name))]
    return tree.report(problems, len(names), "files")


if __name__ == "__main__":
    sys.exit(main())
