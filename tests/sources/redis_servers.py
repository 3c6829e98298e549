"""Redis servers of a test's own, each in a folder, and clusters of them."""
import signal
import socket
import subprocess
import sys
import time


def free_port():
    """Of one whose cluster bus port, 10000 above, is a port too."""
    while True:
        with socket.socket() as asked:
            asked.bind(("127.0.0.1", 0))
            if (port := asked.getsockname()[1]) < 55000:
                return port


class Server:
    started = []

    def __init__(self, folder, *options):
        self.folder, self.socket, self.options = folder, f"{folder}/redis.sock", options
        folder.mkdir()
        for _ in range(5):  # others may take a port that was free
            self.port = free_port()
            if self.start():
                self.started.append(self)
                return
        sys.exit("redis-server does not start")

    def start(self):
        self.process = subprocess.Popen(
            ["redis-server", "--bind", "127.0.0.1", "--port", str(self.port), "--unixsocket", self.socket, "--dir",
             str(self.folder), "--save", "", "--appendonly", "no", *self.options], stdout=subprocess.DEVNULL)
        while self.process.poll() is None:
            if "PONG" in self.cli("ping") or "NOAUTH" in self.cli("ping"):
                return True
            time.sleep(0.01)
        return False

    def cli(self, *words, to="-s"):
        where = [to, self.socket if to == "-s" else str(self.port)]
        got = subprocess.run(["redis-cli", *where, *words], capture_output=True, text=True)
        return got.stdout.strip() + got.stderr

    def name(self, options="", device=""):
        options = "&".join(filter(None, (options, device and f"device={device}")))
        return f"redis+unix:{self.socket}{options and '?'}{options}"

    def kill(self, how=signal.SIGKILL):
        self.process.send_signal(how)
        if how == signal.SIGKILL:
            self.process.wait()


def end_all():
    while Server.started:
        Server.started.pop().kill()


def cluster_of(count, folder):
    """Its nodes, and who tells the node of a device."""
    nodes = [Server(folder / f"node{i}", "--cluster-enabled", "yes") for i in range(count)]
    where = [f"127.0.0.1:{node.port}" for node in nodes]
    made = subprocess.run(["redis-cli", "--cluster", "create", *where, "--cluster-yes"], capture_output=True, text=True)
    if "All 16384 slots covered" not in made.stdout:
        sys.exit("no cluster is made: " + made.stdout + made.stderr)
    for _ in range(600):  # nodes know of each other before they serve
        if all("cluster_state:ok" in node.cli("cluster", "info") for node in nodes):
            break
        time.sleep(0.05)
    return nodes, lambda name: next(node for node in nodes if "MOVED" not in node.cli("exists", f"tovra:{{{name}}}"))


def move_slot(name, source, target, half=False):
    """What a device has, to another node: half of it, or all and the slot with it."""
    slot = source.cli("cluster", "keyslot", f"tovra:{{{name}}}")
    target.cli("cluster", "setslot", slot, "importing", source.cli("cluster", "myid"))
    source.cli("cluster", "setslot", slot, "migrating", target.cli("cluster", "myid"))
    for key in source.cli("cluster", "getkeysinslot", slot, "100").split()[::2 if half else 1]:
        source.cli("migrate", "127.0.0.1", str(target.port), key, "0", "5000")
    for node in () if half else (target, source):
        node.cli("cluster", "setslot", slot, "node", target.cli("cluster", "myid"))
