"""Shows Gantry on live kernel state: four Linux hosts serve their interfaces, a controller mounts
from them what two services declare, a link goes down, a host is killed and comes back, a host
changes the versions that it offers, a file of declarations is edited, and what it publishes comes
back from the kernels of the hosts; with the times that it took.

Installs and builds what it needs, asks nothing, ends by itself and cleans up after itself. Each
host is a network namespace where that is possible (root, or an unprivileged user namespace), else
a process beside the others. Exits with 0 only when every step showed what it should.

   scripts/demo              set up, build, show
   scripts/demo --built DIR  show with the programs in DIR
"""

import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True
from demo_networks import LEAVES, Failed, Namespaces, OneNamespace, run  # noqa: E402
from demo_process import PATIENCE, Events, Process, headline, say, table  # noqa: E402

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
PROGRAMS = ["gantry-switch", "gantry-mount", "gantry-controller"]
IDS = {leaf: f"02:00:00:00:00:{number:02x}" for number, leaf in enumerate(LEAVES, 1)}
OFFERS = {"fabric": "1-3", "inventory": "1-2"}
LINKS = "mounts/linux/interface"


class Demo:
    def __init__(self, programs, network, logs):
        self.programs, self.network, self.logs = programs, network, logs
        self.hosts, self.endpoints, self.times = {}, {}, []
        self.versions, self.mounts, self.oper_states = {}, {}, {}
        self.first_mounts = {}
        self.controller = self.watch = None
        self.file = os.path.join(logs, "controller.json")
        self.pod = LEAVES[:3]
        self.wishes = {leaf: {} for leaf in LEAVES}

    def measured(self, what, seconds):
        self.times.append((what, seconds))
        say(f"   {what}: {seconds * 1000:.1f} ms")

    # ---- programs ----------------------------------------------------------------------------

    def program(self, name, *arguments):
        return [os.path.join(self.programs, name), *arguments]

    def offers(self, leaf, **services):
        with open(os.path.join(self.logs, leaf + ".services"), "w", encoding="utf-8") as file:
            for name, versions in {**OFFERS, **services}.items():
                file.write(f"{name}={versions}\n")
        return file.name

    def serve(self, leaf):
        command = self.program("gantry-switch", "--sysname", leaf, "--system-id", IDS[leaf],
                               "--listen", self.network.listen(leaf), "--sample", "0.5",
                               "--services-file", self.offers(leaf),
                               "--controller", self.network.controller(leaf),
                               *(["--apply"] if leaf in self.network.wishes else []))
        host = Process(leaf, self.network.host(leaf, command), self.logs)
        self.hosts[leaf] = host
        line = host.line(time.monotonic() + PATIENCE, "the line that says where it serves")
        say(f"   {line}, system {IDS[leaf]}")
        self.endpoints[leaf] = line.rsplit(" ", 1)[1]
        if isinstance(self.network, OneNamespace):
            self.network.ports[leaf] = self.endpoints[leaf].rsplit(":", 1)[1]

    def declare(self, file=None, leaves=LEAVES):
        """Writes a controller's file, of the one that runs unless another is given."""
        switches = {}
        for leaf, endpoint in ((leaf, self.endpoints[leaf]) for leaf in leaves):
            address, port = endpoint.rsplit(":", 1)
            switches[leaf] = {"id": IDS[leaf], "address": address, "port": int(port)}
        services = {
            "fabric": {
                "versions": "2-3",
                "systemFilters": {"pod": [leaf for leaf in self.pod if leaf in leaves]},
                "mountGroups": {"links": {
                    "systemFilter": "pod", "preserveMountsOnDisconnect": True,
                    "mounts": {"linux/interface": {"type": "Linux::InterfaceDir"}}}},
                "publishGroups": {"desired": {"directories": {"config/interfaces": {
                    "remotePath": "interfaces",
                    "systems": {leaf: {name: {"type": "Linux::InterfaceConfig", "values": values}
                                       for name, values in wishes.items()}
                                for leaf, wishes in self.wishes.items() if leaf in leaves}}}}}},
            "inventory": {
                "versions": "1-2",
                "versionFilters": {"new": "2"},
                "mountGroups": {"hosts": {
                    "versionFilter": "new",
                    "mounts": {"linux/host": {"type": "Linux::Host"}}}}}}
        # The peers have settled when no new one has come for three heartbeat intervals.
        timing = {"reconnectRetries": 0, "retryInterval": 0.1, "heartbeatInterval": 0.5}
        system = {"id": "02:00:00:00:00:ff"}
        if file is None:
            system["listen"] = self.network.controller_listens
        with open(file or self.file, "w", encoding="utf-8") as written:
            json.dump({"system": system, "timing": timing, "switches": switches,
                       "services": services}, written, indent=3)

    # ---- what they say -----------------------------------------------------------------------

    def controlled(self, event):
        """Notes what the controller says."""
        if event["event"] == "service":
            self.versions[event["service"], event["switch"]] = event.get("version", 0)
        elif event["event"] == "mount":
            self.mounts[event["service"], event["switch"]] = event["state"]
        elif event["event"] == "initialMounts":
            self.first_mounts[f"{event['service']}/{event['group']}"] = event

    def watched(self, event):
        """Notes what the watch of the mounted trees says."""
        if event["event"] == "entity":
            self.oper_states[event["path"]] = event["attributes"].get("operState")
        elif event.get("attribute") == "operState":
            self.oper_states[event["path"]] = event["value"]

    def mount_is(self, service, leaf, state):
        return self.controller.next(
            lambda e: e["event"] == "mount" and e["service"] == service and e["switch"] == leaf
            and e["state"] == state, f"{service} of {leaf} to become {state}")

    def all_mounted(self):
        wanted = [("fabric", leaf) for leaf in self.pod] + [("inventory", leaf) for leaf in LEAVES]
        while any(self.mounts.get(key) != "mountStateMounted" for key in wanted):
            event = self.controller.next(lambda e: e["event"] == "mount", "the mounts")
        return event

    def first_round(self, began):
        """When each group's first full set of mounts was final, and how each switch got there."""
        while len(self.first_mounts) < len(OFFERS):
            self.controller.next(lambda e: e["event"] == "initialMounts", "the first full round")
        for group, event in sorted(self.first_mounts.items()):
            outcomes = {}
            for each in event["switches"]:
                outcomes.setdefault(each["outcome"], []).append(each["switch"])
            how = "; ".join(f"{outcome} {', '.join(leaves)}"
                            for outcome, leaves in outcomes.items())
            if not set(outcomes) <= {"mounted", "skipped"}:
                raise Failed(f"the first mounts of {group} ended with {how}")
            say(f"   {group}: {how}")
            self.measured(f"to the first mounts of {group} being final", event["time"] - began)

    def changes(self, began, attribute, values):
        """The link's change in every mounted tree that has to show it."""
        waiting = {f"{IDS[leaf]}/interface/{self.network.link}": leaf
                   for leaf in self.network.sees}
        while waiting:
            event = self.watch.next(
                lambda e: e["event"] == "changed" and e["path"] in waiting
                and e["attribute"] == attribute and e["time"] >= began
                and (values is None or e["value"] in values),
                f"{self.network.link} {attribute} of {', '.join(waiting.values())}")
            leaf = waiting.pop(event["path"])
            self.measured(f"{leaf}/{self.network.link} {attribute} is now "
                          f"{json.dumps(event['value']).strip(chr(34))}", event["time"] - began)

    def show_status(self):
        rows = [("SERVICE", "SWITCH", "VERSION", "STATE")]
        for service in OFFERS:
            for leaf in LEAVES:
                rows.append((service, leaf, str(self.versions.get((service, leaf), "none")),
                             self.mounts.get((service, leaf), "not wanted")))
        say()
        table(rows)

    # ---- steps -------------------------------------------------------------------------------

    def show(self):
        headline(f"1. Four hosts serve their live state: {self.network.text}")
        for leaf in LEAVES:
            self.serve(leaf)
        self.mounting()
        self.link()
        self.killing()
        self.version()
        self.filter()
        self.publishing()
        self.refusing()
        self.ending()

    def mounting(self):
        headline("2. A controller mounts what two services declare")
        say("   fabric wants linux/interface of leaf1, leaf2 and leaf3, and keeps it when one is"
            " gone")
        say("   inventory wants linux/host of every switch that speaks its version 2")
        self.declare()
        began = time.time()
        process = Process("controller", self.program(
            "gantry-controller", "--config", self.file, "--json", "--inspect", "127.0.0.1:0",
            "--wait-initial", str(PATIENCE)), self.logs)
        self.controller = Events(process, self.controlled)
        process.line(time.monotonic() + PATIENCE, "where it serves")
        self.inspected = process.line(time.monotonic() + PATIENCE, "its state").rsplit(" ", 1)[1]
        event = self.all_mounted()
        self.measured("from the start of the program to seven live mounts", event["time"] - began)
        self.show_status()
        say()
        say("   the peers have settled when no new one has come for 1.5 s; then, by group,")
        self.first_round(began)
        self.watch = Events(Process("watch", self.reading(LINKS, "Fen::Dir", "--json"), self.logs),
                            self.watched)
        # The kernel may take its time to notice that a new link has a carrier.
        links = [f"{IDS[leaf]}/{link}" for leaf, link in self.network.links if leaf in self.pod]
        links = links or [f"{IDS[self.pod[-1]]}/interface/{self.network.link}"]
        while any(self.oper_states.get(link) in (None, "down") for link in links):
            self.watch.next(lambda e: True, "the links to come up")

    def reading(self, path, type_name, *more):
        return self.program("gantry-mount", "--peer", f"controller={self.inspected}",
                            "--path", path, "--type", type_name, *more)

    def link(self):
        headline(f"3. A change in one host: {self.network.what}")
        began = time.time()
        self.network.link_is("down")
        self.changes(began, *self.network.down)
        began = time.time()
        self.network.link_is("up")
        self.changes(began, *self.network.up)

    def killing(self):
        headline("4. leaf2 is killed (SIGKILL); fabric keeps what it had, inventory does not")
        began = time.time()
        self.hosts["leaf2"].kill()
        states = {("fabric", "leaf2"): "mountStatePending",
                  ("inventory", "leaf2"): "mountStateUnmounted"}
        while any(self.mounts[key] != state for key, state in states.items()):
            event = self.controller.next(lambda e: e["event"] == "mount", "the unmounts of leaf2")
        self.measured("to mountStatePending and mountStateUnmounted", event["time"] - began)
        last = subprocess.run(self.reading(f"{LINKS}/{IDS['leaf2']}", "Linux::InterfaceDir",
                                           "--once", "--columns", "operState,mtu"),
                              capture_output=True, text=True, timeout=PATIENCE)
        if last.returncode != 0 or "lo" not in last.stdout.split():
            raise Failed(f"the last known tree of leaf2: {last.stderr.strip()}")
        say("   the last known tree of leaf2 is still readable")
        self.missing("leaf2")

        headline("5. leaf2 is started again (it is tried every 0.1 s)")
        self.watch.waiting()
        began = time.time()
        self.serve("leaf2")
        while any(self.mounts[key] != "mountStateMounted" for key in states):
            event = self.controller.next(lambda e: e["event"] == "mount", "leaf2 to be mounted")
        self.measured("from the start of the host to two live mounts", event["time"] - began)
        # Something that comes later than the mount: by then everything else would have come.
        began = time.time()
        self.network.link_is("down")
        seen = []
        note, self.watch.note = self.watch.note, lambda e: (seen.append(e), self.watched(e))
        self.changes(began, *self.network.down)
        self.watch.note = note
        self.network.link_is("up")
        if any(e["event"] in ("removed", "entity") and e["path"].startswith(IDS["leaf2"])
               and "/address/" not in e["path"] for e in seen):
            raise Failed("interfaces of leaf2 were replaced, not adopted")
        say("   its interfaces are the same entities as before")

    def missing(self, leaf):
        """A second controller that waits for nobody but a switch that is not there."""
        file = os.path.join(self.logs, "missing.json")
        self.declare(file, [leaf])
        ended = subprocess.run(self.program("gantry-controller", "--config", file,
                                            "--wait-initial", "0.5", "--once"),
                               capture_output=True, text=True, timeout=PATIENCE)
        said = [line.partition(": ")[2] for line in ended.stderr.splitlines()]
        if ended.returncode != 3 or not any(f"waiting: {leaf} (" in line for line in said):
            raise Failed(f"a wait for {leaf} ended with {ended.returncode}: {ended.stderr.strip()}")
        say(f"   another controller, that waits 0.5 s for {leaf} alone, ends with status 3:")
        for line in said[1:]:
            say(f"      {line}")

    def version(self):
        headline("6. leaf3 no longer speaks version 2 of inventory, and then does again")
        began = time.time()
        self.offers("leaf3", inventory="1")
        self.hosts["leaf3"].signal(signal.SIGHUP)
        event = self.mount_is("inventory", "leaf3", "mountStateUnmounted")
        self.measured("to linux/host of leaf3 being unmounted", event["time"] - began)
        began = time.time()
        self.offers("leaf3")
        self.hosts["leaf3"].signal(signal.SIGHUP)
        event = self.mount_is("inventory", "leaf3", "mountStateMounted")
        self.measured("to linux/host of leaf3 being mounted", event["time"] - began)

    def filter(self):
        headline("7. leaf4 is added to fabric's filter in the file, and the controller gets SIGHUP")
        self.pod = LEAVES
        self.declare()
        began = time.time()
        self.controller.process.signal(signal.SIGHUP)
        event = self.mount_is("fabric", "leaf4", "mountStateMounted")
        self.measured("to linux/interface of leaf4 being mounted", event["time"] - began)
        self.all_mounted_again()
        self.show_status()

    def all_mounted_again(self):
        if any(state != "mountStateMounted" for state in self.mounts.values()):
            self.all_mounted()

    def publishing(self):
        wishes = ", ".join(f"{leaf}'s {name} with {attribute} {value}"
                           for leaf, names in self.network.wishes.items()
                           for name, values in names.items()
                           for attribute, value in values.items())
        if not wishes:
            headline("8. Nothing is published to be applied: there is no right to change a link")
            return
        headline(f"8. The file publishes to the switches: {wishes}")
        applied = {"adminState": ("adminUp", False), "mtu": ("mtu", 1400)}
        waiting = {(f"{IDS[leaf]}/interface/{name}", *applied[attribute]): f"{leaf}/{name}"
                   for leaf, names in self.network.wishes.items()
                   for name, values in names.items() for attribute in values}
        self.watch.waiting()
        self.wishes = {**self.wishes, **self.network.wishes}
        self.declare()
        began = time.time()
        self.controller.process.signal(signal.SIGHUP)
        while waiting:
            event = self.watch.next(
                lambda e: e["event"] == "changed"
                and (e["path"], e["attribute"], e["value"]) in waiting,
                f"{', '.join(waiting.values())} to come back as wished")
            key = (event["path"], event["attribute"], event["value"])
            self.measured(f"from the file through the kernel of {waiting.pop(key)} and back",
                          event["time"] - began)

    def refusing(self):
        headline("9. leaf1 asks the controller for what is published to leaf2, and for its own")
        for leaf, status in (("leaf2", 1), ("leaf1", 0)):
            asked = subprocess.run(
                self.network.host("leaf1", self.program(
                    "gantry-mount", "--peer", f"controller={self.network.controller('leaf1')}",
                    "--system-id", IDS["leaf1"], "--path", f"config/interfaces/{IDS[leaf]}",
                    "--type", "Fen::Dir", "--once")),
                capture_output=True, text=True, timeout=PATIENCE)
            if asked.returncode != status:
                raise Failed(f"leaf1 asked for what is published to {leaf}: status "
                             f"{asked.returncode}, {asked.stdout}{asked.stderr}")
            refusal = asked.stderr.strip().rsplit("failed: ", 1)[-1]
            say(f"   refused: {refusal}" if status
                else f"   granted: config/interfaces/{IDS[leaf]}")

    def ending(self):
        headline("10. Everything ends")
        for process in [self.watch.process, self.controller.process, *self.hosts.values()]:
            if process.stop() != 0:
                raise Failed(f"{process.name} ended with status {process.process.returncode}")
        headline("Measured")
        for what, seconds in self.times:
            say(f"   {seconds * 1000:9.1f} ms  {what}")

    def close(self):
        events = [each for each in (self.watch, self.controller) if each is not None]
        for process in [*(each.process for each in events), *self.hosts.values()]:
            if process.process.poll() is None:
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
                    ["cmake", "--build", "--preset", "release", "--target", *PROGRAMS]):
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
