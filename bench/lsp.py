"""Prints what a keystroke and a hover cost in `tovra lsp`, compared with one whole `tovra check`."""
import json
import os
import resource
import statistics
import subprocess
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests/lsp"))
from client import Client  # noqa: E402

KEYSTROKES = 60

LINE = """
Cmd: part{n}-{kind}{k}
Parent Cmd: part{n}-{parent}
Op: print_if
Fmt: {kind} {k} %s
Props: /part{n}{list} {kind}{k}:0 other{k}:1
Cond: (ne $tvr1 5)
Newline:
"""
PART = """TvrLangVersion: 1

Cmd: part{n}-get
Parent Cmd: config
Op: get_one
Uri: /part{n}

Cmd: part{n}-list
Parent Cmd: config
Op: get_collection
Uri: /part{n}?item

Cmd: part{n}-item
Parent Cmd: part{n}-list
Op: print_if
Fmt: item %s
Props: /part{n}?item name:0
Newline:

Cmd: part{n}-into
Parent Cmd: part{n}-item
Op: push_mode
Dest: part{n}-mode

Cmd: part{n}-mode
Op: no_op
"""


def write_workspace(folder, files):
    """Templates of that many files of 145 lines, and data for them; gives a file in the middle, and all lines."""
    (folder / "t").mkdir(parents=True)
    (folder / "t/000.tvr").write_text("TvrLangVersion: 1\n\nCmd: config\nOp: no_op\n")
    records = {}
    for n in range(1, files):
        text = PART.format(n=n)
        text += "".join(LINE.format(n=n, k=k, kind="line", parent="get", list="") for k in range(8))
        text += "".join(LINE.format(n=n, k=k, kind="set", parent="mode", list="?item") for k in range(7))
        (folder / f"t/{n:03}.tvr").write_text(text)
        records[f"/part{n}"] = {f"{name}{k}": k for k in range(8) for name in ("line", "other")}
        for item in range(3):
            records[f"/part{n}/item;name=i{item}"] = {f"{name}{k}": k for k in range(7) for name in ("set", "other")}
    (folder / "data.json").write_text(json.dumps({"records": records}))
    lines = sum(file.read_text().count("\n") for file in folder.glob("t/*.tvr"))
    return folder / f"t/{files // 2:03}.tvr", lines


def milliseconds(work):
    start = time.perf_counter()
    work()
    return (time.perf_counter() - start) * 1000


def child_time():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return (used.ru_utime + used.ru_stime) * 1000


def process_time(number):
    """The processor time that a process has used, in milliseconds."""
    fields = Path(f"/proc/{number}/stat").read_text().rsplit(") ", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) * 1000 / os.sysconf("SC_CLK_TCK")


def check_time(program, templates, data):
    """Milliseconds of processor time, and of the clock."""
    def check():
        subprocess.run([program, "check", "--templates", templates, "--data", data], check=True, stdout=subprocess.DEVNULL)
    before = child_time()
    took = [milliseconds(check) for _ in range(11)]
    return (child_time() - before) / 11, statistics.median(took)


def keystrokes(client, path, at):
    """Types a word into a line, a letter at a time, and waits for the findings of each: what a letter takes of the
    server's processor time, and by the clock the median and the worst."""
    def type_letter(version):
        where = {"line": at[0], "character": at[1] + version}
        client.notify("textDocument/didChange", textDocument={"uri": path.as_uri(), "version": 2 + version},
                      contentChanges=[{"range": {"start": where, "end": where}, "text": "x"}])
        client.findings(path, 2 + version)
    before = process_time(client.process.pid)
    took = sorted(milliseconds(lambda: type_letter(version)) for version in range(KEYSTROKES))
    return (process_time(client.process.pid) - before) / KEYSTROKES, statistics.median(took), took[-1]


def start(program, root, path, **options):
    client = Client(program)
    client.initialize(root, **options)
    client.open(path)
    client.findings(path)
    return client


def print_keystrokes(program, scratch):
    print("| files | lines | nodes | whole check: processor ms | by the clock | keystroke: processor ms | by the clock | worst of 60 |")
    print("|---|---|---|---|---|---|---|---|")
    for files in (10, 100, 400):
        folder = scratch / f"w{files}"
        path, lines = write_workspace(folder, files)
        client = start(program, folder, path, templates="t", data="data.json")
        row = path.read_text().split("\n").index("Fmt: line 3 %s")
        took = keystrokes(client, path, (row, 6))
        client.end()
        whole = check_time(program, folder / "t", folder / "data.json")
        nodes = sum(file.read_text().count("\nCmd:") for file in folder.glob("t/*.tvr"))
        print(f"| {files} | {lines:,} | {nodes:,} | {whole[0]:.0f} | {whole[1]:.0f} | {took[0]:.1f} | "
              f"{took[1]:.0f} | {took[2]:.0f} |", flush=True)


def print_hovers(program, generator, templates, sizes, scratch):
    """Over data files of `sizes` interfaces: a keystroke does not read the data again, a hover renders it."""
    print("| N | data MB | keystroke ms | hover ms, by the clock | again |")
    print("|---|---|---|---|---|")
    for size in sizes:
        data, path = scratch / f"router-{size}.json", next(templates.glob("*.tvr"))
        with data.open("w") as file:
            subprocess.run([generator, "router", str(size)], check=True, stdout=file)
        client = start(program, templates, path, templates=str(templates), data=str(data))
        lines = path.read_text().split("\n")
        row = next(i for i, line in enumerate(lines) if line.startswith("Fmt:"))
        place = client.at(path, row, 6)
        first, again = (milliseconds(lambda: client.request("textDocument/hover", **place)) for _ in range(2))
        took = keystrokes(client, path, (row, 6))
        client.end()
        print(f"| {size:,} | {data.stat().st_size / 1e6:.1f} | {took[0]:.1f} | {first:.0f} | {again:.1f} |",
              flush=True)


def print_all(programs, templates, sizes, scratch):
    print_keystrokes(programs / "tovra", scratch)
    print()
    print_hovers(programs / "tovra", programs / "tovra_bench_data", templates, sizes, scratch)
