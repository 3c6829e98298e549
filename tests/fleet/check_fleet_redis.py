#!/usr/bin/env python3
"""check_fleet_redis.py TOVRA: fleets over Redis servers of their own: texts that are put there, workers that share a queue,
one of which is killed, and all of it in a cluster."""
import contextlib
import json
import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "sources"))
from check_fleet import TEMPLATES, data, text  # noqa: E402
from redis_servers import Server, cluster_of, end_all, free_port  # noqa: E402

TOVRA = Path(sys.argv[1]).resolve()
DEVICES, FEW = 40, 10


class Fleets(unittest.TestCase):
    """A folder of devices, and a server."""

    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)
        for name in ("t", "d", "o"):
            (self.folder / name).mkdir()
        (self.folder / "t/a.tvr").write_text(TEMPLATES)
        for n in range(DEVICES):
            (self.folder / f"d/r{n:02}.json").write_text(data(n))
        self.addCleanup(end_all)
        self.server = self.start()

    def start(self, *options):
        return Server(self.folder / f"server{len(Server.started)}", *options)

    def redis(self, *words):
        return self.server.cli(*words)

    def until(self, holds):
        end = time.monotonic() + 30
        while not holds() and time.monotonic() < end:
            time.sleep(0.005)
        self.assertTrue(holds())

    def slow_device(self, name):
        """Its render waits until its data is told."""
        (self.folder / f"d/{name}.json").unlink()
        os.mkfifo(self.folder / f"d/{name}.json")

    @contextlib.contextmanager
    def rendering(self, name, content=""):
        """While the worker waits for the data of a slow device, which is told at the end."""
        def has_reader():
            with contextlib.suppress(OSError):
                pipes[:] = pipes or [os.open(self.folder / f"d/{name}.json", os.O_WRONLY | os.O_NONBLOCK)]
            return pipes

        pipes = []
        self.until(has_reader)
        yield
        if content:
            os.write(pipes[0], content.encode())
        os.close(pipes[0])

    def worker(self, *more, source="d", out="o", queue=None, jobs=1):
        """Without a queue it works alone."""
        shared = ["--queue", queue] if queue else []
        job = subprocess.Popen([TOVRA, "fleet", "--templates", "t", "--data", source, "--out", out, "--format", "json", "--jobs",
                                str(jobs), *shared, *more], cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
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
        return whole[0], [one for one in told if "part" in one]


class Texts(Fleets):
    def setUp(self):
        super().setUp()
        self.out = self.server.name("prefix=p")

    def run_fleet(self, *more, status=0, **how):
        job = self.worker(*more, **{"out": self.out, **how})
        told, said = job.communicate(timeout=50)
        self.assertEqual(job.returncode, status, said)
        return json.loads(told) if told else None, said

    def texts(self):
        names = self.redis("smembers", "p:texts").split()
        return {name: self.redis("get", f"p:texts:{{{name}}}") + "\n" for name in names}

    def test_are_put_where_they_are_told_to_be_and_only_what_changed(self):
        wanted = {f"r{n:02}": text(n) for n in range(DEVICES)}
        self.assertEqual(len(self.run_fleet(jobs=4)[0]["changed"]), DEVICES)
        self.assertEqual(self.texts(), wanted)
        (self.folder / "d/r03.json").write_text(data("fast"))
        (self.folder / "d/r04.json").write_text("{")
        for name in ("r05", "r16"):
            (self.folder / f"d/{name}.json").unlink()
        self.redis("sadd", "p:texts", "begun")  # nobody has put its text
        self.redis("config", "resetstat")
        told, said = self.run_fleet(status=1)
        self.assertEqual((told["changed"], told["failed"], told["gone"]), (["r03"], ["r04"], ["r05", "r16"]), said)
        self.assertIn("cmdstat_set:calls=1,", self.redis("info", "commandstats"))
        self.assertEqual(self.run_fleet("--devices", "r0*", "--delete", status=1)[0]["removed"], ["r05"])
        self.assertEqual(self.redis("exists", "p:texts:{r05}", "p:texts:{r16}"), "1")
        for name in ("begun", "r16"):
            self.redis("srem", "p:texts", name)
        self.assertEqual(self.texts(), {name: "fast".join(wanted[name].split("3")) if name == "r03" else wanted[name]
                                        for name in wanted if name not in ("r05", "r16")})

    def test_stand_beside_what_else_the_server_has(self):
        self.run_fleet()
        for key in ("r01", "gone"):
            self.redis("del", f"p:texts:{{{key}}}")
            self.redis("lpush", f"p:texts:{{{key}}}", "x")
        self.redis("sadd", "p:texts", "gone")
        told, said = self.run_fleet("--delete", status=1)
        self.assertEqual((told["failed"], told["unchanged"], told["removed"]), (["r01"], DEVICES - 1, []))
        for words in ("r01: redis+unix:", " GET p:texts:{r01}: WRONGTYPE", "tovra: --out redis+unix:",
                      " EVAL p:texts:{gone}: WRONGTYPE"):
            self.assertIn(words, said)
        self.assertEqual(self.redis("exists", "p:texts:{gone}", "p:texts:{r01}"), "2")
        self.redis("config", "set", "maxmemory", "1")
        (self.folder / "d/r02.json").write_text(data("new"))
        self.assertIn("OOM", self.run_fleet(status=1)[1])
        self.assertEqual(self.redis("get", "p:texts:{r02}") + "\n", text(2))

    def test_are_not_told_of_when_the_server_has_no_command_for_them(self):
        said = self.run_fleet(out=self.start("--rename-command", "SET", "").name(), status=1)[1]
        self.assertIn("SET tovra:texts:{r00}: ERR unknown command", said)
        self.assertNotIn("port 0 speed", said)

    def test_are_refused_before_anything_is_rendered(self):
        locked, refused = self.start("--requirepass", "geheim"), f"redis://127.0.0.1:{free_port()}"
        self.redis("set", "taken:texts", "x")
        for out, words in ((self.out + "&device=x", "it names one device"), (refused, "Connection refused"),
                           (locked.name(), "SCARD tovra:texts: NOAUTH"), ("redis://u:geheim@h", "a password stands in"),
                           (self.server.name("prefix=taken"), "SCARD taken:texts: WRONGTYPE")):
            told, said = self.run_fleet(out=out, status=1)
            self.assertEqual((told, said.count("\n"), "geheim" in said), (None, 1, False), said)
            self.assertTrue(said.startswith("tovra: --out redis") and words in said, said)

    def test_are_whole_when_the_server_is_lost_in_between(self):
        self.slow_device("r02")
        job = self.worker(out=self.out)
        with self.rendering("r02", data(2)):
            self.server.kill()
            self.server.start()  # which has forgotten all
        told, said = job.communicate(timeout=50)
        told = json.loads(told)
        self.assertEqual((told["failed"], len(told["changed"]), job.returncode), (["r02"], DEVICES - 1, 1), said)
        self.assertRegex(said, r"\Ar02: redis.*: GET p:texts:\{r02\}: .*\n\Z")
        self.assertEqual((self.redis("exists", "p:texts:{r02}"), self.redis("get", "p:texts:{r03}") + "\n"), ("0", text(3)))


class Queue(Fleets):
    def worker(self, *more, **how):
        return super().worker(*more, queue=how.pop("queue", self.server.name("prefix=p")), **how)

    def end(self, *jobs):
        told = super().end(*jobs)
        self.assertRegex(self.redis("keys", "*"), r"\Ap:\{fleet-\d+\}:ended\Z")
        return told

    def check_texts(self):
        self.assertEqual({file.name: file.read_text() for file in (self.folder / "o").iterdir()},
                         {f"r{n:02}.txt": text(n) for n in range(DEVICES)})

    def test_is_shared_and_the_last_one_reports(self):
        for name in ("r00", "r01"):
            self.slow_device(name)
        jobs = [self.worker(), self.worker()]
        with self.rendering("r00", data(0)), self.rendering("r01", data(1)):
            pass  # each has one of them now
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
        with self.rendering("r07"):
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
        with self.rendering("r02", data(2)):
            self.redis("flushall")
        told = job.communicate(timeout=30)
        self.assertEqual((job.returncode, told[0]), (1, ""))
        self.assertIn("the run is gone, which was not at its end", told[1])
        self.server.kill()
        locked = self.start("--requirepass", "geheim")
        for queue, words in ((self.server.name(), ": connecting to "), (locked.name(), ": NOAUTH "), ("redis", ": not a name")):
            job = self.worker(queue=queue)
            self.assertIn(words, job.communicate(timeout=20)[1])
            self.assertEqual(job.returncode, 1)


class Shared(Fleets):
    def devices_at(self, name):
        """Where devices are that have been imported there."""
        for n in range(FEW):
            subprocess.run([TOVRA, "import", f"d/r{n:02}.json", name, "--device", f"r{n:02}"], cwd=self.folder, check=True)
        return name

    def check(self, name, texts_of):
        """Two workers with devices, queue and texts in one place. The second one may come too late to share."""
        source = self.devices_at(name)
        for wanted in (FEW, 0):
            jobs = [self.worker(source=source, out=source, queue=source) for _ in range(2)]
            told = [json.loads(job.communicate(timeout=50)[0]) for job in jobs]
            changed = {name for one in told for name in one["changed"]}
            self.assertEqual((len(changed), [job.returncode for job in jobs]), (wanted, [0, 0]), told)
            self.assertEqual({one["devices"] for one in told if "part" not in one}, {FEW})
        for n in range(FEW):
            self.assertEqual(texts_of(f"r{n:02}") + "\n", text(n))

    def test_devices_queue_and_texts_on_one_server(self):
        where = self.server.name("prefix=one")
        self.check(where, lambda name: self.redis("get", f"one:texts:{{{name}}}"))
        self.redis("hdel", "one:{r05}", "version")
        self.redis("hset", "one:{r07}", "layout", "9")
        whole = self.end(self.worker("--delete", source=where, out=where, queue=where))[0]
        self.assertEqual((whole["devices"], whole["failed"], whole["removed"]), (FEW - 1, ["r07"], ["r05"]))

    def test_devices_queue_and_texts_in_a_cluster(self):
        nodes, owner = cluster_of(3, self.folder)
        self.check(f"redis://127.0.0.1:{nodes[1].port}", lambda name: owner(name).cli("get", f"tovra:texts:{{{name}}}"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
