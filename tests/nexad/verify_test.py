"""A second pair of eyes: the newest configuration is judged beside the server, and one that breaks
a rule is served, told of, and mended.
"""

import itertools
import os
import signal
import subprocess
import time

import grpc

from kit import raw, report
from kit.case import StartCase
from kit.server import program

MODULE = """module limits {
  namespace "urn:test:limits";
  prefix l;
  revision %s;
  container top {
    leaf low { type uint8; }
    leaf high { type uint8; %s }
    leaf note { type string; }
  }
}
"""
TOP = "/limits:top"
STORE = "nexa.store"


class VerifyCase(StartCase):
    def module(self, folder, rule="", revision=None):
        """Flags of a folder with the module, `high` having the rule; with a rule it is newer."""
        os.makedirs(self.path(folder), exist_ok=True)
        revision = revision or ("2026-02-02" if rule else "2026-01-01")
        self.write(os.path.join(folder, "limits.yang"), MODULE % (revision, rule))
        return ["--yang-dir", self.path(folder)]

    def start(self, schema, *flags):
        self.server = self.begin("--metrics", "127.0.0.1:0", *flags, schema=schema)
        self.client = self.server.client()
        self.addCleanup(self.client.close)
        return self.server

    def run_tool(self, *words):
        return subprocess.run(
            [program("nexa", "NEXA"), *words], capture_output=True, text=True, timeout=60
        )

    def health(self, service=""):
        return raw.health(self.client.channel, service)

    def wait_health(self, service, wanted, timeout=10):
        ends = time.monotonic() + timeout
        while self.health(service) != wanted:
            self.assertLess(time.monotonic(), ends, self.server.log())
            time.sleep(0.05)

    def children(self):
        """Process numbers of the programs that the server has started and not reaped."""
        found = []
        for task in os.listdir(f"/proc/{self.server.process.pid}/task"):
            try:
                with open(
                    f"/proc/{self.server.process.pid}/task/{task}/children", encoding="ascii"
                ) as file:
                    found += [int(word) for word in file.read().split()]
            except FileNotFoundError:
                pass  # the thread ended
        return found


class Verification(VerifyCase):
    def test_each_commit_is_verified_when_there_is_no_pause(self):
        self.start(self.module("yang"), "--verify", "on", "--verify-interval", "0")
        for number in (1, 2, 3):
            self.client.set(update=[(TOP + "/low", number)])
            self.assertTrue(
                self.server.wait_metric("nexad_verified_commit", number), self.server.log()
            )
            self.assertTrue(self.server.wait_metric("nexad_verify_runs_total", number))
        self.assertEqual(self.server.metric("nexad_verify_violations_total"), 0)
        self.assertEqual(self.server.metric('nexad_verify_failures_total{reason="died"}'), 0)
        self.assertEqual(self.health(STORE), raw.SERVING)

    def test_runs_are_an_interval_apart(self):
        self.start(self.module("yang"), "--verify", "on", "--verify-interval", "1000")
        self.client.set(update=[(TOP + "/low", 1)])
        self.assertTrue(self.server.wait_metric("nexad_verify_runs_total", 1))
        self.client.set(update=[(TOP + "/low", 2)])
        time.sleep(1.5)
        self.assertEqual(self.server.metric("nexad_verify_runs_total"), 1)

    def test_nothing_is_started_when_it_is_off(self):
        self.start(self.module("yang"), "--verify", "off", "--verify-interval", "0")
        self.client.set(update=[(TOP + "/low", 1)])
        time.sleep(1)
        self.assertIsNone(self.server.metric("nexad_verify_runs_total"))
        self.assertEqual(self.children(), [])

    def slow_run(self):
        """The process number of a verification that does not end by itself."""
        self.start(self.module("yang"), "--verify", "on", "--verify-interval", "0")
        return self.stopped_run()

    def stopped_run(self):
        ends = time.monotonic() + 30
        for number in itertools.count():
            if number % 100 == 0:
                self.assertLess(time.monotonic(), ends, "no verification was seen")
                self.client.set(update=[(TOP + "/low", number // 100 % 200)])
            for child in self.children():
                try:
                    # Before it is the program, the server waits for it. An emulator stands in front
                    # of the program's own words.
                    with open(f"/proc/{child}/cmdline", "rb") as file:
                        words = file.read().split(b"\0")
                    if b"nexa" in [os.path.basename(word) for word in words]:
                        os.kill(child, signal.SIGSTOP)
                        return child
                except (FileNotFoundError, ProcessLookupError):
                    pass
            time.sleep(0.002)
        return None

    def test_one_that_dies_is_a_warning_and_the_server_goes_on(self):
        child = self.slow_run()
        os.kill(child, signal.SIGSEGV)
        os.kill(child, signal.SIGCONT)
        self.assertIsNotNone(
            self.server.wait_log(r"warning.*verification of commit \d+: .* died of signal 11"),
            self.server.log(),
        )
        self.assertTrue(self.server.wait_metric('nexad_verify_failures_total{reason="died"}', 1))
        response = self.client.set(update=[(TOP + "/low", 7)])
        self.assertIsNotNone(response)
        number = self.server.metric("nexad_commit_number")
        self.assertTrue(self.server.wait_metric("nexad_verified_commit", number))

    def gone(self, child):
        ends = time.monotonic() + 10
        while os.path.exists(f"/proc/{child}"):
            with open(f"/proc/{child}/stat", encoding="ascii") as file:
                if file.read().rpartition(")")[2].split()[0] == "Z":
                    return True  # whoever inherited it has not reaped it yet
            if time.monotonic() > ends:
                return False
            time.sleep(0.02)
        return True

    def test_a_stop_leaves_no_run_behind(self):
        child = self.slow_run()
        self.client.close()
        self.assertEqual(self.server.stop(), 0)
        self.assertTrue(self.gone(child))

    def test_a_kill_leaves_no_run_behind(self):
        child = self.slow_run()
        self.server.signal(signal.SIGKILL)
        self.server.process.wait(10)
        os.kill(child, signal.SIGCONT)
        self.assertTrue(self.gone(child))

    def came_to_its_settings(self, child):
        """Whether a stopped run, continued bit by bit, was seen with the scheduler of its own."""
        try:
            while os.sched_getscheduler(child) != os.SCHED_IDLE:
                os.kill(child, signal.SIGCONT)
                time.sleep(0.002)
                os.kill(child, signal.SIGSTOP)
            return True
        except ProcessLookupError:
            return False

    def test_a_run_has_the_lowest_priority(self):
        child = self.slow_run()
        for _ in range(50):
            if self.came_to_its_settings(child):
                break
            child = self.stopped_run()
        self.assertEqual(os.sched_getscheduler(child), os.SCHED_IDLE)
        self.assertEqual(os.getpriority(os.PRIO_PROCESS, child), 19)


class BrokenHead(VerifyCase):
    def broken(self, *flags, revision=None):
        """A server over data that its module's rule does not allow."""
        self.start(self.module("lax"), "--verify", "off")
        self.client.set(update=[(TOP, {"low": 5, "high": 3, "note": "kept"})])
        self.client.close()
        self.assertEqual(self.server.stop(), 0)
        return self.start(self.module("strict", 'must ". >= ../low";', revision), *flags)

    def check_broken_and_mend(self):
        server = self.server
        # It is served, and told of.
        self.assertEqual(self.client.value(TOP + "/high"), 3)
        self.assertEqual(self.client.value(TOP + "/note"), "kept")
        self.assertIsNotNone(server.wait_log(r"error.*/limits:top/high: must"), server.log())
        self.assertTrue(server.wait_metric("nexad_store_violation", 1))
        self.wait_health(STORE, raw.NOT_SERVING)
        self.assertEqual(self.health(), raw.SERVING)
        self.assertEqual(self.health("gnmi.gNMI"), raw.SERVING)
        # What does not mend it is refused.
        with self.refused("FAILED_PRECONDITION") as caught:
            self.client.set(update=[(TOP + "/note", "new")])
        self.assertIn("/limits:top/high", caught.exception.details())
        self.assertEqual(self.client.value(TOP + "/note"), "kept")
        # What mends it is taken.
        self.client.set(update=[(TOP + "/high", 6), (TOP + "/note", "new")])
        self.assertEqual(self.client.value(TOP + "/note"), "new")
        self.wait_health(STORE, raw.SERVING)
        self.assertEqual(server.metric("nexad_store_violation"), 0)
        self.assertIsNotNone(server.wait_log("the configuration is valid again"))
        with self.refused("FAILED_PRECONDITION"):
            self.client.set(update=[(TOP + "/high", 1)])

    def test_is_served_told_of_and_mended(self):
        self.broken("--verify", "off")
        self.check_broken_and_mend()

    def test_a_module_that_changed_without_a_new_revision_is_noticed(self):
        self.broken("--verify", "off", revision="2026-01-01")
        self.check_broken_and_mend()

    def test_is_found_by_verification_after_another_start(self):
        self.broken("--verify", "off")
        schema = self.server.schema
        self.client.close()
        self.server.stop()
        self.start(schema, "--verify", "on", "--verify-interval", "0")
        self.assertIsNotNone(
            self.server.wait_log(r"error.*commit 1: /limits:top/high: must"), self.server.log()
        )
        self.check_broken_and_mend()
        self.assertTrue(self.server.wait_metric("nexad_verified_commit", 2), self.server.log())

    def test_rollback_mends_it(self):
        self.start(self.module("lax"), "--verify", "off")
        self.client.set(update=[(TOP, {"low": 1, "high": 3})])
        self.client.set(update=[(TOP, {"low": 5})])
        self.client.close()
        self.server.stop()
        strict = self.module("strict", 'must ". >= ../low";')
        tool = self.run_tool("verify", *strict, "--data", self.server.data)
        self.assertEqual(tool.returncode, 1)
        self.assertRegex(tool.stdout, r"^commit 2: /limits:top/high: must .*\n$")
        tool = self.run_tool("rollback", *strict, "--data", self.server.data, "--to", "1")
        self.assertEqual(tool.returncode, 0, tool.stderr)
        tool = self.run_tool("verify", *strict, "--data", self.server.data)
        self.assertEqual((tool.returncode, tool.stdout), (0, "commit 3: valid\n"))
        self.start(strict, "--verify", "off")
        self.assertEqual(self.client.value(TOP), {"limits:low": 1, "limits:high": 3})
        self.assertEqual(self.health(STORE), raw.SERVING)


class Limits(VerifyCase):
    def test_a_set_with_too_many_nodes_is_refused(self):
        self.start(self.module("yang"), "--max-set-nodes", "3")
        with self.refused("RESOURCE_EXHAUSTED") as caught:
            self.client.set(update=[(TOP, {"low": 1, "high": 2, "note": "x"})])
        self.assertIn("at most 3 are taken", caught.exception.details())
        with self.assertRaises(grpc.RpcError):
            self.client.value(TOP)
        self.client.set(update=[(TOP, {"low": 1, "high": 2})])

    def test_a_set_with_too_many_bytes_is_refused(self):
        self.start(self.module("yang"), "--max-set-bytes", "2000")
        with self.refused("RESOURCE_EXHAUSTED") as caught:
            self.client.set(update=[(TOP + "/note", "x" * 2000)])
        self.assertIn("at most 2000 are taken", caught.exception.details())
        self.client.set(update=[(TOP + "/note", "x" * 1000)])


if __name__ == "__main__":
    report.main()
