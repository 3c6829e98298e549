#!/usr/bin/env python3
"""check_watch.py TOVRA SQLITE YANG: `tovra render --watch` while files change, of databases and YANG data too when
SQLITE and YANG are 1."""
import os
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

from check_fleet import TEMPLATES, data, text

TOVRA, SQLITE, YANG = Path(sys.argv[1]).resolve(), sys.argv[2] == "1", sys.argv[3] == "1"


def change(before, after):
    return "".join(f"{sign} port {n} speed {speed}\n" for sign, speed in (("-", before), ("+", after)) for n in range(2))


class Watched(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)
        (self.folder / "t").mkdir()
        (self.folder / "t/a.tvr").write_text(TEMPLATES)
        (self.folder / "d.json").write_text(data(1))

    def start(self, *more, source="d.json", seen=text(1)):
        self.job = subprocess.Popen([TOVRA, "render", "--watch", "--templates", "t", "--data", source, *more],
                                    cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(self.job.stderr.close)
        self.addCleanup(self.job.stdout.close)
        self.addCleanup(self.job.wait)
        self.addCleanup(self.job.kill)
        self.see(seen)

    def see(self, wanted, stream=None):
        """Reads until that is all that was said or written."""
        stream, got = stream or self.job.stdout, b""
        end = time.monotonic() + 30
        while wanted != got.decode() and wanted.startswith(got.decode()) and time.monotonic() < end:
            if select.select([stream], [], [], 1)[0]:
                part = os.read(stream.fileno(), 4096)
                got += part
                if not part:
                    break
        self.assertEqual(got.decode(), wanted)

    def hear(self, *lines):
        self.see("".join(line + "\n" for line in lines), self.job.stderr)

    def end(self, status=0, number=signal.SIGTERM):
        self.job.send_signal(number)
        self.assertEqual((self.job.wait(20), self.job.stdout.read(), self.job.stderr.read()), (status, b"", b""))

    def put(self, name, content):
        """As editors do: another file takes the place."""
        (self.folder / "new").write_text(content)
        os.rename(self.folder / "new", self.folder / name)


class Watch(Watched):
    def test_shows_what_changes_however_files_are_written(self):
        self.start()
        (self.folder / "d.json").write_text(data(2))
        self.hear("-- d.json changed")
        self.see(change(1, 2))
        self.put("d.json", data(3))
        self.hear("-- d.json changed")
        self.see(change(2, 3))
        (self.folder / "other.json").write_text("{}")
        (self.folder / "t/notes.txt").write_text("no template")
        os.utime(self.folder / "d.json")
        self.hear("-- d.json changed", "-- the text is the same")
        self.put("t/a.tvr", TEMPLATES.replace("Fmt: port %s", "Fmt: link %s"))
        self.hear("-- t/a.tvr changed")
        self.see("- port 0 speed 3\n- port 1 speed 3\n+ link 0 speed 3\n+ link 1 speed 3\n")
        (self.folder / "t/b.tvr").write_text(TEMPLATES[TEMPLATES.index("Cmd: port\n"):].replace("Cmd: port\n", "Cmd: more\n"))
        self.hear("-- t/b.tvr changed")
        self.see("+ port 0 speed 3\n+ port 1 speed 3\n")
        self.end()

    def test_goes_on_after_what_cannot_be_rendered(self):
        self.start()
        (self.folder / "d.json").write_text(data(2)[:-3])
        self.hear("-- d.json changed", "d.json:1:73: the document ends too early")
        self.put("t/a.tvr", TEMPLATES.replace("Op: print_if", "Op: print"))
        self.hear("-- t/a.tvr changed", "t/a.tvr:10: Invalid Op in node: print")
        shutil.move(self.folder / "t", self.folder / "old")
        self.hear("-- t/a.tvr changed", "t: Unable to open directory")
        (self.folder / "d.json").write_text(data(1))
        self.hear("-- d.json changed", "t: Unable to open directory")
        (self.folder / "fresh").mkdir()
        (self.folder / "fresh/a.tvr").write_text(TEMPLATES.replace("speed %s", "rate %s"))
        shutil.move(self.folder / "fresh", self.folder / "t")
        self.hear("-- t/a.tvr changed")
        self.see("- port 0 speed 1\n- port 1 speed 1\n+ port 0 rate 1\n+ port 1 rate 1\n")
        self.put("t/a.tvr", TEMPLATES.replace("Op: print_if", "Op: print"))
        self.hear("-- t/a.tvr changed", "t/a.tvr:10: Invalid Op in node: print")
        self.end(1, signal.SIGINT)

    def test_follows_links_and_writes_the_file(self):
        (self.folder / "far").mkdir()
        (self.folder / "far/d.json").write_text(data(1))
        (self.folder / "far/a.tvr").write_text(TEMPLATES)
        for name, target in (("d.json", "far/d.json"), ("t/a.tvr", "../far/a.tvr")):
            (self.folder / name).unlink()
            (self.folder / name).symlink_to(target)
        self.start("--output", "o.txt", seen="")
        deadline = time.monotonic() + 20
        while not (self.folder / "o.txt").exists() and time.monotonic() < deadline:
            time.sleep(0.01)
        self.put("far/d.json", data(2))
        self.hear("-- d.json changed")
        self.see(change(1, 2))
        self.put("far/a.tvr", TEMPLATES.replace("speed %s", "rate %s"))
        self.hear("-- t/a.tvr changed")
        self.see("- port 0 speed 2\n- port 1 speed 2\n+ port 0 rate 2\n+ port 1 rate 2\n")
        self.end()
        self.assertEqual((self.folder / "o.txt").read_text(), text(2).replace("speed", "rate"))
        self.assertEqual([file.name for file in self.folder.glob("o.txt*")], ["o.txt"])

    def test_ends_when_nobody_reads(self):
        self.start()
        self.job.stdout.close()
        self.assertEqual((self.job.wait(20), self.job.stderr.read()), (1, b""))

    def test_refuses_what_is_no_file(self):
        done = subprocess.run([TOVRA, "render", "--watch", "--templates", "t", "--data", "-"], cwd=self.folder,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=20)
        self.assertEqual((done.returncode, done.stderr), (2, "tovra: --watch: standard input: cannot be watched\n"))

    def test_sees_what_is_imported(self):
        if not SQLITE:
            self.skipTest("built without SQLite")
        load = [TOVRA, "import", "d.json", "sqlite:db", "--device", "a"]
        subprocess.run(load, cwd=self.folder, check=True)
        self.start(source="sqlite:db?device=a")
        (self.folder / "d.json").write_text(data(2))
        subprocess.run(load, cwd=self.folder, check=True)
        self.see(change(1, 2))
        time.sleep(0.3)
        self.job.send_signal(signal.SIGTERM)
        self.assertEqual(self.job.wait(20), 0)
        told = self.job.stderr.read().decode().splitlines()
        self.assertIn(told[0], ("-- db changed", "-- db-wal changed"))
        self.assertLessEqual(len(told), 3)  # its own reading changes nothing

    def test_sees_changes_of_yang_data_and_their_modules(self):
        if not YANG:
            self.skipTest("built without YANG")
        module = ("module m { namespace urn:m; prefix m; include s; container sys { list port { key n; leaf n { type uint8; } "
                  "leaf speed { type uint8; default 1; } } } }")
        (self.folder / "y/below").mkdir(parents=True)
        (self.folder / "far").mkdir()
        (self.folder / "y/link").symlink_to("../far")
        (self.folder / "y/m.yang").write_text(module)
        (self.folder / "far/s.yang").write_text("submodule s { belongs-to m { prefix m; } }")
        (self.folder / "f.json").write_text('{"m:sys": {"port": [{"n": 0}, {"n": 1}]}}')
        self.start("--yang-dir", "y", "--yang-module", "m", source="yang:f.json")
        self.put("f.json", '{"m:sys": {"port": [{"n": 0}, {"n": 1, "speed": 7}]}}')
        self.hear("-- f.json changed")
        self.see("- port 1 speed 1\n+ port 1 speed 7\n")
        self.put("y/m.yang", module.replace("default 1", "default 2"))
        self.hear("-- y/m.yang changed")
        self.see("- port 0 speed 1\n+ port 0 speed 2\n")
        for name in ("far/s.yang", "y/below/other.yin"):
            (self.folder / name).write_text("submodule s { belongs-to m { prefix n; } }")
            self.hear(f"-- {name.replace('far', 'y/link')} changed", "-- the text is the same")
        self.end()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
