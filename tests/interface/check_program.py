#!/usr/bin/env python3
"""What the program does beside rendering: files that it writes, streams that it waits for, terminals, completion.

  check_program.py TOVRA SOURCES
"""
import os
import pty
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from contextlib import suppress
from pathlib import Path

TOVRA, SOURCES = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
EXAMPLE = SOURCES / "examples/edge-router"
RENDER = [TOVRA, "render", "--templates", "templates", "--data", "data.json"]
WANTED = (EXAMPLE / "expected/all.txt").read_bytes()


def run(*command, **options):
    return subprocess.run([str(word) for word in command], cwd=options.pop("cwd", EXAMPLE), capture_output=True,
                          timeout=60, **options)


class OutputFile(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)
        self.file = self.folder / "config.txt"

    def test_is_written_whole_with_the_mode_and_through_the_link_of_the_old_one(self):
        self.assertEqual(run(*RENDER, "--output", self.file).returncode, 0)
        self.assertEqual(self.file.read_bytes(), WANTED)
        self.file.write_text("old")
        self.file.chmod(0o640)
        link = self.folder / "link"
        link.symlink_to("config.txt")
        self.assertEqual(run(*RENDER, "--output", link).stdout, b"")
        self.assertEqual(self.file.read_bytes(), WANTED)
        self.assertEqual(self.file.stat().st_mode & 0o777, 0o640)
        self.assertTrue(link.is_symlink())

    def test_stays_as_it_was_after_an_error_and_nothing_is_left_beside_it(self):
        self.file.write_text("old")
        self.assertEqual(run(*RENDER, "nowhere", "--output", self.file).returncode, 1)
        full = run("bash", "-c", 'ulimit -f 1; trap "" XFSZ; exec "$@"', "-", *RENDER, "--output", self.file)
        self.assertEqual(full.returncode, 1)
        self.assertIn(b"cannot be written", full.stderr)
        self.assertEqual([self.file], list(self.folder.iterdir()))
        self.assertEqual(self.file.read_text(), "old")

    def test_is_not_left_half_by_a_signal(self):
        pipe = self.folder / "data"
        os.mkfifo(pipe)
        # The second data file is waited for while the new file is open.
        job = subprocess.Popen([*RENDER, "--output", self.file, "--named", f"x={pipe}"], cwd=EXAMPLE)
        deadline = time.monotonic() + 20
        while len(list(self.folder.iterdir())) < 2 and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertEqual(len(list(self.folder.iterdir())), 2)
        job.send_signal(signal.SIGTERM)
        self.assertEqual(job.wait(20), -signal.SIGTERM)
        self.assertEqual(list(self.folder.iterdir()), [pipe])

    def test_holds_nothing_of_what_is_said_to_a_closed_stream(self):
        for closing in ("2>&-", ">&- 2>&-", "<&- 2>&-"):
            done = run("sh", "-c", f'"$@" {closing}', "sh", *RENDER, "--arg", "a=b", "--output", self.file)
            self.assertEqual((done.returncode, self.file.read_bytes()), (0, WANTED))

    def test_replaces_no_device(self):
        done = run(*RENDER, "--output", "/dev/null")
        self.assertEqual((done.returncode, done.stderr), (1, b"tovra: --output /dev/null: not a regular file\n"))


class Streams(unittest.TestCase):
    def test_an_output_that_does_not_block_is_waited_for(self):
        out, into = os.pipe()
        os.set_blocking(into, False)
        job = subprocess.Popen([TOVRA, "get", "--data", "-", "/a?p"], stdin=subprocess.PIPE, stdout=into)
        os.close(into)
        records = ",".join(f'"/a/p;k={i}": {{"v": "{"x" * 50}"}}' for i in range(5000))
        job.stdin.write(f'{{"records": {{{records}}}}}'.encode())
        job.stdin.close()
        time.sleep(0.3)
        with os.fdopen(out, "rb") as stream:
            lines = stream.read().count(b"\n")
        self.assertEqual((job.wait(20), lines), (0, 5000))

    def test_help_that_cannot_be_written_is_a_failure(self):
        for words in (["--help"], ["render", "--help"], ["--version"], ["help", "get"]):
            with open("/dev/full", "wb") as full:
                done = subprocess.run([TOVRA, *words], stdout=full, stderr=subprocess.PIPE, timeout=20)
            self.assertEqual((done.returncode, done.stderr), (1, b"tovra: standard output cannot be written\n"))


class Links(unittest.TestCase):
    """Files that would be in the way of whoever reads the repository: links to a device, to themselves, nowhere."""

    TO = {"loop": ("a.tvr", "Unable to open file for reading", "Too many levels of symbolic links"),
          "nowhere": ("missing", "Unable to open file for reading", "No such file or directory"),
          "through": ("../good/a.tvr/x", "Unable to open file for reading", "Not a directory"),
          "device": ("/dev/zero", "not a regular file", None)}

    def test_are_refused_and_named(self):
        with tempfile.TemporaryDirectory() as scratch:
            folder = Path(scratch)
            for name, (target, _, _) in {"good": ("/dev/null", "", ""), **self.TO}.items():
                (folder / name).mkdir()
                (folder / name / "a.tvr").symlink_to(target)
            (folder / "good/a.tvr").unlink()
            (folder / "good/a.tvr").write_text("Cmd: config\n")
            (folder / "data.json").symlink_to("data.json")
            for name, (_, told, why) in self.TO.items():
                done = run(TOVRA, "tree", "--templates", name, cwd=folder)
                self.assertEqual((done.returncode, done.stderr.decode()), (1, f"{name}/a.tvr: {told}\n"))
                done = run(TOVRA, "check", "--templates", name, cwd=folder)
                reason = f"Unable to read contents of file {name}/a.tvr: {why}" if why else told
                self.assertIn(f"{name}/a.tvr: error [refused]: {reason}\n", done.stdout.decode())
            done = run(TOVRA, "get", "--data", "data.json", "/a", cwd=folder)
            self.assertEqual(done.stderr, b"data.json: Too many levels of symbolic links\n")


class Templates(unittest.TestCase):
    def test_that_change_after_the_check_are_not_rendered(self):
        whole = "Cmd: config\nCmd: a\nParent Cmd: config\nOp: print_if\nFmt: a\nNewline:\n"

        def cut(file):
            file.write_text(whole[:40])

        def exchange(file):  # as long, and as old
            about = file.stat()
            file.write_text(whole.replace("Fmt: a", "Fmt: b"))
            os.utime(file, ns=(about.st_atime_ns, about.st_mtime_ns))

        changes = {"cut": cut, "exchange": exchange, "remove": Path.unlink,
                   "add": lambda file: file.with_name("b.tvr").write_text("# more\n"), "none": lambda file: None}
        for name, change in changes.items():
            with self.subTest(name), tempfile.TemporaryDirectory() as scratch:
                folder = Path(scratch)
                (folder / "t").mkdir()
                (folder / "t/a.tvr").write_text(whole)
                os.mkfifo(folder / "data")
                job = subprocess.Popen([TOVRA, "render", "--templates", "t", "--data", "data"], cwd=folder,
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                with open(folder / "data", "w") as data:  # opened once the templates are checked
                    change(folder / "t/a.tvr")
                    data.write('{"records": {}}')
                got = (*job.communicate(timeout=20), job.returncode)
                file = b"t/b.tvr" if name == "add" else b"t/a.tvr"
                self.assertEqual(got, (b"a\n", b"", 0) if name == "none" else
                                 (b"", file + b": changed while it was read\n", 1))


class Memory(unittest.TestCase):
    def test_that_ends_is_told(self):
        def limited(kilobytes, *words):
            return run("bash", "-c", f'ulimit -v {kilobytes}; exec "$@"', "-", TOVRA, *words)

        if limited(100_000, "--version").returncode != 0:
            self.skipTest("a sanitizer takes more memory than any limit")
        with tempfile.TemporaryDirectory() as folder:
            nodes = "".join(f"Cmd: n{i}\nParent Cmd: config\nOp: no_op\n" for i in range(30_000))
            (Path(folder) / "a.tvr").write_text("Cmd: config\nOp: no_op\n" + nodes)
            least = next(limit for limit in range(8_000, 100_000, 500) if limited(limit, "--version").returncode == 0)
            told = set()
            for limit in range(least, least + 16_000, 1_000):
                for command in ("tree", "check"):
                    done = limited(limit, command, "--templates", folder)
                    if b"GSlice" not in done.stderr:  # GLib ends the process where its own memory ends
                        self.assertIn(done.returncode, (0, 1), done.stderr)
                    told.add(done.stderr)
            self.assertIn(b"tovra: out of memory\n", told)


class Terminal(unittest.TestCase):
    def test_sees_what_takes_long_and_colours(self):
        with tempfile.TemporaryDirectory() as scratch:
            pipe = Path(scratch) / "data.json"
            os.mkfifo(pipe)
            ours, theirs = pty.openpty()
            environment = {**os.environ, "TERM": "xterm"}
            environment.pop("NO_COLOR", None)
            job = subprocess.Popen([TOVRA, "render", "nowhere", "--templates", "templates", "--data", pipe],
                                   cwd=EXAMPLE, stdout=subprocess.DEVNULL, stderr=theirs, env=environment)
            os.close(theirs)
            time.sleep(1.5)
            pipe.write_bytes((EXAMPLE / "data.json").read_bytes())
            job.wait(20)
            text = b""
            while select.select([ours], [], [], 0)[0]:
                try:
                    text += os.read(ours, 4096)
                except OSError:  # the other side is closed
                    break
            os.close(ours)
        status = f"loading {pipe} ... 1 s".encode()
        self.assertIn(status, text)
        self.assertIn(b"\r\x1b[K\x1b[31merror 10000:\x1b[0m", text)


class Completion(unittest.TestCase):
    LINES = {
        "tovra re": "render",
        "tovra --v": "--version",
        "tovra help tr": "tree",
        "tovra render --tem": "--templates",
        "tovra check --st": "--strict",
        "tovra render --templates tem": "templates",
        "tovra render --templates templates:tem": "templates",
        "tovra render --templates templates --data data.json interface-de": "interface-description",
        "tovra get --data data.json /snmp/": "/snmp/community /snmp/host",
        "tovra render --named main=data": "data.json",
        "tovra render --named main=data.json --config ": "main",
        "tovra render --color n": "never",
        "tovra export --format ya": "yaml",
        "tovra explain --li": "--line",
        "tovra explain --templates templates --node interface-de": "interface-description",
        "tovra test --junit data": "data.json",
        "tovra render --fetch-count ": "",
    }

    ENVIRONMENT = {**os.environ, "PATH": f"{TOVRA.parent}:{os.environ['PATH']}"}

    def test_in_bash(self):
        script = f"""
            source {SOURCES}/completions/tovra.bash
            while IFS= read -r COMP_LINE; do
              COMP_POINT=${{#COMP_LINE}} COMP_WORDBREAKS=$' \\t\\n"\\'><=;|&(:'
              _tovra
              echo "${{COMPREPLY[*]}}"
            done"""
        done = run("bash", "-c", script, input="\n".join([*self.LINES, ""]).encode(), env=self.ENVIRONMENT)
        self.assertEqual(dict(zip(self.LINES, done.stdout.decode().split("\n"))), self.LINES)

    @unittest.skipUnless(shutil.which("fish"), "there is no fish")
    def test_in_fish(self):
        script = f"source {SOURCES}/completions/tovra.fish; while read -l line; complete -C $line; echo .; end"
        done = run("fish", "--no-config", "-c", script, input="\n".join([*self.LINES, ""]).encode(), env=self.ENVIRONMENT)
        for line, answer in zip(self.LINES, done.stdout.decode().split(".\n")):
            words = [word.split("\t")[0].rstrip("/") for word in answer.split("\n") if word]
            begun = line[line.rfind(" ") + 1:max(line.rfind(":"), line.rfind("=")) + 1]  # of a word of several parts
            self.assertEqual(words, [begun + word for word in self.LINES[line].split()], line)

    @unittest.skipUnless(shutil.which("zsh"), "there is no zsh")
    def test_in_zsh(self):
        """Keys as a user presses them; after each line one that writes down what has become of it."""
        ours, theirs = pty.openpty()
        with tempfile.TemporaryDirectory() as scratch:
            (Path(scratch) / ".zshrc").write_text(f"""
                fpath=({SOURCES}/completions $fpath); autoload -Uz compinit; compinit -D -u; unsetopt beep; zstyle ':completion:*' insert-tab no
                note() {{ print -r -- "$BUFFER" >> {scratch}/lines; BUFFER= }}
                zle -N note; bindkey '^]' note; bindkey '^I' complete-word; PS1=ready""")
            job = subprocess.Popen(["zsh", "-d", "-i"], cwd=EXAMPLE, stdin=theirs, stdout=theirs, stderr=theirs,
                                   start_new_session=True, env={**self.ENVIRONMENT, "ZDOTDIR": scratch, "TERM": "xterm"})
            os.close(theirs)
            said = b""
            with suppress(OSError):  # the other side is closed
                while b"ready" not in said and select.select([ours], [], [], 20)[0]:
                    said += os.read(ours, 4096)
                os.write(ours, "".join(f"{line}\t\x1d" for line in self.LINES).encode() + b"exit\r")
                while select.select([ours], [], [], 20)[0]:
                    os.read(ours, 4096)
            job.kill()
            job.wait(20)
            os.close(ours)
            got = (Path(scratch) / "lines").read_text().split("\n")
        for line, answer in zip(self.LINES, got):
            words = self.LINES[line].split()
            begun = line[:max(line.rfind(" "), line.rfind(":"), line.rfind("=")) + 1]
            self.assertEqual(answer.rstrip(" /"), begun + words[0] if len(words) == 1 else line.rstrip(" /"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
