"""kill -9 and failing disks at the system calls of a loaded server.

After each fault the server is started again as usual: everything that was acknowledged is there,
nothing is half there, the history is whole. NEXA_CRASH_POINTS says how many of the calls are tried
(200), spread evenly over all of them. Where no system call can be chosen, NEXA_KILLS (10) kills from
outside come at times that nobody chose.
"""

import concurrent.futures
import os
import random
import shutil
import subprocess
import tempfile
import threading
import time
import unittest

import grpc

from kit import injection, report, workload
from kit.server import RULES, DidNotStart, Server, program

POINTS = int(
    os.environ.get("NEXA_CRASH_POINTS") or (40 if os.environ.get("NEXA_SANITIZED") else 200)
)
KILLS = int(os.environ.get("NEXA_KILLS") or 10)
SEED = int(os.environ.get("NEXA_KILL_SEED") or time.time_ns() % 10**6)
FLAGS = ["--insecure", "--no-linux-state", "--commits-per-snapshot", "10"]
SCHEMA = [*RULES, "--module", "test-rules"]
# Leaks are looked for with ptrace, which strace holds.
ENVIRONMENT = {"ASAN_OPTIONS": "detect_leaks=0"}
BEFORE = 15  # commits that the data directory has at the start
STEPS = max(60, POINTS // 6)  # under load; enough of them have more calls than points
FAULTS = [
    "signal=KILL",
    "signal=KILL",
    "error=EIO",
    "signal=KILL",
    "error=ENOSPC",
    "signal=KILL",
    "error=EIO+",
    "signal=KILL",
    "signal=KILL",
    "error=ENOSPC+",
]


class CrashCase(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="nexad-crash-")
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.template = os.path.join(cls.folder, "template")
        server = Server(cls.template, SCHEMA, FLAGS)
        cls.addClassCleanup(server.kill)
        server.start()
        with server.client() as client:
            cls.base = workload.run(client, range(1, BEFORE + 1), {}).state
        server.stop()

    def copied(self, name, wrapper=()):
        """A server over a copy of the template's data."""
        folder = os.path.join(self.folder, name)
        shutil.copytree(os.path.join(self.template, "data"), os.path.join(folder, "data"))
        return Server(folder, SCHEMA, FLAGS, wrapper=wrapper, environment=ENVIRONMENT)

    def load(self, server):
        """Starts the server, loads it, ends it; what the client knows then."""
        try:
            server.start()
        except DidNotStart:
            return workload.Outcome(self.base)
        with server.client(timeout=10) as client:
            outcome = workload.run(client, range(BEFORE + 1, BEFORE + 1 + STEPS), self.base)
            if outcome.doubtful is None and server.running():
                self.check_state(client, outcome)
        # Nothing is given time to tidy up: what was answered has to be on the disk already.
        server.kill()
        return outcome

    def check_state(self, client, outcome):
        state = workload.state_of(client)
        if state not in outcome.allowed():
            raise AssertionError(f"the server has {state}, allowed are {outcome.allowed()}")

    def check_history(self, server, outcome):
        ran = subprocess.run(
            [program("nexa", "NEXA"), "history", "--data", server.data],
            capture_output=True,
            text=True,
            timeout=60,
        )
        if ran.returncode != 0:
            raise AssertionError(f"nexa history: {ran.stderr}")
        numbers = [
            int(line.split()[0])
            for line in ran.stdout.splitlines()
            if line.strip() and line.split()[0].isdigit()
        ]
        least = BEFORE + outcome.acknowledged
        if numbers != list(range(numbers[0], 0, -1)) or not least <= numbers[0] <= least + 1:
            raise AssertionError(f"history {numbers[:5]}..., {least} commits were acknowledged")

    def check_again(self, server, outcome):
        """The server starts over what was left: all that was answered is there, and it works."""
        server.start()
        with server.client() as client:
            self.check_state(client, outcome)
            client.set_request(workload.request(9999))
            workload.apply(9999, outcome.state)
        server.stop()
        outcome.acknowledged += 1
        self.check_history(server, outcome)
        shutil.rmtree(server.folder, ignore_errors=True)


class Kill(CrashCase):
    def killed_at(self, server, seconds):
        """What the client knows of a server that is killed this long after its first commit."""
        server.start()
        with server.client(timeout=60) as client:
            killer = threading.Timer(seconds, server.kill)
            killer.start()
            outcome = workload.run(client, range(BEFORE + 1, BEFORE + 1 + STEPS), self.base)
            killer.cancel()
            killer.join()
        server.kill()
        return outcome

    def test_a_kill_at_any_time_loses_nothing_that_was_acknowledged(self):
        began = time.monotonic()
        whole = self.killed_at(self.copied("whole"), 3600)
        self.assertEqual((whole.acknowledged, whole.refused), (STEPS, 0))
        duration = time.monotonic() - began
        print(f"NEXA_KILL_SEED={SEED}", flush=True)
        dice = random.Random(SEED)
        in_time = 0
        for number in range(KILLS):
            server = self.copied(f"kill-{number}")
            try:
                outcome = self.killed_at(server, dice.random() * duration)
                in_time += outcome.doubtful is not None
                self.check_again(server, outcome)
            except (AssertionError, DidNotStart, grpc.RpcError, IndexError) as error:
                self.fail(f"kill {number}: {error}\n{server.log(True)[-3000:]}")
            finally:
                server.kill()
        self.assertGreater(in_time, 0, "no kill came while commits were made")


class Crash(CrashCase):
    @classmethod
    def setUpClass(cls):
        reason = injection.unavailable()
        if reason:
            raise unittest.SkipTest(reason)
        super().setUpClass()

    def try_point(self, index, point):
        """None when everything holds, else what does not."""
        server = self.copied(f"point-{index}", injection.injecting(point))
        try:
            outcome = self.load(server)
            reached = (
                outcome.doubtful is not None or outcome.refused > 0 or outcome.acknowledged < STEPS
            )
            server.wrapper = []
            self.check_again(server, outcome)
            return reached, None
        except (AssertionError, DidNotStart, grpc.RpcError, IndexError) as error:
            return (
                True,
                f"{point.call} {point.number} {point.fault}: {error}\n{server.log(True)[-3000:]}",
            )
        finally:
            server.kill()

    @staticmethod
    def fault_of(call, index):
        fault = FAULTS[index % len(FAULTS)]
        # Threads wake each other by `write`: without it for good, no server can end or answer.
        return fault.removesuffix("+") if call[0] == "write" else fault

    def points(self):
        log = os.path.join(self.folder, "calls")
        server = self.copied("counting", injection.counting(log))
        outcome = self.load(server)
        self.assertEqual((outcome.acknowledged, outcome.refused), (STEPS, 0), server.log())
        calls = injection.calls_of(log)
        self.assertGreater(len(calls), 100, "hardly any write-class calls were seen")
        chosen = injection.spread(calls, POINTS)
        rounds = -(-POINTS // len(chosen))
        # A short run has fewer calls than points: each is then tried with further faults.
        points = [
            injection.Point(*call, self.fault_of(call, index + turn))
            for turn in range(rounds)
            for index, call in enumerate(chosen)
        ][:POINTS]
        print(f"{len(calls)} calls, {len(points)} of them tried", flush=True)
        return points

    def test_nothing_acknowledged_is_lost_and_nothing_is_half_there(self):
        points = self.points()
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            results = list(pool.map(self.try_point, range(len(points)), points))
        failures = [failure for _, failure in results if failure]
        reached = sum(1 for hit, _ in results if hit)
        print(
            f"{len(points)} points, {reached} with a visible effect, {len(failures)} failures",
            flush=True,
        )
        self.assertEqual(failures[:3], [], f"{len(failures)} of {len(points)} points")
        self.assertGreater(reached, len(points) // 2)


if __name__ == "__main__":
    report.main()
