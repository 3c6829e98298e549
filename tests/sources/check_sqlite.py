#!/usr/bin/env python3
"""check_sqlite.py TOVRA [--failing LIBRARY] [--renders N]: devices in databases, as a user meets them: what is refused,
what another process writes meanwhile, and every call of SQLite failing once (LIBRARY is loaded before it)."""
import argparse
import json
import os
import sqlite3
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

TEMPLATES = """Cmd: config
Cmd: sys
Parent Cmd: config
Op: get_one
Uri: /sys
Cmd: name
Parent Cmd: sys
Op: print_if
Fmt: name %s
Props: /sys name:0
Newline:
Cmd: ports
Parent Cmd: config
Op: get_collection
Uri: /sys?port
Cmd: port
Parent Cmd: ports
Op: print_if
Fmt: port %s speed %s
Props: /sys?port n:0 speed:1
Newline:
Cmd: units
Parent Cmd: ports
Op: get_collection
Uri: /sys/port;n=$?unit
Cmd: unit
Parent Cmd: units
Op: print_if
Fmt: unit %s vlan %s
Props: /sys/port;n=$?unit u:0 vlan:1
Newline:
"""


def device(version, ports=4):
    records = {"/sys": {"name": f"v{version}"}}
    for n in range(ports):
        records[f"/sys/port;n={n}"] = {"speed": version}
        records[f"/sys/port;n={n}/unit;u=0"] = {"vlan": version}
    return json.dumps({"classes": {"/sys/port": {"mtu": {"default": 1500}}}, "records": records})


def text_of(version, ports=4):
    return f"name v{version}\n" + "".join(f"port {n} speed {version}\nunit 0 vlan {version}\n" for n in range(ports))


class Checks:
    def __init__(self, program, folder):
        self.program, self.folder, self.faults = program, Path(folder), 0
        (self.folder / "t").mkdir()
        (self.folder / "t/a.tvr").write_text(TEMPLATES)
        for version in (1, 2):
            (self.folder / f"{version}.json").write_text(device(version))

    def run(self, *args, **env):
        return subprocess.run([self.program, *args], cwd=self.folder, capture_output=True, text=True, timeout=60,
                              env={**os.environ, **env})

    def render(self, database, **env):
        return self.run("render", "--templates", "t", "--data", f"sqlite:{database}", **env)

    def load(self, version, database, **env):
        return self.run("import", f"{version}.json", f"sqlite:{database}", "--device", "d", **env)

    def expect(self, what, holds, got=None):
        if holds:
            return
        self.faults += 1
        print(f"{what}: not so", *([got.returncode, got.stdout, got.stderr] if got else []), sep="\n  ")

    def refused(self, what, words, statement=None, parameters=()):
        """Renders a good database after that change."""
        database = self.folder / "bad.db"
        for part in ("", "-wal", "-shm"):
            Path(f"{database}{part}").unlink(missing_ok=True)
        self.load(1, "bad.db")
        if statement is not None:
            with sqlite3.connect(database) as opened:
                opened.execute("PRAGMA ignore_check_constraints = 1")
                opened.execute(statement, parameters)
            opened.close()
        got = self.render("bad.db")
        self.expect(f"{what} is refused", got.returncode == 1 and words in got.stderr, got)

    def refusals(self):
        port = 'record "/sys/port;n=1"'
        change = "UPDATE record SET properties = ? WHERE relative = '/sys/port;n=1'"
        for value, words in ((b"{}", "column properties"), (5, port), ("", port), ("[1]", port),
                             ("{\"speed\": nul}", port), ('{"speed": 1}, "/evil": {}', "a record holds several"),
                             ('{"speed": [{"PasswordString": "s"}]}', port), ("{" * 1000, port),
                             ('{"speed": 1e99999}', port), ('{"n": "2"}', port)):
            self.refused(f"properties {value!r}", words, change, (value,))
        for statement, words in (
                ("UPDATE record SET relative = '/sys/port;n=%zz' WHERE relative = '/sys/port;n=1'", "bad URI"),
                ("UPDATE record SET relative = '/other;n=1' WHERE relative = '/sys/port;n=1'",
                 'record "/other;n=1" is kept as one of the path "/sys/port"'),
                ("UPDATE record SET location = x'00'", "column location"),
                ("UPDATE path SET declared = '}' WHERE path = '/sys/port'", 'class "/sys/port"'),
                ("UPDATE path SET declared = '\"mtu\":{\"kind\":7}' WHERE path = '/sys/port'", 'class "/sys/port"'),
                ("UPDATE path SET keys = 5.5", ""), ("UPDATE path SET pattern = x'01'", "column pattern"),
                ("DROP TABLE record", "no such table: record"), ("DROP INDEX record_by_parent", ""),
                ("PRAGMA user_version = 2", "version 2"), ("PRAGMA application_id = 1", "not a database of devices"),
                ("DELETE FROM device", "it has no device"),
                ("INSERT INTO device (name) VALUES ('e')", "?device=NAME must say which: d, e")):
            if words:
                self.refused(statement, words, statement)
        (self.folder / "text.db").write_text("no database\n" * 100)
        (self.folder / "empty.db").write_text("")
        for name, words in (("nowhere.db", "unable to open"), ("text.db", "not a database"),
                            ("empty.db", "not a database of devices"), (".", "sqlite:.: ")):
            got = self.render(name)
            self.expect(f"{name} is refused", got.returncode == 1 and words in got.stderr, got)
        with sqlite3.connect(self.folder / "other.db") as other:
            other.execute("CREATE TABLE mine (a)")
        other.close()
        got = self.load(1, "other.db")
        self.expect("another program's database is left alone",
                    got.returncode == 1 and "a database of something else" in got.stderr, got)
        # A page in the middle is no longer one.
        self.load(1, "torn.db")
        torn = bytearray((self.folder / "torn.db").read_bytes())
        for at in range(4096, len(torn), 64):
            torn[at] ^= 0xff
        (self.folder / "torn.db").write_bytes(torn)
        got = self.render("torn.db")
        self.expect("a torn file is refused", got.returncode == 1 and got.stderr != "", got)

    def writers(self, renders):
        """Each render beside a writer is of one version."""
        self.load(1, "busy.db")
        seen, stop = set(), []

        def write():
            while not stop:
                for version in (2, 1):
                    got = self.load(version, "busy.db")
                    self.expect("an import beside renders is done", got.returncode == 0, got)

        def read(_):
            got = self.render("busy.db")
            version = 2 if "v2" in got.stdout else 1
            seen.add(version)
            self.expect("a render is of one version", got.returncode == 0 and got.stdout == text_of(version), got)

        with ThreadPoolExecutor(5) as pool:
            writer = pool.submit(write)
            list(pool.map(read, range(renders)))
            stop.append(True)
            writer.result()
        self.expect("renders saw both versions", seen == {1, 2})

    def failures(self, library):
        """Each call of SQLite fails once: an error and no whole text, or all as it should be."""
        calls = self.folder / "calls"
        env = {"LD_PRELOAD": library, "COUNT_SQLITE": str(calls)}
        self.load(1, "failing.db")
        self.expect("a render is whole", self.render("failing.db", **env).stdout == text_of(1))
        for n in range(1, int(calls.read_text()) + 1):
            got = self.render("failing.db", FAIL_SQLITE=str(n), **env)
            good = got.stdout == text_of(1) if got.returncode == 0 else got.stderr != "" and got.returncode == 1
            self.expect(f"call {n} of a render fails", good, got)
        count = int(calls.read_text())
        self.load(2, "failing.db", **env)
        imports = int(calls.read_text())
        self.load(1, "failing.db")
        for n in range(1, imports + 1):
            got = self.load(2, "failing.db", FAIL_SQLITE=str(n), **env)
            now = 2 if got.returncode == 0 else 1
            after = self.render("failing.db")
            self.expect(f"call {n} of an import fails", after.stdout == text_of(now) and (got.stderr == "") == (now == 2),
                        got)
            if now == 2:
                self.load(1, "failing.db")
        self.expect("enough calls failed", count > 20 and imports > 40)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--failing")
    parser.add_argument("--renders", type=int, default=200)
    args = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        checks = Checks(args.program, folder)
        checks.refusals()
        checks.writers(args.renders)
        if args.failing:
            checks.failures(args.failing)
    sys.exit(1 if checks.faults else 0)


main()
