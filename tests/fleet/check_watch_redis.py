#!/usr/bin/env python3
"""check_watch_redis.py TOVRA 0 0: `tovra render --watch` over devices in Redis servers of its own, which tell of changes or
do not, are paused, killed and started again, and over a cluster."""
import re
import signal
import subprocess
import sys
import time
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parents[1] / "sources"))
from check_fleet import TEMPLATES, data, text
from check_watch import TOVRA, Watched, change
from redis_servers import Server, cluster_of, end_all, move_slot

PACE = 10  # seconds between questions where a server tells of changes
AGAIN = "; it is tried again every second"
ASKED = "; it is asked every second"
OFF = "its keyspace events (K, and h or A) are off" + ASKED


class Redis(Watched):
    def setUp(self):
        super().setUp()
        self.addCleanup(end_all)

    def serve(self, *options):
        self.server = Server(self.folder / "one", "--appendonly", "yes", "--appendfsync", "always", *options)
        self.load(1)

    def load(self, speed, device="a", server=None):
        (self.folder / "new.json").write_text(data(speed))
        target = server or self.server.name(device=device)
        subprocess.run([TOVRA, "import", "new.json", target], cwd=self.folder, check=True)

    def watch(self, options="", device="a", **more):
        self.name = self.server.name(options, device)
        self.start(source=self.name, **more)

    def said(self, *words, happened="changed"):
        self.hear(*words, f"-- {self.name} {happened}")

    def until(self, holds):
        end = time.monotonic() + 30
        while not holds() and time.monotonic() < end:
            time.sleep(0.005)
        self.assertTrue(holds())

    def test_is_told_of_changes(self):
        self.serve("--notify-keyspace-events", "Kh")
        self.name = self.server.name("", "a")
        began = time.monotonic()
        self.start("--named", "other=d.json", source=self.name)
        self.assertEqual(self.server.cli("pubsub", "channels"), "__keyspace@0__:tovra:{a}")
        for before, after in ((1, 2), (2, 1)):
            self.load(after)
            self.said()
            self.see(change(before, after))
            self.load(7, "b")
        self.assertLess(time.monotonic() - began, PACE)
        (self.folder / "d.json").write_text(data(5))
        self.hear("-- d.json changed", "-- the text is the same")
        self.put("t/a.tvr", TEMPLATES.replace("speed %s", "rate %s"))
        self.hear("-- t/a.tvr changed")
        self.see(change(1, 1).replace("+ port 0 speed", "+ port 0 rate").replace("+ port 1 speed", "+ port 1 rate"))
        self.end()

    def test_asks_where_it_is_not_told(self):
        self.serve()
        (self.folder / "pw").write_text("pw")
        self.server.cli("acl", "setuser", "w", "on", ">pw", "~*", "resetchannels")
        user = "user=w&password-file=pw"
        for options, right, why in (("", "-@all", "its keyspace events (K, and h or A) are off"),
                                    (user, "-config", "no keyspace events: CONFIG GET: NOPERM "),
                                    (user, "+config", "no keyspace events: SUBSCRIBE __keyspace@0__:tovra:{a}: NOPERM ")):
            self.load(1)
            self.server.cli("acl", "setuser", "w", "+@all", right)
            self.watch(options)
            self.assertRegex(self.job.stderr.readline().decode(), re.escape(f"-- {self.name}: {why}") + ".*" + ASKED)
            self.load(2)
            self.said()
            self.see(change(1, 2))
            self.end()
            self.server.cli("config", "set", "notify-keyspace-events", "KA")

    def test_watches_the_only_device(self):
        self.serve()
        self.watch(device="")
        self.hear(f"-- {self.name}: {OFF}")
        self.load(2)
        self.said()
        self.see(change(1, 2))
        self.load(2, "b")
        self.hear(f"-- {self.name} changed", f"{self.name}: ?device=NAME must say which: a, b")
        self.end(1)

    def test_goes_on_when_the_server_is_back(self):
        self.serve("--notify-keyspace-events", "Kh")
        self.server.kill()
        refused = f"connecting to {self.server.socket}: Connection refused"
        self.watch(seen="")
        self.hear(f"-- {self.name}: {refused}{AGAIN}", f"{self.name}: {refused}")
        self.server.start()
        self.said(happened="is back")
        self.see(text(1))
        self.load(2)
        self.said()
        self.see(change(1, 2))
        self.server.kill()
        self.hear(f"-- {self.name}: SUBSCRIBE: the server closed the connection{AGAIN}")
        self.put("t/a.tvr", TEMPLATES.replace("port %s", "link %s"))
        self.hear("-- t/a.tvr changed", f"{self.name}: {refused}")
        self.server.start()
        self.said(happened="is back")
        self.see(change(2, 2).replace("+ port", "+ link"))
        self.server.cli("client", "kill", "type", "pubsub")
        self.hear(f"-- {self.name}: SUBSCRIBE: the server closed the connection{AGAIN}", f"-- {self.name} is back",
                  "-- the text is the same")
        self.end()

    def test_a_server_that_is_paused_holds_nothing_up(self):
        self.serve()
        self.watch("timeout=600")
        self.hear(f"-- {self.name}: {OFF}")
        self.server.kill(signal.SIGSTOP)
        self.hear(f"-- {self.name}: HGET tovra:{{a}}: no answer in 600 ms{AGAIN}")
        self.server.kill(signal.SIGCONT)
        self.hear(f"-- {self.name} is back", "-- the text is the same")
        self.end()
        self.watch("timeout=900000")
        self.hear(f"-- {self.name}: {OFF}")
        self.server.kill(signal.SIGSTOP)
        time.sleep(1.5)  # it asks now
        self.end()

    def test_follows_a_device_through_a_cluster(self):
        nodes, owner = cluster_of(3, self.folder)
        for node in nodes:
            node.cli("config", "set", "notify-keyspace-events", "KA")
        source, target, other = owner("a"), *(node for node in nodes if node is not owner("a"))
        self.name = f"redis://127.0.0.1:{other.port}?device=a"
        self.load(1, server=self.name)
        self.start(source=self.name)
        for before, after, node in ((1, 2, source), (2, 3, target)):
            self.until(lambda: node.cli("pubsub", "channels") == "__keyspace@0__:tovra:{a}")
            self.load(after, server=self.name)
            self.said()
            self.see(change(before, after))
            move_slot("a", source, target)
        self.end()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
