#!/usr/bin/env python3
"""check_sqlite.py TOVRA [--failing LIBRARY] [--renders N]: devices in databases, as a user meets them: what is refused,
what another process writes meanwhile, and every call of SQLite failing once (LIBRARY is loaded before it)."""
import argparse
import sqlite3
import sys
import tempfile
from pathlib import Path

import devices


class Checks(devices.Checks):
    def render(self, database):
        return self.render_from(f"sqlite:{database}")

    def load(self, version, database):
        return self.load_into(version, f"sqlite:{database}")

    def change(self, statement, parameters=()):
        """A good database but for that."""
        database = self.folder / "bad.db"
        for part in ("", "-wal", "-shm"):
            Path(f"{database}{part}").unlink(missing_ok=True)
        self.load(1, "bad.db")
        with sqlite3.connect(database) as opened:
            opened.execute("PRAGMA ignore_check_constraints = 1")
            opened.execute(statement, parameters)
        opened.close()

    def refused(self, what, words, statement, parameters=()):
        """Renders a good database after that change."""
        self.change(statement, parameters)
        self.expect_refused(what, words, self.render("bad.db"))

    def refusals(self):
        port = 'record "/sys/port;n=1"'
        change = "UPDATE record SET properties = ? WHERE relative = '/sys/port;n=1'"
        for value, words in ((b"{}", port + ": column properties"), (5, port), ("", port), ("[1]", port),
                             ("{\"speed\": nul}", port), ('{"speed": 1}, "/evil": {}', "a record holds several"),
                             ('{"speed": [{"PasswordString": "s"}]}', port), ("{" * 1000, port),
                             ('{"speed": 1e99999}', port), ('{"n": "2"}', port)):
            self.refused(f"properties {value!r}", words, change, (value,))
        for statement, words in (
                ("UPDATE record SET relative = '/sys/port;n=%zz' WHERE relative = '/sys/port;n=1'", "bad URI"),
                ("UPDATE record SET relative = '/sys/other;n=1' WHERE relative = '/sys/port;n=1'",
                 'record "/sys/other;n=1" is kept as one of the path "/sys/port"'),
                ("UPDATE record SET location = x'00'", "column location"),
                ("UPDATE record SET relative = '/sys/port;n=%31' WHERE relative = '/sys/port;n=1'",
                 'record "/sys/port;n=%31": its URI is written as "/sys/port;n=1"'),
                ("UPDATE record SET parent = '/x'", 'record "/sys": column parent: it is not "/"'),
                ("UPDATE record SET position = 'x' WHERE relative = '/sys/port;n=1'", port + ": column position"),
                ("UPDATE path SET declared = '}' WHERE path = '/sys/port'", 'class "/sys/port"'),
                ("UPDATE path SET declared = '\"mtu\":{\"kind\":7}' WHERE path = '/sys/port'", 'class "/sys/port"'),
                ("UPDATE path SET keys = 5.5", ""), ("UPDATE path SET pattern = x'01'", "column pattern"),
                ("DROP TABLE record", "no such table: record"), ("DROP INDEX record_by_parent", ""),
                ("PRAGMA user_version = 2", "version 2"), ("PRAGMA application_id = 1", "not a database of devices"),
                ("DELETE FROM device", "it has no device"),
                ("INSERT INTO device (name) VALUES ('e')", "?device=NAME must say which: d, e")):
            if words:
                self.refused(statement, words, statement)
        # No request finds these: they are told of where the whole device is read.
        for column, value, words in (("parent", "/x", port + ": column parent"),
                                     ("relative", "/sys/port;n=%31", 'is written as "/sys/port;n=1"')):
            self.change(f"UPDATE record SET {column} = ? WHERE relative = '/sys/port;n=1'", (value,))
            got = self.run("check", "--templates", "t", "--data", "sqlite:bad.db")
            self.expect_refused(f"{column} {value} in a check", words, got)
        for target, words in (("sqlite:", "it names no file"), ("sqlite:bad.db?device=e", "it names two devices")):
            self.expect_refused(target, words, self.run("import", "1.json", target, "--device", "d"))
        # Names that SQLite takes for other things than files.
        for name in (":memory:", "file:a.db?mode=memory"):
            self.load(1, name)
            self.expect(f"{name} is a file", self.render(name).stdout == devices.text_of(1))
        (self.folder / "text.db").write_text("no database\n" * 100)
        (self.folder / "empty.db").write_text("")
        for name, words in (("nowhere.db", "unable to open"), ("text.db", "not a database"),
                            ("empty.db", "not a database of devices"), (".", "sqlite:.: ")):
            self.expect_refused(name, words, self.render(name))
        with sqlite3.connect(self.folder / "other.db") as other:
            other.execute("CREATE TABLE mine (a)")
        other.close()
        self.expect_refused("another program's database", "a database of something else", self.load(1, "other.db"))
        # A page in the middle is no longer one.
        self.load(1, "torn.db")
        torn = bytearray((self.folder / "torn.db").read_bytes())
        for at in range(4096, len(torn), 64):
            torn[at] ^= 0xff
        (self.folder / "torn.db").write_bytes(torn)
        self.expect_refused("a torn file", ": ", self.render("torn.db"))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--failing")
    parser.add_argument("--renders", type=int, default=200)
    args = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        checks = Checks(args.program, folder)
        checks.refusals()
        checks.beside_writers("sqlite:busy.db", "sqlite:busy.db", args.renders)
        if args.failing:
            renders, imports = checks.failing_calls("sqlite:failing.db", "sqlite:failing.db", args.failing, "SQLITE")
            checks.expect("enough calls failed", renders > 20 and imports > 40)
    sys.exit(1 if checks.faults else 0)


main()
