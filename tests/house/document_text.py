"""What the check of the documents reads in them: blocks, their commands, what is shown, links."""

import re
from pathlib import Path

import tree

DUMP = re.compile(r"^\s*([0-9a-f]{2}\s*)+$")
TIME = re.compile(r" ?\(since [^)]*\)|\d{4}-\d\d-\d\d \d\d:\d\d:\d\d(\.\d+)?")
LINK = re.compile(r"\]\((?!https?:)([^)#\s]*)#?([^)\s]*)\)")


def blocks(text):
    """Yields (line, kind, text) of each block; an indented one is a dump or a mistake."""
    lines = text.splitlines()
    at = 0
    while at < len(lines):
        fence = re.match(r"```(.*)$", lines[at])
        if fence:
            end = next((i for i in range(at + 1, len(lines)) if lines[i] == "```"), len(lines))
            yield at + 1, fence.group(1).strip(), "\n".join(lines[at + 1 : end])
            at = end
        elif re.match(r"    \S", lines[at]) and not lines[at - 1].strip():
            if not DUMP.match(lines[at]):
                yield at + 1, "indented", lines[at]
        at += 1


def commands(text):
    """The commands of a block: continued lines and the text of a "<<'END'" belong to one."""
    found, whole, end = [], [], None
    for line in text.splitlines():
        if not whole and (not line.strip() or line.startswith("#")):
            continue
        whole.append(line)
        heredoc = re.search(r"<<'(\w+)'", line)
        if heredoc:
            end = heredoc.group(1)
        elif end is not None:
            if line == end:
                end = None
        if end is None and not line.endswith("\\"):
            found.append("\n".join(whole))
            whole = []
    return found


def steps(command):
    """The parts of a command that "&&" joins, since each may be proven in its own way."""
    return command.split(" && ") if "<<" not in command else [command]


def plain(command):
    """The command as it is looked up: in one line, without the comment behind it."""
    return " ".join(re.sub(r"\s+#.*", "", command.replace("\\\n", " ")).split())


def hasty(each):
    """The command of a block that may need what was started in it and is not there yet, or None."""
    started = False
    for command in each:
        if command.endswith("&"):
            started = True
        elif names(command, "--retries"):
            started = False
        elif started:
            return plain(command)
    return None


def names(text, option):
    """Whether the text has the option itself, and not only a longer one."""
    return re.search(re.escape(option) + r"(?![\w-])", text) is not None


def shape(line):
    return " ".join(TIME.sub("", line).split())


def shows(shown, output):
    """Whether the output has the lines of a block "text" and no others, but for any number of them
    where "..." stands. Empty lines do not count."""
    have = "".join(shape(line) + "\n" for line in output.splitlines() if line.strip())
    wanted = ""
    for line in shown.splitlines():
        if line.strip():
            wanted += r"(?:.*\n)*" if line.strip() == "..." else re.escape(shape(line)) + r"\n"
    return re.fullmatch(wanted, have) is not None


def anchor(heading):
    """The name under which a heading can be linked."""
    return re.sub(r"[^\w -]", "", heading.lower()).strip().replace(" ", "-")


def links_problems(name):
    """Every link leads to a file of the tree, and to a heading that is there."""
    for target, heading in LINK.findall(tree.text(name)):
        file = Path(name).parent / target if target else Path(name)
        if not (tree.ROOT / file).is_file():
            yield f"{name}: a link to {file}, which is not there"
        elif heading:
            headings = re.findall(r"^#+ (.*)$", tree.text(file), re.M)
            if heading not in map(anchor, headings):
                yield f"{name}: a link to '{heading}' of {file}, which is not there"
