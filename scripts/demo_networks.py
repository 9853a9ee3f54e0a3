"""Where the hosts of the demo live: in network namespaces, or beside each other in one."""

import socket
import subprocess

LEAVES = ["leaf1", "leaf2", "leaf3", "leaf4"]


class Failed(Exception):
    """A step did not show what it should."""


def run(*command, quiet=False):
    result = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True)
    if result.returncode != 0 and not quiet:
        raise Failed(f"{' '.join(command)}: {result.stderr.strip() or result.stdout.strip()}")
    return result.returncode == 0


class Namespaces:
    """Each host is a network namespace, with a link to the controller's; two have a link
    between them. Everything lives in this process's private mounts and goes with it."""

    text = "four network namespaces joined by veth links"

    def __init__(self):
        run("mount", "-t", "tmpfs", "tmpfs", "/run")
        run("ip", "link", "set", "lo", "up")
        for number, leaf in enumerate(LEAVES, 1):
            run("ip", "netns", "add", leaf)
            self.inside(leaf, "ip", "link", "set", "lo", "up")
            # The kernel tells of a lost carrier at once only where the two ends of a link have
            # different numbers; alike, it may wait for a second.
            run("ip", "link", "add", leaf, "index", str(100 + number), "type", "veth",
                "peer", "name", "eth0", "index", str(10 + number), "netns", leaf)
            run("ip", "address", "add", f"10.9.{number}.1/24", "dev", leaf)
            self.inside(leaf, "ip", "address", "add", f"10.9.{number}.2/24", "dev", "eth0")
            run("ip", "link", "set", leaf, "up")
            self.inside(leaf, "ip", "link", "set", "eth0", "up")
        run("ip", "-n", "leaf1", "link", "add", "eth1", "index", "21", "type", "veth",
            "peer", "name", "eth1", "index", "22", "netns", "leaf2")
        for leaf in LEAVES[:2]:
            self.inside(leaf, "ip", "link", "set", "eth1", "up")

    def inside(self, leaf, *command):
        run("ip", "netns", "exec", leaf, *command)

    def host(self, leaf, command):
        return ["ip", "netns", "exec", leaf] + command

    def listen(self, leaf):
        return f"10.9.{LEAVES.index(leaf) + 1}.2:9001"

    def controller(self, leaf):
        return f"10.9.{LEAVES.index(leaf) + 1}.1:9000"

    controller_listens = "0.0.0.0:9000"
    # What the controller wishes later on, by leaf, interface and attribute.
    wishes = {"leaf1": {"eth1": {"adminState": "down"}}, "leaf2": {"eth1": {"mtu": 1400}}}

    def link_is(self, state):
        self.inside("leaf1", "ip", "link", "set", "eth1", state)

    link = "eth1"
    links = [(leaf, "interface/eth0") for leaf in LEAVES] + [
        ("leaf1", "interface/eth1"), ("leaf2", "interface/eth1")]
    sees = ["leaf1", "leaf2"]
    down = ("operState", {"down", "lowerLayerDown"})
    up = ("operState", {"up"})
    what = "ip link set eth1 down, in leaf1 (its other end is in leaf2)"

    def close(self):
        for leaf in LEAVES:
            run("ip", "netns", "del", leaf, quiet=True)


class OneNamespace:
    """All hosts are processes of this machine on different ports. With the right to make links one
    is made and switched off; without it, traffic on the loopback must do for a change."""

    def __init__(self):
        self.ports = {}
        self.made = run("ip", "link", "add", "gantry-demo", "type", "veth", "peer", "name",
                        "gantry-demo-2", quiet=True)
        self.text = "four processes of this one host (no right to make network namespaces)"
        self.sees, self.links = LEAVES[:3], []
        if self.made:
            self.link_is("up")
            self.link, self.what = "gantry-demo", "ip link set gantry-demo down"
            self.down, self.up = ("adminUp", {False}), ("adminUp", {True})
        else:
            self.link, self.what = "lo", "traffic over lo (no right to switch a link off)"
            self.down = self.up = ("rxPackets", None)

        with socket.create_server(("127.0.0.1", 0)) as free:
            self.controller_listens = f"127.0.0.1:{free.getsockname()[1]}"
        # Both ends of the link that was made belong to this one host; nothing else is touched.
        self.wishes = {"leaf1": {"gantry-demo": {"adminState": "down"},
                                 "gantry-demo-2": {"mtu": 1400}}} if self.made else {}

    def host(self, _, command):
        return command

    def controller(self, _):
        return self.controller_listens

    def listen(self, leaf):
        return f"127.0.0.1:{self.ports.get(leaf, 0)}"

    def link_is(self, state):
        if self.made:
            run("ip", "link", "set", "gantry-demo", state)

    def close(self):
        if self.made:
            run("ip", "link", "del", "gantry-demo", quiet=True)
