#!/usr/bin/env python3
"""Runs the demo with the programs of a build: demo.py DIRECTORY. The demo ends with status 0 only
when every step showed what it should; beyond that its headings have to be those of docs/demo.md.

The document shows the demo in network namespaces. Where there is no right to make them some
headings say so, and only their numbers and order are compared.
"""

import sys

import document_text
import tree

DOCUMENT = "docs/demo.md"


def headings(text):
    return [line for line in text.splitlines() if line and not line.startswith(" ")]


def first_words(lines):
    return [line.split()[0] for line in lines]


def main():
    status, output = tree.run([str(tree.ROOT / "scripts" / "demo"), "--built", sys.argv[1]])
    print(output)
    if status != 0:
        return status
    shown = next(
        headings(text)
        for _, kind, text in document_text.blocks(tree.text(DOCUMENT))
        if kind == "text"
    )
    seen = headings(output)
    if seen[:1] != shown[:1]:
        shown, seen = first_words(shown), first_words(seen)
    problems = [] if seen == shown else [f"{DOCUMENT} has the headings {shown}, the demo {seen}"]
    return tree.report(problems, len(seen), "headings")


if __name__ == "__main__":
    sys.exit(main())
