#!/usr/bin/env python3
"""check_queue.py TOVRA: workers of `tovra fleet --queue` over a Redis server of their own, one of which is killed."""
import json
import os
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

from check_fleet import TEMPLATES, data, text

TOVRA = Path(sys.argv[1]).resolve()
DEVICES = 40


def free_port():
    with socket.socket() as asked:
        asked.bind(("127.0.0.1", 0))
        return asked.getsockname()[1]


class Queue(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)
        for name in ("t", "d", "o"):
            (self.folder / name).mkdir()
        (self.folder / "t/a.tvr").write_text(TEMPLATES)
        for n in range(DEVICES):
            (self.folder / f"d/r{n:02}.json").write_text(data(n))
        self.port = free_port()
        self.server = subprocess.Popen(["redis-server", "--bind", "127.0.0.1", "--port", str(self.port), "--dir", scratch.name,
                                        "--save", "", "--appendonly", "no"], stdout=subprocess.DEVNULL)
        self.addCleanup(self.server.wait)
        self.addCleanup(self.server.kill)
        self.until(lambda: self.redis("ping") == "PONG")

    def redis(self, *words):
        return subprocess.run(["redis-cli", "-p", str(self.port), *words], capture_output=True, text=True).stdout.strip()

    def until(self, holds):
        end = time.monotonic() + 30
        while not holds() and time.monotonic() < end:
            time.sleep(0.005)
        self.assertTrue(holds())

    def worker(self, *more):
        job = subprocess.Popen([TOVRA, "fleet", "--templates", "t", "--data", "d", "--out", "o", "--format", "json", "--jobs", "1",
                                "--queue", f"redis://127.0.0.1:{self.port}/0?prefix=p", *more], cwd=self.folder,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(job.stdout.close)
        self.addCleanup(job.stderr.close)
        self.addCleanup(job.wait)
        self.addCleanup(job.kill)
        return job

    def end(self, *jobs):
        """The report over all, and those of parts."""
        told = [json.loads(job.communicate(timeout=50)[0]) for job in jobs]
        whole = [one for one in told if "part" not in one]
        self.assertEqual(len(whole), 1, told)
        self.assertRegex(self.redis("keys", "*"), r"\Ap:\{fleet-\d+\}:ended\Z")
        return whole[0], [one for one in told if "part" in one]

    def slow_device(self, name):
        """Its render waits until the data is written into the pipe."""
        (self.folder / f"d/{name}.json").unlink()
        os.mkfifo(self.folder / f"d/{name}.json")

    def check_texts(self):
        self.assertEqual({file.name: file.read_text() for file in (self.folder / "o").iterdir()},
                         {f"r{n:02}.txt": text(n) for n in range(DEVICES)})

    def test_is_shared_and_the_last_one_reports(self):
        for name in ("r00", "r01"):
            self.slow_device(name)
        jobs = [self.worker(), self.worker()]
        for n in (0, 1):  # each has one of them now
            (self.folder / f"d/r0{n}.json").write_text(data(n))
        whole, parts = self.end(*jobs)
        self.assertEqual((whole["devices"], len(whole["changed"]), whole["failed"]), (DEVICES, DEVICES, []))
        self.assertGreater(parts[0]["devices"], 0)
        self.assertLess(parts[0]["devices"], DEVICES)
        self.check_texts()
        for n in (0, 1):
            (self.folder / f"d/r0{n}.json").unlink()
            (self.folder / f"d/r0{n}.json").write_text(data(n))
        (self.folder / "d/r05.json").write_text("{")
        job = self.worker()
        whole, parts = self.end(job)  # another run
        self.assertEqual((whole["devices"], whole["unchanged"], whole["failed"], job.returncode),
                         (DEVICES, DEVICES - 1, ["r05"], 1))

    def test_gives_the_device_of_a_killed_worker_to_another(self):
        self.slow_device("r07")
        killed = self.worker("--idle", "1")
        self.until(lambda: len(list((self.folder / "o").iterdir())) == 7)
        time.sleep(0.1)
        killed.send_signal(signal.SIGKILL)
        killed.wait()
        (self.folder / "d/r07.json").unlink()
        (self.folder / "d/r07.json").write_text(data(7))
        whole, parts = self.end(self.worker("--idle", "1"), self.worker("--idle", "1"))
        self.assertEqual((whole["devices"], len(whole["changed"])), (DEVICES, DEVICES))
        self.check_texts()

    def test_says_when_the_queue_is_lost(self):
        self.slow_device("r02")
        job = self.worker()
        self.until(lambda: len(list((self.folder / "o").iterdir())) == 2)
        self.redis("flushall")
        (self.folder / "d/r02.json").write_text(data(2))
        told = job.communicate(timeout=30)
        self.assertEqual((job.returncode, told[0]), (1, ""))
        self.assertIn("the run is gone, which was not at its end", told[1])
        self.server.kill()
        self.server.wait()
        self.assertEqual(self.worker().wait(20), 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
