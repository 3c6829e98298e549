#!/usr/bin/env python3
"""Runs the examples of the guides, which are fenced blocks, in the order in which they stand.

  tvr     template text, until the next; blocks without a run between them are files of one directory, in order
  json    the data file, until the next heading or the next `json`
  sh      the next run, a command line of tovra without its files; without this block `tovra render`
  text    what that run writes to standard output and then to standard error; `...` ends a line whose rest varies

`tvr always` and `json always` hold for the whole guide: such templates stand before those of every example, such
data is read where an example has none. A block that no run uses is a fault. A block with a name, as `json new.json`,
is a file; the runs of a guide with such files are shell commands among them, which nothing is added to.
With --man PAGE the manual page must name every command and option that the program's help does, and no other.

  run.py [--tovra PROGRAM] [--keywords] [--update] [--man PAGE] [GUIDE...]
"""
import argparse
import difflib
import os
import re
import shlex
import subprocess
import sys
import tempfile
from pathlib import Path

KEYWORDS = ("Cmd", "Parent Cmd", "Op", "Uri", "Query", "Fmt", "Dest", "Props", "Location", "Newline", "Cond", "ValueMap",
            "Orderby", "Group", "LocationScheme", "TvrLangVersion")


class Block:
    def __init__(self, info, line):
        self.kind, *self.words = info.split()
        self.line, self.text, self.used = line, "", False


def blocks(lines):
    """Yields each fenced block, and None for each heading."""
    block = None
    for number, line in enumerate(lines, 1):
        if block is None and line.startswith("#"):
            yield None
        elif block is None and line.startswith("```"):
            block = Block(line[3:], number)
        elif block is not None and line.rstrip() == "```":
            yield block
            block = None
        elif block is not None:
            block.text += line + "\n"
    assert block is None, f"line {block.line}: no end of block"


def run(program, command, templates, data):
    with tempfile.TemporaryDirectory() as folder:
        args = shlex.split(command)
        assert args[0] == "tovra", command
        Path(folder, "t").mkdir()
        for number, block in enumerate(templates):
            block.used = True
            Path(folder, "t", f"{number:02}.tvr").write_text(block.text)
        Path(folder, "data.json").write_text(data.text)
        data.used = True
        files = ([] if args[1] == "get" else ["--templates", "t"]) + ([] if args[1] == "tree" else ["--data", "data.json"])
        done = subprocess.run([program, args[1], *files, *args[2:]], cwd=folder, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=60)
    return (done.stdout + done.stderr).decode()


def run_among(program, command, files):
    with tempfile.TemporaryDirectory() as folder:
        for name, block in files.items():
            block.used = True
            Path(folder, name).parent.mkdir(parents=True, exist_ok=True)
            Path(folder, name).write_text(block.text)
        done = subprocess.run(["sh", "-c", command], cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=60,
                              env={**os.environ, "PATH": f"{Path(program).parent}:{os.environ['PATH']}"})
    return done.stdout.decode()


def same(wanted, got):
    wanted, got = wanted.splitlines(), got.splitlines()
    return len(wanted) == len(got) and all(
        line.startswith(want[:-3]) if want.endswith("...") else line == want for want, line in zip(wanted, got))


def check(program, guide, faults):
    """Runs the examples of one guide; returns the runs as (their expected block, what came) and the templates."""
    always, templates, fresh = [], [], True
    shared, data, command, runs, seen, files = None, None, None, [], [], {}
    for block in blocks(guide.read_text().splitlines()):
        if block is None:
            data, command, fresh = None, None, True
        elif block.words and block.words[0] != "always":
            files[block.words[0]] = block
            seen.append(block)
            continue
        elif block.kind == "tvr" and "always" in block.words:
            always.append(block)
        elif block.kind == "tvr":
            templates, fresh = ([] if fresh else templates) + [block], False
        elif block.kind == "json" and "always" in block.words:
            shared = block
        elif block.kind == "json":
            data = block
        elif block.kind == "sh":
            command = block
        elif block.kind == "text":
            got = run_among(program, command.text, files) if files else run(
                program, command.text if command else "tovra render", always + templates, data or shared)
            if command:
                command.used = True
            command, fresh = None, True
            runs.append((block, got))
            if not same(block.text, got):
                faults.append(f"{guide}:{block.line}: this is not what comes")
                faults.extend("  " + line for line in difflib.unified_diff(
                    block.text.splitlines(), got.splitlines(), "guide", "program", lineterm=""))
        if block is not None and block.kind in ("tvr", "json", "sh"):
            seen.append(block)
    faults.extend(f"{guide}:{block.line}: no run uses this block" for block in seen if not block.used)
    return runs, "".join(block.text for block in seen if block.kind == "tvr")


def rewrite(guide, runs):
    lines = guide.read_text().splitlines()
    for block, got in reversed(runs):
        if not same(block.text, got):
            lines[block.line:block.line + block.text.count("\n")] = got.splitlines()
    guide.write_text("\n".join(lines) + "\n")


def options(text):
    return set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", text))


def check_manual(program, page):
    def help_of(*command):
        return subprocess.run([program, *command, "--help"], capture_output=True, text=True, timeout=60).stdout

    commands = re.findall(r"^  ([a-z]+) ", help_of().split("Subcommands:")[1], re.MULTILINE)
    text = re.sub(r"\\(?=-)", "", page.read_text())
    wanted, named = options(help_of()).union(*(options(help_of(command)) for command in commands)), set()
    for line in text.splitlines():
        named |= options(re.sub(r"\bFl -", "--", line))
    yield from (f"{page}: command {command} is missing" for command in commands if f".It Cm {command}\n" not in text)
    yield from (f"{page}: {option} is missing" for option in sorted(wanted - named))
    yield from (f"{page}: {option} is no option" for option in sorted(named - wanted))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tovra", default="build/release/bin/tovra")
    parser.add_argument("--keywords", action="store_true", help="every keyword must be in an example")
    parser.add_argument("--update", action="store_true", help="write into the guides what the program gives")
    parser.add_argument("--man", type=Path, metavar="PAGE")
    parser.add_argument("guides", nargs="*", type=Path)
    asked = parser.parse_args()
    program, faults, text, total = str(Path(asked.tovra).resolve()), [], "", 0
    for guide in asked.guides:
        runs, templates = check(program, guide, faults)
        total, text = total + len(runs), text + templates
        if not runs:
            faults.append(f"{guide}: no example")
        if asked.update:
            rewrite(guide, runs)
    if asked.keywords:
        faults.extend(f"keyword {word} is in no example" for word in KEYWORDS
                      if not re.search(rf"^\s*{word}:", text, re.MULTILINE))
    if asked.man:
        faults.extend(check_manual(program, asked.man))
    print("\n".join(faults + [f"{total} examples"]))
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
