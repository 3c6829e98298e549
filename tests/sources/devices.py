"""What the tests of sources have in common: a device in two versions, templates for it, and how the program is run."""
import json
import os
import subprocess
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
        return subprocess.run([self.program, *args], cwd=self.folder, capture_output=True, text=True, timeout=300,
                              env={**os.environ, **env})

    def render_from(self, source, *args, **env):
        return self.run("render", "--templates", "t", "--data", source, *args, **env)

    def load_into(self, version, database, **env):
        return self.run("import", f"{version}.json", database, "--device", "d", **env)

    def put(self, version, database):
        got = self.load_into(version, database)
        self.expect("an import is done", got.returncode == 0, got)

    def expect(self, what, holds, got=None):
        if holds:
            return
        self.faults += 1
        print(f"{what}: not so", *([got.returncode, got.stdout, got.stderr] if got else []), sep="\n  ")

    def expect_refused(self, what, words, got):
        self.expect(f"{what} is refused", got.returncode == 1 and words in got.stderr, got)

    def beside_writers(self, source, database, renders):
        """Each render beside a writer is of one version."""
        self.put(1, database)
        seen, stop = set(), []

        def write():
            while not stop:
                for version in (2, 1):
                    self.put(version, database)

        def read(_):
            got = self.render_from(source)
            version = 2 if "v2" in got.stdout else 1
            seen.add(version)
            self.expect("a render is of one version", got.returncode == 0 and got.stdout == text_of(version), got)

        with ThreadPoolExecutor(5) as pool:
            writer = pool.submit(write)
            list(pool.map(read, range(renders)))
            stop.append(True)
            writer.result()
        self.expect("renders saw both versions", seen == {1, 2})

    def failing_calls(self, source, database, library, name):
        """Each call of a library fails once (LIBRARY counts them, and fails the one that FAIL_NAME tells): an error
        and no whole text, or all as it should be. How many calls a render and an import make."""
        calls = self.folder / "calls"
        env = {"LD_PRELOAD": library, f"COUNT_{name}": str(calls)}
        self.put(1, database)
        self.expect("a render is whole", self.render_from(source, **env).stdout == text_of(1))
        renders = int(calls.read_text())
        for n in range(1, renders + 1):
            got = self.render_from(source, **{f"FAIL_{name}": str(n)}, **env)
            good = got.stdout == text_of(1) if got.returncode == 0 else got.stderr != "" and got.returncode == 1
            if got.returncode != 0 and not source.startswith("sqlite:"):
                good = good and got.stdout == ""  # it is kept back
            self.expect(f"call {n} of a render fails", good, got)
        self.load_into(2, database, **env)
        imports = int(calls.read_text())
        self.put(1, database)
        for n in range(1, imports + 1):
            got = self.load_into(2, database, **{f"FAIL_{name}": str(n)}, **env)
            now = 2 if got.returncode == 0 else 1
            after = self.render_from(source)
            self.expect(f"call {n} of an import fails", after.stdout == text_of(now) and (got.stderr == "") == (now == 2),
                        got)
            if now == 2:
                self.put(1, database)
        return renders, imports
