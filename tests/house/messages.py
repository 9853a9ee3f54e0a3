"""Finds the trace messages of C++ sources, for the check of the document that explains them."""

import re
from dataclasses import dataclass

CALL = re.compile(r"\b(RINGSCRIBE_TRACE|FEN_TRACE)\s*\(")
LITERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')
TERNARY = re.compile(r'^\(?[^"?]*\?\s*"((?:[^"\\]|\\.)*)"\s*:\s*"((?:[^"\\]|\\.)*)"\s*\)?$', re.S)


@dataclass(frozen=True)
class Message:
    """One thing that a site may say; what is not known before it is said stands as `*`."""

    file: str
    line: int
    sink: str  # "ring" or the handle of the stream
    level: int
    text: str


def arguments(code, start, separator):
    """The parts between an opening parenthesis before start and its end, and where that is."""
    parts, depth, begin, position = [], 0, start, start
    while True:
        char = code[position]
        if char == '"':
            position = LITERAL.match(code, position).end()
            continue
        if char in "([{":
            depth += 1
        elif char in ")]}":
            if depth == 0:
                parts.append(code[begin:position])
                return [part.strip() for part in parts]
            depth -= 1
        elif depth == 0 and code.startswith(separator, position):
            parts.append(code[begin:position])
            position += len(separator)
            begin = position
            continue
        position += 1


def texts(parts):
    """Every text that the parts may make."""
    found = [""]
    for part in parts:
        literals = LITERAL.findall(part)
        choice = TERNARY.match(part)
        if choice:
            found = [text + which for text in found for which in choice.groups()]
        elif literals and not LITERAL.sub("", part).strip():
            found = [text + "".join(literals) for text in found]
        else:
            found = [text + "*" for text in found]
    return [" ".join(text.split()) for text in found]


def messages(name, code):
    """The messages of one source, in its order."""
    for match in CALL.finditer(code):
        line = code.count("\n", 0, match.start()) + 1
        if code[: match.start()].rpartition("\n")[2].lstrip().startswith(("//", "#")):
            continue
        parts = arguments(code, match.end(), ",")
        if match.group(1) == "RINGSCRIBE_TRACE":
            sink, level, parts = "ring", int(parts[0]), parts[1:]
        else:
            sink, level = parts[0], int(parts[1])
            whole = arguments(code, match.end(), "<<")
            # The handle and the level stand before the first comma of the first part.
            first = arguments(whole[0] + ")", 0, ",")[2:]
            parts = [", ".join(first), *whole[1:]]
        for text in texts(parts):
            yield Message(name, line, sink, level, text)
