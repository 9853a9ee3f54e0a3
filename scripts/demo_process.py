"""Programs that the demo starts and listens to, and how it talks."""

import json
import os
import queue
import subprocess
import sys
import threading
import time

from demo_networks import Failed

PATIENCE = 10.0  # seconds for any one thing to happen


def say(text=""):
    print(text, flush=True)


def headline(text):
    say(f"\n\033[1m{text}\033[0m" if sys.stdout.isatty() else f"\n{text}")


def table(rows):
    """Rows of cells as lines, columns as wide as what is in them."""
    widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]))]
    for row in rows:
        say("   " + "  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())


class Process:
    """A program whose standard output is read line by line, with logs of what it wrote."""

    def __init__(self, name, command, logs):
        self.name = name
        self.log = os.path.join(logs, name + ".log")
        self.lines = queue.Queue()
        self.errors = open(os.path.join(logs, name + ".err"), "ab")
        # Whatever ends the demo ends its processes.
        command = ["setpriv", "--pdeathsig", "KILL", *command]
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=self.errors, start_new_session=True, text=True)
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        with open(self.log, "a", encoding="utf-8") as log:
            for line in self.process.stdout:
                log.write(line)
                log.flush()
                self.lines.put(line.rstrip("\n"))
        self.lines.put(None)

    def line(self, deadline, wanted):
        """The next line; fails when there is none in time."""
        left = deadline - time.monotonic()
        try:
            if left <= 0:
                raise queue.Empty
            line = self.lines.get(timeout=left)
        except queue.Empty:
            raise Failed(f"{self.name}: waited {PATIENCE:.0f} s for {wanted}") from None
        if line is None:
            raise Failed(f"{self.name} ended while waiting for {wanted}")
        return line

    def signal(self, number):
        self.process.send_signal(number)

    def kill(self):
        self.process.kill()
        self.process.wait()

    def stop(self):
        """Ends it as a user would; returns its exit status."""
        self.process.terminate()
        try:
            return self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.kill()
            raise Failed(f"{self.name} did not end when it was asked to") from None


class Events:
    """The JSON lines of a program, each noted as it is read."""

    def __init__(self, process, note):
        self.process, self.note = process, note

    def next(self, wanted, text):
        """The next event for which `wanted` returns true."""
        deadline = time.monotonic() + PATIENCE
        while True:
            event = json.loads(self.process.line(deadline, text))
            self.note(event)
            if wanted(event):
                return event

    def waiting(self):
        """All events that have come already, without waiting for more."""
        found = []
        while True:
            try:
                line = self.process.lines.get_nowait()
            except queue.Empty:
                return found
            if line is not None:
                found.append(json.loads(line))
                self.note(found[-1])
