#!/usr/bin/env python3
"""Checks that docs/operations.md explains every state, every step of a decision that people are
shown, and every trace message, and no other message.

Under the heading "Messages" each chapter begins with the sources that it is about. In the first
column of its table stand the messages of the ring trace, in the second those of the stream trace,
each behind its level, as tests/house/messages.py reads them from the sources.
"""

import re
import sys
from pathlib import Path

import messages
import tree

DOCUMENT = "docs/operations.md"
# Where a state is declared, the enumeration, and whether people meet its numbers.
STATES = [
    ("gantry/common/MountState.h", "MountState", True),
    ("gantry/mount/MountSm.fen", "SmState", True),
    ("gantry/model/ServicePublishStatus.fen", "PublishState", True),
    ("gantry/runtime/cairn/MountStatus.h", "MountStatus", True),
    ("gantry/access/PublishedAccess.h", "Verdict", False),
    ("hosts/gantry-controller/Switches.h", "SwitchState", False),
    ("hosts/gantry-controller/InitialMounts.h", "InitialPhase", False),
]
# Words that programs show, and how a source has them; each has to stand in the document.
WORDS = [
    ("hosts/gantry-controller/Explanation.cpp", r'\bstep\(\s*"(\w+)"'),
    ("hosts/gantry-controller/InitialMounts.cpp", r'outcome =[^;]*?"(\w+)"'),
    ("hosts/gantry-controller/InitialMounts.cpp", r'outcome =[^;]*:\s*"(\w+)"'),
    ("hosts/gantry-controller/InitialMounts.cpp", r'"(waiting for \w+)"'),
]
SPAN = re.compile(r"`([^`]+)`")
LEVEL = re.compile(r"(\d): ((?:`[^`]+`(?:, )?)+)")
COMMENT = re.compile(r"//[^\n]*")


def enumerators(code, name):
    """The names of an enumeration, each with its number where it has one."""
    body = re.search(rf"\benum (?:class )?{name}\b[^{{]*\{{(.*?)\}}", COMMENT.sub("", code), re.S)
    found = [re.match(r"\s*(\w+)(?:\s*=\s*(\d+))?", one) for one in re.split("[,;]", body.group(1))]
    return [match.groups() for match in found if match]


def rows(text):
    """The cells of each row of the text's tables."""
    for line in text.splitlines():
        if line.startswith("|"):
            yield [cell.strip() for cell in line.strip("|").split("|")]


def state_problems(document, states=None):
    table = [cells for cells in rows(document) if len(cells) > 1]
    for source, name, numbered in states or STATES:
        for word, number in enumerators(tree.text(source), name):
            cells = [number, f"`{word}`"] if numbered else [f"`{word}`"]
            if not any(row[: len(cells)] == cells for row in table):
                yield f"{DOCUMENT}: no row for {' '.join(cells)} of {source}"


def word_problems(document):
    for source, pattern in WORDS:
        words = set(re.findall(pattern, tree.text(source)))
        if not words:
            yield f"{source} has no words as {pattern} finds them"
        for word in sorted(words):
            if f"`{word}`" not in document:
                yield f"{DOCUMENT}: `{word}` of {source} is not explained"


def chapters(document):
    """Of each chapter on messages its heading, its sources and what its table has."""
    for part in re.split(r"^### ", document.partition("\n## Messages\n")[2], flags=re.M)[1:]:
        heading, _, rest = part.partition("\n")
        sources = [span for span in SPAN.findall(rest.partition("\n|")[0]) if "/" in span]
        found = set()
        for cells in rows(rest):
            if len(cells) == 4 and cells[0] != "Ring":
                for sink, cell in zip(("ring", "stream"), cells):
                    for level, texts in LEVEL.findall(cell):
                        found |= {(sink, int(level), text) for text in SPAN.findall(texts)}
        yield heading, sources, found


def message_problems(document, sites):
    """`sites` has the messages of each source, each as its trace, its level and its text."""
    explained = set()
    for heading, sources, found in chapters(document):
        explained.update(sources)
        said = set().union(*(sites.get(source, set()) for source in sources))
        for sink, level, text in sorted(said - found):
            yield f"{DOCUMENT}: {heading}: `{text}` of the {sink} at level {level} is missing"
        for sink, level, text in sorted(found - said):
            yield f"{DOCUMENT}: {heading}: nobody says `{text}` at level {level} of the {sink}"
    for source in sorted(set(sites) - explained):
        yield f"{DOCUMENT}: no chapter for the messages of {source}"


def sites():
    found = {}
    for name in tree.files():
        if name.startswith(("gantry/", "hosts/")) and Path(name).suffix in tree.CPP:
            for message in messages.messages(name, tree.text(name)):
                sink = "ring" if message.sink == "ring" else "stream"
                found.setdefault(name, set()).add((sink, message.level, message.text))
    return found


def main():
    document = tree.text(DOCUMENT)
    found = sites()
    problems = [
        *state_problems(document),
        *word_problems(document),
        *message_problems(document, found),
    ]
    return tree.report(problems, sum(map(len, found.values())), "messages")


if __name__ == "__main__":
    sys.exit(main())
