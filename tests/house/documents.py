#!/usr/bin/env python3
"""Runs every command of the documents: documents.py BINARY_DIR.

A fenced block says what it holds. Of "sh" every command is run, all of one document in their order,
in an empty directory beside which the tree and the build stand as for a reader. What ends with "&"
goes on until "kill %N" ends it, as it must before the document is through, with status 0; a reader
pastes a block whole, so what follows in it has to wait for what was started by itself, with
"--retries". "sh fails" is one that must fail. A block "text" behind commands is what the last one
of them prints, all of it but for times and what stands for "..."; the command is repeated until it
does. "synopsis" names programs and options that must exist, "fen" is a schema that compiles, "fen
part" a piece of one. What cannot be run here is in ELSEWHERE, with the reason and with a look at
whether that still holds. On the first page code is that of a file of the examples. Links lead
somewhere, and every option of every host program stands in some document.
"""

import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

import document_text
import tree

# Far longer than anything takes on a loaded machine.
PATIENCE = 60
BINARY = Path(sys.argv[1] if len(sys.argv) > 1 else "build/release").resolve()
DOCUMENTS = [name for name in tree.files() if re.fullmatch(r"[A-Z]+\.md|docs/.*\.md", name)]
PROGRAMS = ["gantry", "gantry-controller", "gantry-mount", "gantry-switch", "gantry-trace"]
OTHERS = {"text", "cpp", "fen part", "cmake"}


class Wrong(Exception):
    pass


# ---- what is proven elsewhere --------------------------------------------------------------------


def stands_in(name, text):
    if text not in tree.text(name):
        raise Wrong(f"{name} has no '{text}' any more")


def ci(_):
    stands_in(".ci/run", "scripts/test")


def setup(_):
    stands_in("scripts/test", 'stage "setup" scripts/setup')


def demo(_):
    stands_in("tests/house/demo.py", '"scripts" / "demo"), "--built"')


def preset(match):
    stands_in("scripts/test", f"built {match.group(1)} ")


def target(match):
    name = match.group(1) or "all"
    status, output = tree.run(["ninja", "-C", str(BINARY), "-t", "query", name])
    if status != 0:
        raise Wrong(output.strip().splitlines()[-1])


def fuzz_target(match):
    if not (tree.ROOT / "fuzz" / f"{match.group(1)}.cpp").is_file():
        raise Wrong(f"there is no fuzz/{match.group(1)}.cpp")
    stands_in("fuzz/CMakeLists.txt", "/run $<TARGET_FILE:fuzz_${name}> ${corpus}")
    stands_in("scripts/test", "built fuzz gantry_fuzz_tier")


def benchmark_program(name):
    program = BINARY / "bench" / f"bench_{name}"
    if not program.is_file():
        raise Wrong(f"{program.name} is not there: scripts/setup installs what it is built with")
    return str(program)


def one_benchmark(match):
    status, output = tree.run([benchmark_program(match.group(1)), "--benchmark_min_time=0.001"])
    if status != 0:
        raise Wrong(output)


def figures(match):
    """The program must be there and have benchmarks."""
    for name in match.group(1).split():
        status, output = tree.run([benchmark_program(name), "--benchmark_list_tests"])
        if status != 0 or not output.strip():
            raise Wrong(f"bench_{name} lists no benchmarks: {output}")


ELSEWHERE = [
    (r"scripts/test(?: --\w+)?", "it is what CI runs", ci),
    (r"scripts/setup(?: --\w+)?", "it is the first stage of scripts/test", setup),
    (r"scripts/demo", "the test house.demo runs it with the programs of this build", demo),
    (r"cmake --preset (\w+)", "scripts/test configures every preset", preset),
    (r"ninja -C build/release(?: (\w+))?", "scripts/test builds it with all else", target),
    (r"ninja -C build/fuzz fuzz_(\w+)", "scripts/test builds it with its tier", fuzz_target),
    (
        r"fuzz/run build/fuzz/fuzz/fuzz_(\w+) fuzz/corpus/\1",
        "the fuzz tier of scripts/test runs it as a test",
        fuzz_target,
    ),
    (r"scripts/bench (notify)", "its program ran here, with a minimal time", one_benchmark),
    (r"scripts/bench (?:--peers )?(.+)", "figures want a quiet machine and their time", figures),
]


# ---- running -------------------------------------------------------------------------------------


def read_on(stream):
    with stream:
        stream.read()


class Place:
    """An empty directory that looks like the tree after a build, on a network of its own where
    that is possible, and what runs there."""

    def __init__(self):
        self.directory = Path(tempfile.mkdtemp(prefix="gantry-documents-"))
        for path in tree.ROOT.iterdir():
            if path.name != "build":
                (self.directory / path.name).symlink_to(path)
        (self.directory / "build").mkdir()
        (self.directory / "build" / "release").symlink_to(BINARY)
        # By the numbers that a shell gives them.
        self.running = {}
        self.environment = dict(
            os.environ, PATH=f"{BINARY}/hosts:{BINARY}/fenc:{os.environ['PATH']}", LC_ALL="C.UTF-8"
        )

    def close(self):
        """Gives what is wrong with what still runs: that it does, and how it ended."""
        wrong = [f"no 'kill %{job}' ends {what}" for job, (_, what) in self.running.items()]
        wrong += self.end(list(self.running))
        shutil.rmtree(self.directory)
        return wrong

    def end(self, jobs):
        """Ends what has these numbers; gives what is wrong with how it ended."""
        if not set(jobs) <= set(self.running):
            raise Wrong(f"of the jobs {jobs} only {list(self.running)} are there")
        ending = [self.running.pop(job) for job in jobs]
        wrong = []
        for child, _ in ending:
            child.terminate()
        for child, what in ending:
            try:
                status = child.wait(PATIENCE)
            except subprocess.TimeoutExpired:
                child.kill()
                status = "none, and had to be killed"
            if status != 0:
                wrong.append(f"ends with status {status}: {what}")
        return wrong

    def start(self, command):
        """Starts what goes on, and waits for its first line: a host says when it serves."""
        words = command.rstrip("& ")
        child = subprocess.Popen(
            ["bash", "-c", "exec " + words],
            cwd=self.directory,
            env=self.environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
        )
        watchdog = threading.Timer(PATIENCE, child.kill)
        watchdog.start()
        first = child.stdout.readline()
        watchdog.cancel()
        what = f"{document_text.plain(command)}: {first.strip()}"
        self.running[max(self.running, default=0) + 1] = (child, what)
        # What it says later is of no interest, and must not stop it.
        threading.Thread(target=read_on, args=[child.stdout], daemon=True).start()

    def run(self, command):
        match = re.fullmatch(r"export (\w+)=(\S+)", command)
        if match:
            self.environment[match.group(1)] = match.group(2)
            return 0, ""
        if re.fullmatch(r"kill( %\d+)+", command):
            wrong = self.end([int(job) for job in re.findall(r"\d+", command)])
            return len(wrong), "\n".join(wrong)
        return tree.run(
            ["bash", "-ec", command],
            cwd=self.directory,
            env=self.environment,
            stdin=subprocess.DEVNULL,
            timeout=PATIENCE,
        )


def carry_out(place, command, fails, shown):
    """Runs one command, again and again until it has printed what is shown."""
    deadline = time.monotonic() + PATIENCE
    while True:
        status, output = place.run(command)
        if (status != 0) != fails:
            raise Wrong(f"ends with status {status}: {output}")
        if not shown or document_text.shows(shown, output):
            return
        if time.monotonic() > deadline:
            raise Wrong(f"prints another text than is shown:\n{output}")


def elsewhere(command):
    """Why the command need not be run here, None when it must."""
    for pattern, reason, check in ELSEWHERE:
        match = re.fullmatch(pattern, document_text.plain(command))
        if match:
            check(match)
            return reason
    return None


# ---- checks --------------------------------------------------------------------------------------


def manual():
    """The options of gantry's commands."""
    command = [str(BINARY / "hosts" / "gantry"), "--control", "none", "manual"]
    return tree.run(command)[1].replace("\\-", "-")


def help_text(program):
    places = [BINARY / "hosts" / program, BINARY / "fenc" / program]
    place = next((path for path in places if path.is_file()), None)
    if place is None:
        raise Wrong(f"there is no program {program}")
    return tree.run([str(place), "--help"])[1] + (manual() if program == "gantry" else "")


def check_synopsis(text):
    """Every program of a synopsis must know the options that stand behind it."""
    for command in document_text.commands(text):
        words = document_text.plain(command).split()
        known = help_text(words[0])
        for option in re.findall(r"--[\w-]+", " ".join(words[1:])):
            if not document_text.names(known, option):
                raise Wrong(f"{words[0]} has no option {option}")


def check_example(text):
    """Code on the first page stands there as it is in a file of the examples."""
    files = [name for name in tree.files() if name.startswith("examples/")]
    if text not in {tree.text(name).rstrip("\n") for name in files}:
        raise Wrong("is not the text of a file of the examples")


def check_schema(place, text):
    """A schema that is shown whole must be one that the compiler takes."""
    (place.directory / "Shown.fen").write_text(text, encoding="utf-8")
    status, output = place.run("fenc --import-path . --output-dir out Shown.fen")
    if status != 0:
        raise Wrong(output)


def check_json(place, text):
    """A whole file must be one that gantry-controller takes, a part of one at least JSON."""
    if not text.startswith("{"):
        json.loads("{" + text + "}")
        return
    (place.directory / "shown.json").write_text(text, encoding="utf-8")
    status, output = place.run("gantry-controller --check --config shown.json")
    if status != 0:
        raise Wrong(output)


def run_block(place, kind, text, behind, ran, proven):
    """Runs the commands of one block; the text behind it is what the last one prints."""
    each = [part for whole in document_text.commands(text) for part in document_text.steps(whole)]
    hasty = document_text.hasty(each)
    if hasty is not None:
        raise Wrong(f"'{hasty}' does not wait for what was started in the same block")
    for number, command in enumerate(each, 1):
        reason = elsewhere(command)
        if reason is not None:
            proven.append(f"{document_text.plain(command)}: {reason}")
            continue
        ran.append(command)
        if command.endswith("&"):
            place.start(command)
        else:
            carry_out(place, command, kind == "sh fails", behind if number == len(each) else "")


def document(name, place, ran, proven):
    """Goes through one document; yields its problems."""
    found = list(document_text.blocks(tree.text(name)))
    for (line, kind, text), (_, kind_behind, behind) in zip(found, [*found[1:], (0, "", "")]):
        where = f"{name}:{line}: "
        try:
            if kind in ("sh", "sh fails"):
                shown = behind if kind_behind == "text" else ""
                run_block(place, kind, text, shown, ran, proven)
            elif kind == "synopsis":
                check_synopsis(text)
            elif kind == "json":
                check_json(place, text)
            elif kind in ("cpp", "fen") and name == "README.md":
                check_example(text)
            elif kind == "fen":
                check_schema(place, text)
            elif kind not in OTHERS:
                raise Wrong(f"a block of '{kind}' says nothing of what it holds")
        except (Wrong, subprocess.TimeoutExpired, json.JSONDecodeError) as wrong:
            yield where + str(wrong)


def options_problems():
    """Every option of every host program stands in a document."""
    text = "".join(tree.text(name) for name in DOCUMENTS)
    for program in PROGRAMS:
        for option in sorted(set(re.findall(r"--[\w-]+", help_text(program))) - {"--help"}):
            if not document_text.names(text, option):
                yield f"no document names {option} of {program}"


def main():
    ran, proven, problems = [], [], list(options_problems())
    for name in DOCUMENTS:
        problems += document_text.links_problems(name)
        place = Place()
        try:
            problems += document(name, place, ran, proven)
        finally:
            problems += [f"{name}: {wrong}" for wrong in place.close()]
    for each in sorted(set(proven)):
        print(f"proven elsewhere: {each}")
    return tree.report(problems, len(ran) + len(proven), "commands")


if __name__ == "__main__":
    # A network of its own keeps the ports of the documents free.
    apart = ["unshare", "--net"] + ([] if os.geteuid() == 0 else ["--user", "--map-root-user"])
    can_be_apart = tree.run([*apart, "ip", "link", "set", "lo", "up"])[0] == 0
    if can_be_apart and "--inside" not in sys.argv:
        script = 'ip link set lo up && exec "$@"'
        again = [sys.executable, "-B", __file__, str(BINARY), "--inside"]
        sys.exit(subprocess.run([*apart, "sh", "-c", script, "sh", *again]).returncode)
    sys.exit(main())
