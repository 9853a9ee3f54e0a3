#!/usr/bin/env python3
"""Checks that <gantry/Gantry.h> reaches every public header: umbrella.py COMPILER BINARY_DIR.

A header that only the library's own sources include says "Private to the library" in its opening
comment.
"""

import re
import sys
from pathlib import Path

import tree


def reached(compiler, generated):
    command = [compiler, "-std=c++20", "-M", f"-I{tree.ROOT}", f"-I{generated}", "-x", "c++", "-"]
    status, output = tree.run(command, input="#include <gantry/Gantry.h>\n")
    if status != 0:
        sys.exit(output)
    names = set()
    for word in output.replace("\\\n", " ").split():
        for root in (tree.ROOT, generated):
            if Path(word).is_relative_to(root):
                names.add(str(Path(word).relative_to(root)))
    return names


def is_private(name):
    opening = re.match(r"(?:\s*//[^\n]*\n)*", tree.text(name)).group(0)
    return "Private to the library" in opening


def main():
    compiler, generated = sys.argv[1], Path(sys.argv[2]) / "generated"
    names = reached(compiler, generated)
    wanted = [name for name in tree.sources() if re.match(r"gantry/.*\.h$", name)]
    wanted = [name for name in wanted if not is_private(name)]
    wanted += [name + ".h" for name in tree.sources() if re.match(r"gantry/.*\.fen$", name)]
    problems = [f"gantry/Gantry.h does not reach {name}" for name in wanted if name not in names]
    return tree.report(problems, len(wanted), "public headers")


if __name__ == "__main__":
    sys.exit(main())
