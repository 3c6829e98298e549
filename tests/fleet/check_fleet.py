#!/usr/bin/env python3
"""check_fleet.py TOVRA EXAMPLES KIND,...: `tovra fleet` over folders, and over what else the program is built with."""
import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

TOVRA, EXAMPLES, KINDS = Path(sys.argv[1]).resolve(), Path(sys.argv[-2]).resolve(), sys.argv[-1].split(",")


def needs(kind):
    return unittest.skipUnless(kind in KINDS, f"built without {kind}")



TEMPLATES = """Cmd: config

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
"""


def data(speed, ports=2, name="speed"):
    return json.dumps({"records": {f"/sys/port;n={n}": {name: speed} for n in range(ports)}})


def text(speed, ports=2):
    return "".join(f"port {n} speed {speed}\n" for n in range(ports))


class Fleet(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)
        (self.folder / "t").mkdir()
        (self.folder / "t/a.tvr").write_text(TEMPLATES)
        (self.folder / "d").mkdir()
        for n in range(20):
            self.device(f"r{n:02}", data(n))

    def device(self, name, content, kind="json"):
        (self.folder / f"d/{name}.{kind}").write_text(content)

    def run_fleet(self, *more, source="d", out="o", templates="t", status=0):
        done = subprocess.run([TOVRA, "fleet", "--templates", templates, "--data", source, "--out", out, *more],
                              cwd=self.folder, capture_output=True, text=True, timeout=60)
        self.assertEqual(done.returncode, status, done)
        return done

    def summary(self, *more, **how):
        return json.loads(self.run_fleet("--format", "json", *more, **how).stdout)

    def texts(self):
        return {file.name: file.read_text() for file in (self.folder / "o").iterdir()}

    def test_writes_what_render_gives_and_only_what_changed(self):
        wanted = {f"r{n:02}.txt": text(n) for n in range(20)}
        told = self.summary("--jobs", "4")
        self.assertEqual((told["devices"], told["rendered"], len(told["changed"])), (20, 20, 20))
        self.assertEqual(self.texts(), wanted)
        before = {name: (self.folder / "o" / name).stat().st_ino for name in wanted}
        self.device("r03", data("fast"))
        done = self.run_fleet()
        self.assertEqual((done.stdout, done.stderr),
                         ("changed r03\n20 devices: 1 changed, 19 unchanged, 0 failed\n", ""))
        self.assertEqual(self.texts(), {**wanted, "r03.txt": text("fast")})
        self.assertEqual([name for name, node in before.items() if (self.folder / "o" / name).stat().st_ino != node],
                         ["r03.txt"])

    def test_goes_on_after_devices_that_fail(self):
        self.run_fleet()
        self.device("r05", data(5, 2, "sped"))
        self.device("r06", '{"records": {"/sys": ')
        (self.folder / "o/r07.txt").unlink()
        (self.folder / "o/r07.txt").mkdir()
        self.device("r08", data("new"))
        done = self.run_fleet(status=1)
        self.assertEqual(done.stdout, "changed r08\nfailed r05\nfailed r06\nfailed r07\n"
                         "20 devices: 1 changed, 16 unchanged, 3 failed\n")
        self.assertEqual(sorted(done.stderr.splitlines()), [
            "r05:   at t/a.tvr:8 port, collection /sys?port, property speed",
            "r05: error 10000: Unable to find property speed on uri /sys?port",
            "r06: d/r06.json:1:22: the document ends too early", "r07: o/r07.txt: not a regular file"])
        self.assertEqual((self.folder / "o/r05.txt").read_text(), text(5))

    def test_names_texts_without_a_device_and_deletes_them_when_asked(self):
        self.run_fleet()
        (self.folder / "o/notes").write_text("")
        for name in ("r01", "r11"):
            (self.folder / f"d/{name}.json").unlink()
        self.assertEqual(self.summary()["gone"], ["r01", "r11"])
        self.assertEqual(self.summary("--devices", "r0*")["gone"], ["r01"])
        self.assertIn("r01.txt", self.texts())
        self.assertEqual(self.summary("--devices", "r0*", "--delete")["removed"], ["r01"])
        self.assertEqual(self.run_fleet("--delete").stdout,
                         "removed r11\n18 devices: 0 changed, 18 unchanged, 0 failed, 1 removed\n")
        self.assertEqual(len(self.texts()), 19)

    def test_refuses_before_anything_is_rendered(self):
        (self.folder / "empty").mkdir()
        (self.folder / "taken").write_text("")
        self.device("r01", "records: {}", "yaml")
        for words, arguments in (("tovra: d/r01.json: the device has another one, d/r01.yaml", {}),
                                 ("tovra: empty: no data file", {"source": "empty"}),
                                 ("tovra: nowhere: No such file", {"source": "nowhere"}),
                                 ("tovra: d/r02.json: one device", {"source": "d/r02.json"}),
                                 ("tovra: sqlite:x?device=y: one device", {"source": "sqlite:x?device=y"})):
            self.assertTrue(self.run_fleet(status=1, **arguments).stderr.startswith(words), words)
        (self.folder / "d/r01.yaml").unlink()
        told = [self.run_fleet("--devices", "r0*", "--devices", "r1x", status=1), self.run_fleet("prt", status=1),
                self.run_fleet(out="taken", status=1)]
        self.assertEqual([done.stderr for done in told], [
            "tovra: no device is 'r1x', did you mean r10?\n", "tovra: no node is 'prt', did you mean port?\n",
            "tovra: --out taken: Not a directory\n"])
        self.assertFalse((self.folder / "o").exists())

    @needs("YAML")
    def test_takes_yaml_classes_and_what_render_takes(self):
        for file in (self.folder / "d").iterdir():
            file.unlink()
        self.device("a", "records:\n  /sys/port;n=2: {}\n  /sys/port;n=1: {speed: 5}\n", "yaml")
        self.device("classes", '{"classes": {"/sys/port": {"speed": {"default": 7}}}}')
        self.device(".hidden", "{")
        self.device("notes", "{", "txt")
        self.run_fleet("--classes", "d/classes.json")
        self.assertEqual(self.texts(), {"a.txt": "port 2 speed 7\nport 1 speed 5\n"})
        told = self.run_fleet("ports", "--classes", "d/classes.json", "--arg", "n=2").stderr
        self.assertEqual(told.count("warning:"), 1)  # once, not once a device

    @needs("SQLITE")
    def test_keeps_names_of_devices_in_the_folder(self):
        names = {"a": "a.txt", "x/y": "x%2Fy.txt", "..": "%2E..txt", ".h": "%2Eh.txt", "x%2Fy": "x%252Fy.txt",
                 "n\nl": "n%0Al.txt", "\u00fc b": "\u00fc b.txt"}
        for name in names:
            subprocess.run([TOVRA, "import", "d/r01.json", "sqlite:db", "--device", name], cwd=self.folder, check=True)
        for changed, left in ((len(names), 0), (0, len(names))):
            told = self.summary(source="sqlite:db")
            self.assertEqual((len(told["changed"]), told["unchanged"], told["gone"]), (changed, left, []))
        self.assertEqual(self.texts(), {file: text(1) for file in names.values()})
        done = self.run_fleet("--devices", "n*", "--delete", source="sqlite:db")
        self.assertEqual(done.stdout, "1 device: 0 changed, 1 unchanged, 0 failed\n")

    @needs("YANG")
    def test_takes_yang_documents(self):
        (self.folder / "m").mkdir()
        (self.folder / "m/site.yang").write_text("""module site { yang-version 1.1; namespace "urn:site"; prefix s;
            container sys { list port { key n; leaf n { type uint8; } leaf speed { type uint32; default 7; }
            leaf key { type string; } leaf name { type union { type uint8; type string { length 2; } } } } } }""")
        (self.folder / "t/a.tvr").write_text(TEMPLATES + "\nCmd: key\nParent Cmd: port\nOp: print_if\nFmt: key %s\n"
                                             "Props: /sys?port key:0\nNewline:\n")
        yang = ("--yang-dir", "m", "--yang-module", "site")

        def document(speed, more=None):
            return json.dumps({"site:sys": {"port": [{"n": n, "speed": speed, "name": "ab", "key": "k", **(more or {})}
                                                     for n in range(2)]}})

        for n in range(20):
            self.device(f"r{n:02}", document(n))
        self.device("x", '<sys xmlns="urn:site">\n<port><n>1</n></port></sys>', "xml")
        self.device("bad", '<sys xmlns="urn:site">\n<port><n>700</n></port></sys>', "xml")
        self.device("worse", document(1, {"name": "abc"}))
        self.device("notes", "x", "yaml")
        done = self.run_fleet("--jobs", "8", *yang, source="yang:d", status=1)
        self.assertEqual(sorted(done.stderr.splitlines()), [
            'bad: d/bad.xml:2: /site:sys/port/n: Value "700" is out of type uint8 min/max bounds',
            "worse: d/worse.json:1: /site:sys/port[n='0']/name: Invalid union value \"abc\" - no matching subtype found"])
        self.assertEqual(self.texts(), {"x.txt": text(7, 2).splitlines()[1] + "\n", **{
            f"r{n:02}.txt": "".join(f"port {p} speed {n}\nkey k\n" for p in range(2)) for n in range(20)}})
        told = self.run_fleet("--devices", "r0*", "--show-tech", "--yang-secret", "/sys/port/key", *yang, source="yang:d")
        self.assertIn("10 changed", told.stdout)
        self.assertNotIn("key k", self.texts()["r00.txt"])
        for more, source, words in (((), "yang:d", "tovra: yang:d: YANG data need the names"),
                                    (yang, "yang:m", "tovra: yang:m: no data file, *.json, *.xml"),
                                    (yang, "yang:d/x.xml", "tovra: yang:d/x.xml: one device"),
                                    (("--yang-module", "none"), "yang:d", "YANG module none: ")):
            said = self.run_fleet(*more, source=source, status=1).stderr
            self.assertTrue(said.startswith(words) and said.count("\n") < 3, said)

    def test_gives_the_examples_from_many_threads(self):
        for example in ("edge-router", "chassis", "campus-switch"):
            for file in (self.folder / "d").iterdir():
                file.unlink()
            for n in range(24):
                self.device(f"{n}", (EXAMPLES / example / "data.json").read_text())
            self.run_fleet("--jobs", "8", "--delete", templates=EXAMPLES / example / "templates")
            wanted = (EXAMPLES / example / "expected/all.txt").read_text()
            self.assertEqual(self.texts(), {f"{n}.txt": wanted for n in range(24)})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
