#!/usr/bin/env python3
"""Checks the length of every C++ function, counted from its opening to its closing brace."""

import re
import sys
from pathlib import Path

import tree

MAX_LINES = 70

# Comments, and literals, which may hold braces.
NOT_CODE = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"'
    r"|\"(?:\\.|[^\"\\\n])*\"|(?<![0-9A-Fa-f])'(?:\\.|[^'\\\n])+'",
    re.DOTALL,
)
CONTAINER = re.compile(
    r"^\s*(?:template\s*<[^{}]*>\s*)?(?:inline\s+)?"
    r"(?:namespace|class|struct|union|enum|extern)\b"
)


def without_literals(text):
    """The text with comments and literals blanked out, line breaks kept."""
    return NOT_CODE.sub(lambda match: "\n" * match.group(0).count("\n") or " ", text)


def functions(text):
    """Yields (first line, number of lines, head) of each outermost function body."""
    code = without_literals(text)
    code = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", directive_blanked, code, flags=re.MULTILINE)
    start, line, body, open_braces = 0, 1, None, []
    for position, char in enumerate(code):
        if char == "\n":
            line += 1
        elif char == "{":
            # The layout puts a blank before the brace of a body, none before one of a value.
            value = code[position - 1 : position] not in {" ", "\n", "("}
            open_braces.append(value)
            if value:
                continue
            head = code[start:position]
            if body is None and ")" in head and not CONTAINER.match(head):
                body = (line, len(open_braces), " ".join(head.split()))
            start = position + 1
        elif char == "}" and open_braces:
            if body is not None and body[1] == len(open_braces):
                yield body[0], line - body[0] + 1, body[2]
                body = None
            if not open_braces.pop():
                start = position + 1
        elif char == ";":
            start = position + 1


def directive_blanked(match):
    return "\n" * match.group(0).count("\n")


def main():
    names = [name for name in tree.sources() if Path(name).suffix in tree.CPP]
    count = 0
    problems = []
    for name in names:
        for line, length, head in functions(tree.text(name)):
            count += 1
            if length >= MAX_LINES:
                problems.append(f"{name}:{line}: {length} lines, below {MAX_LINES}: {head[-80:]}")
    return tree.report(problems, count, "functions")


if __name__ == "__main__":
    sys.exit(main())
