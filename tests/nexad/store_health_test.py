"""What an operator sees while the disk takes nothing: log, audit, metrics and health, until it does
again.
"""

import os
import shutil
import subprocess
import time
import unittest

import grpc

from kit import injection, raw, report
from kit.case import StartCase

SCRIPT = "/test-rules:rules/script"
STORE = "nexa.store"


class Unwritable(StartCase):
    def begin_with_metrics(self):
        self.server = self.begin("--metrics", "127.0.0.1:0")
        with self.server.client() as client:
            client.set(update=[(SCRIPT, "kept")])

    def connect(self):
        self.client = self.server.client()
        self.addCleanup(self.client.close)

    def wait_health(self, wanted):
        ends = time.monotonic() + 10
        while raw.health(self.client.channel, STORE) != wanted:
            self.assertLess(time.monotonic(), ends, self.server.log())
            time.sleep(0.05)
        for service in ("", "gnmi.gNMI"):
            self.assertEqual(raw.health(self.client.channel, service), raw.SERVING)

    def check_told(self, words):
        self.assertIsNotNone(
            self.server.wait_log("warning.*Sets are refused: .*" + words), self.server.log()
        )
        self.assertEqual(self.server.metric("nexad_store_writable"), 0)
        self.wait_health(raw.NOT_SERVING)
        self.assertEqual(self.client.value(SCRIPT), "kept")

    def check_over(self):
        ends = time.monotonic() + 20
        while True:  # the store tries again at most once a second
            try:
                self.client.set(update=[(SCRIPT, "again")])
                break
            except grpc.RpcError as error:
                self.assertLess(time.monotonic(), ends, error.details())
                time.sleep(0.2)
        self.assertEqual(self.client.value(SCRIPT), "again")
        self.assertEqual(self.server.metric("nexad_store_writable"), 1)
        self.assertIsNotNone(self.server.wait_log("info.*the store can be written again"))
        self.wait_health(raw.SERVING)

    @unittest.skipUnless(shutil.which("prlimit"), "prlimit is not installed")
    def test_a_start_on_a_full_disk(self):
        self.begin_with_metrics()
        self.server.kill()
        # Enough for the log's lines, too little for what SQLite makes beside the database.
        self.server.wrapper = ["prlimit", "--fsize=4000:"]
        self.server.start()
        self.connect()
        self.check_told("the disk is full")
        subprocess.run(
            ["prlimit", "--pid", str(self.server.process.pid), "--fsize=unlimited:"],
            check=True,
            timeout=20,
        )
        self.check_over()

    @unittest.skipIf(injection.unavailable(), "no faults can be injected")
    def test_a_disk_that_does_not_confirm_writes(self):
        self.begin_with_metrics()
        self.connect()
        journal = os.path.join(self.server.data, "nexa.db-wal")
        with injection.SyncsFail(self.server.process.pid, journal, "1+"):
            with self.refused("UNAVAILABLE") as caught:
                self.client.set(update=[(SCRIPT, "lost")])
            words = "the disk does not confirm writes"
            self.assertIn(words, caught.exception.details())
            self.check_told(words)
            self.assertIsNotNone(
                self.server.wait_log(f'audit: set .* verdict=UNAVAILABLE reason=".*{words}')
            )
        self.check_over()


if __name__ == "__main__":
    report.main()
