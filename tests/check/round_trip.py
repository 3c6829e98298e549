#!/usr/bin/env python3
"""round_trip.py TOVRA DATA...: what `tovra schema` draws from data files refuses none of them: each alone, and all."""
import pathlib
import subprocess
import sys
import tempfile


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=300)


def main():
    tovra, *files = sys.argv[1:]
    files = [file for file in files if run(tovra, "get", "--data", file).returncode == 0]
    faults = 0
    with tempfile.TemporaryDirectory() as folder:
        fleet = pathlib.Path(folder, "fleet.json")
        for drawn_from in [files, *([file] for file in files)]:
            fleet.write_text(run(tovra, "schema", *drawn_from).stdout)
            for file in drawn_from:
                got = run(tovra, "get", "--data", file, "--classes", fleet)
                faults += got.returncode != 0
                print(got.stderr, end="")
    print(f"{len(files)} files, {faults} refused")
    return 1 if faults or len(files) < 50 else 0


if __name__ == "__main__":
    sys.exit(main())
