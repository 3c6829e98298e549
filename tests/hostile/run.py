#!/usr/bin/env python3
"""Runs the hostile sizes through the host program: the exact text or the exact error, on a small stack.

run.py --tovra PROGRAM [--divide N] [--stack KIB] [--memory MIB] [--times] [CASE...]: --divide makes every
size N times smaller; --times prints the seconds of processor time at the size and at twice the size, best of
three.
"""
import argparse
import resource
import subprocess
import sys
import tempfile
from pathlib import Path

from cases import CASES

SECONDS = 300


def prepare(tovra, run, folder):
    templates = folder / "t"
    templates.mkdir()
    for name, text in {"0.tvr": run.templates, **run.files}.items():
        (templates / name).write_text(text)
    (folder / "d.json").write_text(run.data)
    verb, *words = run.command
    argv = [str(tovra), verb, *words]
    if verb != "get":
        argv += ["--templates", "t"]
    if verb != "tree":
        argv += ["--data", "d.json"]
    return argv


def execute(argv, folder, stack_kib, memory_mib):
    """Status, text, errors and seconds of processor time of one run."""
    def bound():
        resource.setrlimit(resource.RLIMIT_STACK, (stack_kib << 10, resource.RLIM_INFINITY))
        if memory_mib:
            resource.setrlimit(resource.RLIMIT_AS, (memory_mib << 20, memory_mib << 20))

    def used():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime

    before = used()
    with (folder / "out").open("wb") as out, (folder / "err").open("wb") as err:
        status = subprocess.run(argv, cwd=folder, stdout=out, stderr=err, preexec_fn=bound,
                                timeout=SECONDS).returncode
    seconds = used() - before
    errors = (folder / "err").read_bytes().splitlines(keepends=True)
    errors = b"".join(line for line in errors if not line.startswith(b"  at "))  # not the places
    return status, (folder / "out").read_bytes(), errors, seconds


def shown(what):
    text = repr(what)
    return text if len(text) < 200 else f"{text[:120]} ... {text[-60:]} ({len(what)} bytes)"


def differences(run, status, out, err):
    for what, wanted, got in (("status", run.status, status), ("text", run.out.encode(), out),
                              ("errors", run.err.encode(), err)):
        if wanted != got:
            yield f"{what}: {shown(got)} instead of {shown(wanted)}"


def check(options, name, size, repeat):
    """The best time of a case at a size, or none when it does not do what it should."""
    run = CASES[name][0](size)
    best = None
    with tempfile.TemporaryDirectory() as scratch:
        argv = prepare(options.tovra.resolve(), run, Path(scratch))
        for _ in range(repeat):
            try:
                stack_kib = max(run.stack_kib, options.stack)
                *got, seconds = execute(argv, Path(scratch), stack_kib, options.memory)
            except subprocess.TimeoutExpired:
                print(f"{name} {size}: not done within {SECONDS} seconds", flush=True)
                return None
            wrong = list(differences(run, *got))
            for difference in wrong:
                print(f"{name} {size}: {difference}", flush=True)
            if wrong:
                return None
            best = seconds if best is None else min(best, seconds)
    return best


def main():
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("--tovra", required=True, type=Path)
    options.add_argument("--divide", type=int, default=1)
    options.add_argument("--stack", type=int, default=256, help="KiB")
    options.add_argument("--memory", type=int, default=0, help="MiB of address space")
    options.add_argument("--times", action="store_true")
    options.add_argument("cases", nargs="*", metavar="CASE")
    options = options.parse_args()
    failed = 0
    if options.times:
        print("| case | size | s | s at twice the size | ratio |\n|---|---|---|---|---|")
    for name in options.cases or CASES:
        size = max(1, CASES[name][1] // options.divide)
        sizes = (size, 2 * size) if options.times else (size,)
        seconds = [check(options, name, n, 3 if options.times else 1) for n in sizes]
        failed += None in seconds
        if options.times and None not in seconds:
            once, twice = seconds
            ratio = twice / max(once, 0.001)
            print(f"| {name} | {size:,} | {once:.2f} | {twice:.2f} | {ratio:.1f} |", flush=True)
    print(f"{len(options.cases or CASES)} cases, {failed} failed", file=sys.stderr)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
