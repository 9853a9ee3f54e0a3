"""Shows Gantry on live kernel state: three Linux hosts serve their interfaces, one program mounts
all three, a link goes down, a host is killed and comes back; with the times that it took.

Installs and builds what it needs, asks nothing, ends by itself and cleans up after itself. Each
host is a network namespace where that is possible (root, or an unprivileged user namespace), else
a process beside the others. Exits with 0 only when every step showed what it should.

   scripts/demo              set up, build, show
   scripts/demo --built DIR  show with the programs in DIR
"""

import json
import os
import queue
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

sys.dont_write_bytecode = True
from demo_networks import LEAVES, Failed, Namespaces, OneNamespace, run  # noqa: E402

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PATIENCE = 10.0  # seconds for any one thing to happen
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
COLUMNS = "operState,adminUp,mtu,speed,address"


def say(text=""):
    print(text, flush=True)


def headline(text):
    say(f"\n\033[1m{text}\033[0m" if sys.stdout.isatty() else f"\n{text}")


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


class Demo:
    def __init__(self, programs, network, logs):
        self.programs, self.network, self.logs = programs, network, logs
        self.hosts, self.endpoints, self.times = {}, {}, []
        self.state, self.oper_states = {}, {}
        self.mount = None

    def measured(self, what, seconds):
        self.times.append((what, seconds))
        say(f"   {what}: {seconds * 1000:.1f} ms")

    def serve(self, leaf):
        command = [os.path.join(self.programs, "gantry-switch"), "--sysname", leaf,
                   "--listen", self.network.listen(leaf), "--sample", "0.5"]
        host = Process(leaf, self.network.host(leaf, command), self.logs)
        self.hosts[leaf] = host
        line = host.line(time.monotonic() + PATIENCE, "the line that says where it serves")
        say("   " + line)
        self.endpoints[leaf] = line.rsplit(" ", 1)[1]
        if isinstance(self.network, OneNamespace):
            self.network.ports[leaf] = self.endpoints[leaf].rsplit(":", 1)[1]

    def event(self, wanted, text):
        """The next event for which `wanted` returns true."""
        deadline = time.monotonic() + PATIENCE
        while True:
            event = json.loads(self.mount.line(deadline, text))
            leaf = event["peer"]
            if event["event"] == "mountState":
                self.state[leaf] = event["state"]
            elif event["event"] == "entity":
                self.oper_states[leaf, event["path"]] = event["attributes"].get("operState")
            elif event.get("attribute") == "operState":
                self.oper_states[leaf, event["path"]] = event["value"]
            if wanted(event):
                return event

    def changes(self, began, attribute, values):
        """The link's change in every tree that has to show it."""
        waiting, path = list(self.network.sees), "interface/" + self.network.link
        while waiting:
            event = self.event(
                lambda e: e["event"] == "changed" and e["peer"] in waiting and e["path"] == path
                and e["attribute"] == attribute and e["time"] >= began
                and (values is None or e["value"] in values),
                f"{path} {attribute} of {', '.join(waiting)}")
            waiting.remove(event["peer"])
            self.measured(f"{event['peer']}/linux/{path} {attribute} is now "
                          f"{json.dumps(event['value']).strip(chr(34))}",
                          event["time"] - began)

    def state_is(self, leaf, state):
        return self.event(lambda e: e["event"] == "mountState" and e["peer"] == leaf
                          and e["state"] == state, f"{leaf} to become {state}")

    def mounting(self):
        peers = [word for leaf in LEAVES for word in ("--peer", f"{leaf}={self.endpoints[leaf]}")]
        return [os.path.join(self.programs, "gantry-mount"), *peers,
                "--path", "linux/interface", "--type", "Linux::InterfaceDir"]

    def show(self):
        headline(f"1. Three hosts serve their live interfaces: {self.network.text}")
        for leaf in LEAVES:
            self.serve(leaf)

        headline("2. One program mounts linux/interface of all three over TCP")
        began = time.time()
        self.mount = Process("mount", self.mounting() + ["--json", "--retry-interval", "0.1"],
                             self.logs)
        while [self.state.get(leaf) for leaf in LEAVES] != ["mountStateMounted"] * 3:
            event = self.event(lambda e: e["event"] == "mountState", "the mounts")
        self.measured("from the start of the program to three live mounts", event["time"] - began)
        # The kernel may take its time to notice that a new link has a carrier.
        while any(self.oper_states.get(link) != "up" for link in self.network.links):
            self.event(lambda e: True, "the links to come up")
        table = subprocess.run(self.mounting() + ["--once", "--columns", COLUMNS],
                               capture_output=True, text=True, timeout=PATIENCE)
        say("\n" + "".join("   " + line if line.strip() else line
                          for line in table.stdout.splitlines(keepends=True)).rstrip())
        if table.returncode != 0 or "leaf3" not in table.stdout:
            raise Failed(f"gantry-mount --once: {table.stderr.strip()}")

        headline(f"3. A change in one host: {self.network.what}")
        began = time.time()
        self.network.link_is("down")
        self.changes(began, *self.network.down)

        headline("4. leaf2 is killed (SIGKILL)")
        began = time.time()
        self.hosts["leaf2"].kill()
        event = self.state_is("leaf2", "mountStateFailed")
        say(f"   the mount says: {event.get('reason', '')}")
        self.measured("to the mount of leaf2 failing", event["time"] - began)
        if [self.state[leaf] for leaf in ("leaf1", "leaf3")] != ["mountStateMounted"] * 2:
            raise Failed("the other two mounts did not stay live")
        say("   leaf1 and leaf3 stay mounted")

        headline("5. leaf2 is started again (the mount is asked for every 0.1 s)")
        began = time.time()
        self.serve("leaf2")
        event = self.state_is("leaf2", "mountStateMounted")
        self.measured("from the start of the host to a live mount", event["time"] - began)
        began = time.time()
        self.network.link_is("up")
        self.changes(began, *self.network.up)

        headline("6. Everything ends")
        for process in [self.mount, *self.hosts.values()]:
            if process.stop() != 0:
                raise Failed(f"{process.name} ended with status {process.process.returncode}")
        headline("Measured")
        for what, seconds in self.times:
            say(f"   {seconds * 1000:9.1f} ms  {what}")

    def close(self):
        for process in [self.mount, *self.hosts.values()]:
            if process is not None and process.process.poll() is None:
                process.kill()
        self.network.close()


def show(programs, network):
    logs = tempfile.mkdtemp(prefix="gantry-demo-")
    demo = Demo(programs, network, logs)
    try:
        demo.show()
    except (Failed, subprocess.TimeoutExpired) as failure:
        say(f"\nThe demo failed: {failure}\nWhat each process wrote is in {logs}")
        logs = None
        return 1
    finally:
        for number in SIGNALS:
            signal.signal(number, signal.SIG_IGN)
        demo.close()
        if logs is not None:
            shutil.rmtree(logs)
    say("\nEvery step showed what it should.")
    return 0


def built():
    """Installs and builds what the demo needs; returns the directory of the programs."""
    os.chdir(ROOT)
    headline("Setting up and building (the first time this takes some minutes)")
    for command in (["scripts/setup", "--build"], ["cmake", "--preset", "release"],
                    ["cmake", "--build", "--preset", "release", "--target", "gantry-switch",
                     "gantry-mount"]):
        # The build tells how far it is; into a file that would be hundreds of lines.
        quiet = command[0] == "cmake" and not (sys.stdout.isatty() and "--build" in command)
        if subprocess.run(command, stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL if quiet else None).returncode:
            raise Failed(" ".join(command))
    return os.path.join(ROOT, "build", "release", "hosts")


def interrupted(number, _):
    raise Failed(f"interrupted by {signal.Signals(number).name}")


def main(arguments):
    for number in SIGNALS:
        signal.signal(number, interrupted)
    try:
        if arguments[:1] == ["--inside"]:
            return show(arguments[1], Namespaces())
        if arguments not in ([], ["--built", *arguments[1:2]]):
            say(__doc__)
            return 0 if arguments == ["--help"] else 2
        programs = os.path.abspath(arguments[1]) if arguments else built()
        apart = ["unshare", "--net", "--mount"]
        users = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
        trial = ("mount -t tmpfs tmpfs /run && ip netns add trial"
                 " && ip link add trial0 type veth peer name trial1")
        if run(*apart, *users, "sh", "-c", trial, quiet=True):
            # The same process, in namespaces of its own that go when it goes.
            os.execvp("unshare", [*apart, *users, sys.executable, os.path.abspath(__file__),
                                  "--inside", programs])
        return show(programs, OneNamespace())
    except Failed as failure:
        say(f"The demo failed: {failure}")
        return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
