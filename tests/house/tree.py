"""What the checks of the tree share: its files, running a command, reporting."""

import os
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

CPP = {".h", ".cpp"}
# Inputs of tests and fuzzers are kept byte for byte: no rule of style holds for them.
DATA = ("fuzz/corpus/", "tests/fenc/golden/", "tests/fenc/data/")


def run(command, **options):
    """Runs a command to its end; gives its exit status and all that it printed."""
    done = subprocess.run(
        command,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        errors="replace",
        **options,
    )
    return done.returncode, done.stdout


def jobs():
    return os.cpu_count() or 1


def files():
    """The files of the tree, relative to its root, sorted: those of git, and new ones."""
    status, output = run(
        ["git", "-c", "safe.directory=*", "ls-files", "-co", "--exclude-standard", "-z"], cwd=ROOT
    )
    if status == 0:
        names = [name for name in output.split("\0") if name]
    else:  # an exported tree
        names = [
            str(path.relative_to(ROOT))
            for path in ROOT.rglob("*")
            if path.is_file() and not path.relative_to(ROOT).parts[0].startswith("build")
        ]
    return sorted(name for name in set(names) if (ROOT / name).is_file())


def sources():
    """The files that the rules of style hold for."""
    return [name for name in files() if not name.startswith(DATA)]


def text(name):
    return (ROOT / name).read_text(encoding="utf-8", errors="replace")


def report(problems, count, things):
    """Prints the problems; the exit status of a check, which fails on nothing to check."""
    for problem in problems:
        print(problem)
    print(f"{count} {things} checked, {len(problems)} problems")
    return 1 if problems or count == 0 else 0
