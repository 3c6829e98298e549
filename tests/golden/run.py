#!/usr/bin/env python3
"""Runs golden cases through the host program.

A case is a folder with a file `args`: one run a line, `NAME: arguments of tovra`. The program runs in the
folder. Standard output is compared with `expected/NAME.txt`, standard error with `expected/NAME.err` (absent:
empty), the exit status with the one that `NAME` is followed by in brackets (`NAME[1]: ...`, default 0).

A run of `render` is repeated in ways that must not change a byte: again, under another locale, with template
files in another order, with every trace, and with fetch counts. A line `vary: -order -fetch` in `args` takes
some of these out: `order` where ids collide, `fetch` where groups or location order work on one batch.

  run.py [--tovra PROGRAM] [--update] FOLDER...     folders are searched for cases
"""
import argparse
import difflib
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

LINE = re.compile(r"^(?P<name>[\w.-]+)(\[(?P<status>\d+)\])?:\s*(?P<args>.*)$")
VARIATIONS = ("again", "locale", "order", "trace", "fetch")


class Outcome:
    def __init__(self, status, out, err):
        self.status, self.out, self.err = status, out, err

    def __eq__(self, other):
        return (self.status, self.out, self.err) == (other.status, other.out, other.err)


def run(program, args, folder, env=None):
    done = subprocess.run([program, *args], cwd=folder, stdin=subprocess.DEVNULL, capture_output=True,
                          env={**os.environ, "LC_ALL": "C", **(env or {})}, timeout=300)
    return Outcome(done.returncode, done.stdout, done.stderr)


def read_case(folder):
    runs, without = [], set()
    for line in (folder / "args").read_text().splitlines():
        if not line.strip() or line.startswith("#"):
            continue
        if line.startswith("vary:"):
            without = {word.lstrip("-") for word in line[5:].split()}
            assert without <= set(VARIATIONS), f"{folder}/args: {line}"
            continue
        match = LINE.match(line)
        assert match, f"{folder}/args: {line}"
        runs.append((match["name"], int(match["status"] or 0), shlex.split(match["args"])))
    assert runs, f"{folder}/args names no run"
    return runs, without


def without_traces(outcome):
    lines = [line for line in outcome.err.splitlines(keepends=True) if not line.startswith(b"zu_tovra[")]
    return Outcome(outcome.status, outcome.out, b"".join(lines))


def run_reordered(program, args, folder, scratch):
    """The same run over a copy of the template folder whose files sort the other way round."""
    at = args.index("--templates") + 1
    source, target = folder / args[at], Path(scratch) / "templates"
    files = sorted(path for path in source.iterdir() if path.suffix == ".tvr")
    target.mkdir()
    copies = {target / f"{number:03}.tvr": path.name for number, path in enumerate(reversed(files))}
    for copy, name in copies.items():
        shutil.copy(source / name, copy)
    outcome = run(program, [*args[:at], str(target), *args[at + 1:]], folder)
    for copy, name in copies.items():  # the places of errors
        outcome.err = outcome.err.replace(str(copy).encode(), f"{args[at]}/{name}".encode())
    return outcome


def variations(program, folder, args, without):
    """Yields (what was varied, its outcome); each must be that of the plain run."""
    if "again" not in without:
        yield "again", run(program, args, folder)
    if "locale" not in without:
        yield "another locale", run(program, args, folder, {"LC_ALL": "C.UTF-8", "LANG": "de_DE.UTF-8"})
    if "trace" not in without and "--trace" not in args:
        yield "with every trace", without_traces(run(program, [*args, "--trace", "7"], folder))
    if "fetch" not in without and "--fetch-count" not in args:
        for count in ("1", "2", "3"):
            yield f"--fetch-count {count}", run(program, [*args, "--fetch-count", count], folder)
    if "order" not in without and "--templates" in args and ":" not in args[args.index("--templates") + 1]:
        with tempfile.TemporaryDirectory() as scratch:
            yield "template files in another order", run_reordered(program, args, folder, scratch)


def difference(what, wanted, got):
    wanted, got = (data.decode(errors="backslashreplace").splitlines() for data in (wanted, got))
    return [f"  {what}:"] + ["    " + line for line in difflib.unified_diff(wanted, got, "wanted", "got", lineterm="")]


def compare(wanted, got):
    faults = []
    if got.status != wanted.status:
        faults.append(f"  exit status {got.status}, wanted {wanted.status}")
    if got.out != wanted.out:
        faults += difference("standard output", wanted.out, got.out)
    if got.err != wanted.err:
        faults += difference("standard error", wanted.err, got.err)
    return faults


def content(path):
    return path.read_bytes() if path.exists() else b""


def update(path, data):
    if data:
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(data)
    elif path.exists():
        path.unlink()


def check_case(program, folder, updating):
    runs, without = read_case(folder)
    faults = []
    for name, status, args in runs:
        out, err = folder / "expected" / f"{name}.txt", folder / "expected" / f"{name}.err"
        wanted = Outcome(status, content(out), content(err))
        got = run(program, args, folder)
        found = compare(wanted, got)
        if updating and found:
            print("\n".join([f"{folder} {name}: updated"] + found))
            update(out, got.out)
            update(err, got.err)
            found = [] if got.status == status else [f"  exit status {got.status}, wanted {status}"]
        if args[0] == "render" and not found:
            for varied, outcome in variations(program, folder, args, without):
                found += [f"  {varied}:"] + compare(got, outcome) if outcome != got else []
        if found:
            faults += [f"{folder} {name}: {program} {shlex.join(args)}"] + found
    return len(runs), faults


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tovra", default="build/release/bin/tovra")
    parser.add_argument("--update", action="store_true", help="write what the program gives, and show the difference")
    parser.add_argument("folders", nargs="+", type=Path)
    asked = parser.parse_args()
    program = str(Path(asked.tovra).resolve())
    cases = sorted({path.parent.resolve() for folder in asked.folders for path in folder.rglob("args")})
    if not cases:
        sys.exit("no golden case found")
    total, failed = 0, 0
    for case in cases:
        count, faults = check_case(program, case, asked.update)
        total, failed = total + count, failed + (1 if faults else 0)
        if faults:
            print("\n".join(faults))
    print(f"{total} runs of {len(cases)} cases, {failed} cases failed")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
