#!/usr/bin/env python3
"""check_redis.py TOVRA [--failing LIBRARY] [--unit PROGRAM] [--golden CASE]... [--renders N]: devices in Redis, over
servers of its own: that they give the texts of files, what is refused, servers that are paused, killed and answer
garbage in the middle, a cluster, writers beside renders, and every call of hiredis failing once."""
import argparse
import json
import os
import select
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

import devices
from redis_servers import Server, cluster_of, end_all, free_port, move_slot

SHORT = 600  # milliseconds: long enough for a busy machine, and tests wait for it


class Between:
    """Stands between a client and a server. `act` is told the number of each round trip before it is forwarded; what it
    gives is answered instead, and then the connection is closed. After `cut` bytes of answers it is closed too."""

    def __init__(self, server, act=None, cut=None):
        self.server, self.act, self.cut, self.trips = server, act, cut, 0
        self.path = f"{server.folder}/between.sock"
        Path(self.path).unlink(missing_ok=True)
        self.listening = socket.socket(socket.AF_UNIX)
        self.listening.bind(self.path)
        self.listening.listen()
        threading.Thread(target=self.serve, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.listening.close()

    def name(self, options=f"timeout={SHORT}"):
        return f"redis+unix:{self.path}?{options}"

    def serve(self):
        try:
            while True:
                client, _ = self.listening.accept()
                threading.Thread(target=self.forward, args=(client,), daemon=True).start()
        except OSError:
            pass

    def forward(self, client):
        server, asking = socket.socket(socket.AF_UNIX), False
        try:
            server.connect(self.server.socket)
            while True:
                for ready in select.select([client, server], [], [])[0]:
                    text = ready.recv(1 << 16)
                    if not text:
                        return
                    if ready is server:
                        asking = False
                        client.sendall(text if self.cut is None else text[:self.cut])
                        if self.cut is not None:
                            self.cut = max(0, self.cut - len(text))
                            if self.cut == 0:
                                return
                        continue
                    if not asking:
                        asking, self.trips = True, self.trips + 1
                        if (instead := self.act and self.act(self.trips)) is not None:
                            for part in instead if isinstance(instead, list) else [instead]:
                                client.sendall(part)
                                time.sleep(0.1 if isinstance(instead, list) else 0)
                            return
                    server.sendall(text)
        except OSError:
            pass
        finally:
            client.close()
            server.close()


class Checks(devices.Checks):
    def __init__(self, program, folder):
        super().__init__(program, folder)
        self.server = Server(self.folder / "one")

    def refused(self, what, words, source, **env):
        got = self.render_from(source, **env)
        self.expect_refused(what, words, got)
        self.expect(f"{what}: no text, no password", got.stdout == "" and "geheim" not in got.stderr, got)

    def refusals(self):
        """What is no good name, and what does not stand as it should in the keys of a device."""
        server, source = self.server, self.server.name(f"timeout={SHORT}")
        for name, words in (("redis://", "no host"), ("redis://h:x", "port 'x'"), ("redis://h/x", "DB 'x'"),
                            ("redis://[::1", "]"), ("redis://[::1]6379", "behind ']'"), ("rediss://h", "TLS"),
                            ("redis://h?device=a&device=b", "'device' is given twice"), ("redis://h?device=a&", "no option ''"),
                            ("redis+unix:?", "no socket"), ("redis://h/?what=1", "no option 'what'"),
                            ("redis://h?prefix=", "prefix"), ("redis://h?prefix={a", "prefix"),
                            ("redis://u:geheim@h", "a password stands in"), ("redis://h?password=geheim", "no option"),
                            ("redis://u:geheim?geheim@h", "***@h: a password stands in"), ("rediss://u:geheim@h", "rediss://u:***@h: TLS"),
                            ("redis://[::1]:x?device=a@b", "a password stands in"), ("redis://[::1?device=a:b@c", "]"),
                            (f"redis://127.0.0.1:{free_port()}", "Connection refused"),
                            (f"redis+unix:{self.folder}/none", "No such file"),
                            ("redis://127.0.0.1/?password-file=/none", "/none"),
                            (server.name("db=99"), "SELECT 99"), (server.name(), "it has no device")):
            self.refused(name, words, name)
        version, port = "", 'record "/sys/port;n=1"'
        head, ports = "tovra:{d}", "/sys/port"
        member = "/sys/port;n=1  2 "  # the third record
        change = ["ZADD", "PORTS", "0"]
        for words, *bad in (
                ("HEXISTS tovra:{d}: WRONGTYPE", ["DEL", head], ["SET", head, "x"]),
                ('layout is "2"', ["HSET", head, "layout", "2"]), ("no device", ["HDEL", head, "version"]),
                ("others changed the device", ["DEL", "FACTS"]), ("WRONGTYPE", ["DEL", "FACTS"], ["SET", "FACTS", "x"]),
                ("no number", ["HSET", "FACTS", f"records {ports}", "many"]),
                ("as many records", ["HSET", "FACTS", f"records {ports}", "3"]),
                ("PORTS: 0 records", ["DEL", "PORTS"]), ("3 records, where 4", ["ZREMRANGEBYRANK", "PORTS", "1", "1"]), ("WRONGTYPE", ["DEL", "PORTS"], ["SET", "PORTS", "x"]),
                ("5 records, where 4", [*change, member.replace("1", "9") + "{}"]),
                ("no record", ["ZREMRANGEBYRANK", "PORTS", "0", "0"], [*change, "/sys/port;n=0"]),
                ('no record: "/sys/port;n=0"', ["ZREMRANGEBYRANK", "PORTS", "0", "0"], [*change, '/sys/port;n=0 x {"key":"geheim"}']),
                (port, ["ZREMRANGEBYRANK", "PORTS", "1", "1"], [*change, member + "[1]"]),
                (port, ["ZREMRANGEBYRANK", "PORTS", "1", "1"], [*change, member + "{" * 1000]),
                ("a record holds several", ["ZREMRANGEBYRANK", "PORTS", "1", "1"], [*change, member + '{}, "/x": {}']),
                ("bad URI", ["ZREMRANGEBYRANK", "PORTS", "1", "1"], [*change, "/sys/port;n=%zz  2 {}"]),
                ("its URI is written as", ["ZREMRANGEBYRANK", "PORTS", "1", "1"], [*change, "/sys/port;n=%31  2 {}"]),
                ("kept as one of the path", ["ZREMRANGEBYRANK", "PORTS", "1", "1"], [*change, "/sys/other;n=1  2 {}"]),
                ('class "/sys/port"', ["HSET", "FACTS", f"declared {ports}", "}"])):
            server.cli("flushall")
            self.put(1, server.name())
            version = server.cli("hget", head, "version")

            def named(word):
                return word.replace("PORTS", f"{head}:{version}:{ports}").replace("FACTS", f"{head}:{version}")

            for command in bad:
                server.cli(*map(named, command))
            self.refused(f"{bad}", named(words), source)
        server.cli("sadd", "tovra:devices", "d&password-file=/etc/passwd")
        self.refused("a name with an option in it", 'device, "d&password-file=/etc/passwd", has', server.name())
        got = self.run("import", "1.json", server.name(), "--device", "d&prefix=other")
        self.expect("such a name for an import is refused", got.returncode == 2 and "no '&'" in got.stderr, got)
        server.cli("flushall")
        server.cli("set", head, "x")
        self.expect_refused("an import over another's key", "device=d: EVAL tovra:{d}: WRONGTYPE",
                            self.load_into(1, server.name()))
        self.expect("nothing is left of it", sorted(server.cli("keys", "*").split()) == ["tovra:devices", head])
        locked = Server(self.folder / "locked", "--requirepass", "geheim")
        (self.folder / "password").write_text("geheim\n")
        variable = "ZU_TVR_REDIS_PASSWORD"
        self.refused("no password", "NOAUTH", locked.name())
        self.refused("a wrong password", "AUTH: WRONGPASS", locked.name(), **{variable: "geheim2"})
        self.refused("a password that is not wanted", "AUTH: ERR", server.name(), **{variable: "geheim"})
        from_file = locked.name("password-file=password")
        self.put(1, from_file)
        for source, env in ((from_file, {}), (locked.name("user=default"), {variable: "geheim"})):
            got = self.render_from(source, **env)
            self.expect("a password from a file and the environment", got.stdout == devices.text_of(1), got)
        locked.cli("-a", "geheim", "config", "set", "maxmemory", "1")
        got = self.load_into(2, from_file)
        self.expect_refused("a server that is full", "OOM", got)
        self.expect("what it had is there", self.render_from(from_file).stdout == devices.text_of(1))

    def whole_or_none(self, what, got):
        whole = got.returncode == 0 and got.stdout == devices.text_of(1)
        self.expect(what, whole or (got.returncode == 1 and got.stdout == "" and got.stderr != ""), got)

    def garbage(self):
        """Answers that are none, and answers that end early, at each round trip."""
        self.put(1, self.server.name())
        with Between(self.server) as between:
            got = self.render_from(between.name())
            self.expect("a render through another's hands", got.stdout == devices.text_of(1), got)
            trips = between.trips
        self.expect("enough round trips", trips > 3)
        for answer in (b"HTTP/1.1 400 Bad Request\r\n", b"$-7\r\n", b"*2147483647\r\n:1\r\n", b"$99999999999\r\n",
                       b"+OK\r\n" * 9, b":0\r\n" * 9, b"$-1\r\n" * 9, b"*0\r\n" * 9, b"*-1\r\n", b"*2\r\n+a\r\n+b\r\n" * 9,
                       b"-MOVED 1 127.0.0.1:x\r\n" * 9, b"-ASK\r\n" * 9, b"*1\r\n" * 99, b"\0" * 99, [b"+", b"O"] * 9):
            for trip in (2, 3, 4, trips):
                with Between(self.server, lambda n: answer if n == trip else None) as between:
                    self.whole_or_none(f"{answer[:20]} at {trip}", self.render_from(between.name()))
        for cut in range(0, 1200, 37):
            with Between(self.server, cut=cut) as between:
                self.whole_or_none(f"an answer cut after {cut} bytes", self.render_from(between.name()))

    def lost(self):
        """A server that is paused, killed or restarted in the middle of a render; then all is well again."""
        server = self.server
        for what, words, act in (("paused", "no answer in", lambda: server.kill(signal.SIGSTOP)),
                                 ("killed", ": ", server.kill),
                                 ("restarted", ": ", lambda: (server.kill(), server.start()))):
            for trip in (1, 3, 4):
                self.put(1, server.name())
                started = time.monotonic()
                with Between(server, lambda n: act() and None if n == trip else None) as between:
                    self.refused(f"a server that is {what} at {trip}", words, between.name())
                self.expect(f"{what}: the wait has an end", time.monotonic() - started < 5)
                if what == "paused":
                    self.refused("a server that is paused", f"no answer in {SHORT} ms", server.name(f"timeout={SHORT}"))
                server.kill(signal.SIGCONT)
                if server.process.poll() is not None:
                    server.start()
                self.put(2, server.name())
                got = self.render_from(server.name())
                self.expect(f"after it was {what}", got.stdout == devices.text_of(2), got)

    def moved(self):
        """What others change in the middle is rendered again, five times at most; text of a version is all of one."""
        server = self.server
        for command in (["render", "--templates", "t"], ["get", "/sys?port"], ["coverage", "--templates", "t"],
                        ["explain", "--all", "--templates", "t"], ["export"]):
            wanted = {}
            for version in (1, 2):
                self.put(version, server.name())
                arguments = [*command, server.name()] if command[0] == "export" else [*command, "--data", server.name()]
                wanted[version] = self.run(*arguments).stdout
            last = len(arguments) - 1

            def change(times):
                def act(trip):
                    if trip >= 5 and act.left > 0:
                        act.left -= 1
                        self.put(1, server.name())
                        self.put(2, server.name())
                act.left = times
                self.put(1, server.name())
                return act

            for times, status in ((1, 0), (sys.maxsize, 1)):
                with Between(server, change(times)) as between:
                    got = self.run(*arguments[:last], between.name("timeout=9000"))
                    text = got.stdout.replace(between.name("timeout=9000"), server.name())
                    good = text == wanted[2] if status == 0 else "others changed" in got.stderr
                    if status == 1 and command[0] in ("render", "get"):
                        good = good and text == ""
                    self.expect(f"{command[0]}, changed {times} times at most", got.returncode == status and good, got)
        # One change alone: a render that has begun goes on with what it began with.
        with Between(server, lambda n: self.put(2, server.name()) and None if n == 5 else None) as between:
            self.put(1, server.name())
            got = self.render_from(between.name("timeout=9000"))
            self.expect("a render goes on with its version", got.stdout == devices.text_of(1), got)

    def left_behind(self):
        """An import that dies leaves the old version, and nothing that stays."""
        server, trip, done = self.server, 0, False
        (self.folder / "big.json").write_text(devices.device(2, 20000))
        while not done:
            trip += 1
            server.cli("flushall")
            self.put(1, server.name())
            good = set(server.cli("keys", "*").split())
            with Between(server, lambda n: b"" if n >= trip else None) as between:
                got = self.run("import", "big.json", between.name("timeout=9000"), "--device", "d")
            done = got.returncode == 0
            others = set(server.cli("keys", "*").split()) - good
            expire = done or all(int(server.cli("ttl", key)) > 0 for key in others)
            now = self.render_from(server.name())
            self.expect(f"an import ended at {trip}: the old version, and what it left expires",
                        expire and now.stdout == devices.text_of(2 if done else 1, 20000 if done else 4), got)
        self.expect("it ended at several places", trip > 4)
        for _ in range(3):
            self.put(2, server.name())
        keys = server.cli("keys", "tovra:{d}:*").split()
        self.expect("two versions are kept", len({key.split(":")[2] for key in keys}) == 2)

    def round_trips(self):
        """They depend on what the templates ask for, not on how many records there are."""
        counts = []
        for ports in (10, 3000):
            (self.folder / "1.json").write_text(devices.device(1, ports))
            self.put(1, self.server.name())
            with Between(self.server) as between:
                got = self.run("render", "ports", "--templates", "t", "--data", between.name("timeout=9000"))
                self.expect("a part is rendered", got.returncode == 0 and got.stdout.count("port") == ports, None)
                counts.append(between.trips)
        (self.folder / "1.json").write_text(devices.device(1))
        # Beyond 200 parents all of a path is read.
        self.expect(f"round trips {counts}", counts[1] <= 2 + 1 + 201)

    def cluster(self):
        nodes, owner = cluster_of(3, self.folder)
        where = [f"127.0.0.1:{node.port}" for node in nodes]
        names = ["a", "b", "d", "e"]
        owners = {name: nodes.index(owner(name)) for name in names}
        self.expect("devices on several nodes", len(set(owners.values())) > 1)
        for i, name in enumerate(names):
            got = self.run("import", "1.json", f"redis://{where[i % 3]}?device={name}")
            self.expect(f"{name} is imported", got.returncode == 0, got)
        for node in where:
            for name in names:
                got = self.render_from(f"redis://{node}?device={name}")
                self.expect(f"{name} from {node}", got.stdout == devices.text_of(1), got)
            self.refused("a device of several", "a, b, d, e", f"redis://{node}")
        # A slot on its way to another node: what is there already is asked for there.
        source = nodes[owners["d"]]
        move_slot("d", source, nodes[(owners["d"] + 1) % 3], half=True)
        for node in where:
            got = self.render_from(f"redis://{node}?device=d")
            self.expect("a device that is half moved", got.stdout == devices.text_of(1), got)
        source.kill()
        self.refused("a node that is gone", ": ", f"redis://{where[(owners['d'] + 2) % 3]}?device=d&timeout={SHORT}")

    def failing_texts(self, library):
        """Each call of hiredis fails once while a fleet takes a device from a queue, puts a text there and deletes one."""
        server, calls, n, total = self.server, self.folder / "calls", 0, 1
        (self.folder / "devices").mkdir()
        (self.folder / "devices/d.json").write_text(devices.device(2))
        old, new = devices.text_of(1), devices.text_of(2)
        while n <= total:
            server.cli("mset", "tovra:texts:{d}", old, "tovra:texts:{gone}", old)
            server.cli("sadd", "tovra:texts", "gone")
            got = self.run("fleet", "--templates", "t", "--data", "devices", "--out", server.name("timeout=2000"), "--delete",
                           "--jobs", "1", "--queue", server.name(f"timeout=2000&prefix=q{n}"), LD_PRELOAD=library,
                           COUNT_HIREDIS=str(calls), FAIL_HIREDIS=str(n))
            total = int(calls.read_text()) if n == 0 else total
            texts = [server.cli("get", f"tovra:texts:{{{name}}}") + "\n" for name in ("d", "gone")]
            good = texts == [new, "\n"] if got.returncode == 0 else got.stderr != "" and got.returncode == 1
            self.expect(f"call {n} of a fleet fails", good and texts[0] in (old, new) and texts[1] in (old, "\n"), got)
            n += 1
        self.expect(f"enough calls failed: {total}", total > 60)

    def same_texts(self, unit, folders):
        env = {"ZU_TVR_TEST_REDIS": self.server.name(), "STORE_SOURCE": self.server.name()}
        if folders:
            got = self.run("test", "--vary", "redis", *folders, **env)
            self.expect("the texts of files", got.returncode == 0, got)
            self.expect("they were read from there", len(self.server.cli("keys", "*:devices").split()) > 80)
        if unit:
            got = subprocess.run([unit, "--gtest_brief=1"], env={**os.environ, **env}, capture_output=True, text=True)
            self.expect("the answers of files", got.returncode == 0 and self.server.cli("exists", "tovra:{d20}") == "1", got)


    def failing_watch(self, library):
        """Each call of hiredis fails once while a device is watched: it is rendered again all the same."""
        server, source, calls = self.server, self.server.name("timeout=2000", "d"), self.folder / "watched"
        server.cli("config", "set", "notify-keyspace-events", "Kh")
        env = {**os.environ, "LD_PRELOAD": library, "COUNT_HIREDIS": str(calls)}

        def watch(n):
            out = self.folder / f"out{n}"
            job = subprocess.Popen([self.program, "render", "--watch", "--templates", "t", "--data", source, "--output", out],
                                   cwd=self.folder, env={**env, "FAIL_HIREDIS": str(n)}, text=True, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.PIPE)
            return out, job

        def until(version, jobs):
            end = time.monotonic() + 30
            while time.monotonic() < end:
                if all(job.poll() is not None or out.exists() and out.read_text() == devices.text_of(version)
                       for out, job in jobs):
                    return
                time.sleep(0.01)

        def over(first, count):
            self.put(1, source.split("&device")[0])
            jobs = [watch(n) for n in range(first, first + count)]
            for version in (1, 2):
                self.put(version, source.split("&device")[0])
                until(version, jobs)
            for out, job in jobs:
                job.terminate()
                _, said = job.communicate(timeout=20)
                good = out.exists() and out.read_text() == devices.text_of(2) and job.returncode == 0
                self.expect(f"call {out.name[3:]} of a watch fails", good,
                            subprocess.CompletedProcess(source, job.returncode, out.exists() and out.read_text(), said))

        over(0, 1)
        count = int(calls.read_text())
        for first in range(1, count + 1, 20):
            over(first, min(20, count + 1 - first))
        self.expect(f"enough of {count} calls failed", count > 40)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--failing")
    parser.add_argument("--unit")
    parser.add_argument("--golden", action="append", default=[])
    parser.add_argument("--renders", type=int, default=1000)
    parser.add_argument("--only")
    args = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        checks = Checks(args.program, folder)

        def failures():
            if args.failing:
                checks.failing_texts(args.failing)
                name = checks.server.name("timeout=2000")
                renders, imports = checks.failing_calls(name, name, args.failing, "HIREDIS")
                checks.expect(f"enough calls failed: {renders}, {imports}", renders > 40 and imports > 20)
                checks.failing_watch(args.failing)

        steps = {"same": lambda: checks.same_texts(args.unit, args.golden), "failures": failures,
                 "writers": lambda: checks.beside_writers(checks.server.name(), checks.server.name(), args.renders)}
        for step in (checks.refusals, checks.garbage, checks.lost, checks.moved, checks.left_behind, checks.round_trips,
                     checks.cluster):
            steps[step.__name__] = step
        try:
            for name, step in steps.items():
                if args.only in (None, name):
                    started = time.monotonic()
                    checks.server.cli("flushall")
                    step()
                    print(f"{name}: {time.monotonic() - started:.1f} s")
        finally:
            end_all()
    sys.exit(1 if checks.faults else 0)


main()
