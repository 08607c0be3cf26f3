"""Disks that do not confirm writes: syncs of one file fail on the living server, or at its start.

An answered Set is there after kill -9 and a start, a refused one is not; while syncs fail, Sets are
UNAVAILABLE in words and Gets work; when they succeed again, so do Sets.
"""

import os
import subprocess
import unittest

import grpc

from kit import injection, report
from kit.case import StartCase
from kit.server import Server, program

SCRIPT = "/test-rules:rules/script"
FILES = {
    "database": "nexa.db",
    "journal": "nexa.db-wal",
    "witness": "nexa.db-newest",
    "folder": "",
}
WHEN = {"once": "1", "twice": "1..2", "for ever": "1+"}
WORDS = "the disk does not confirm writes: Input/output error"
SETS = 6


class FailingSyncs(StartCase):
    @classmethod
    def setUpClass(cls):
        reason = injection.unavailable()
        if reason:
            raise unittest.SkipTest(reason)

    def start_in(self, name):
        """A server with a folder of its own."""
        server = Server(os.path.join(self.folder, name), self.schema)
        self.addCleanup(server.kill)
        return server.start()

    def path_of(self, server, file):
        return os.path.join(server.data, FILES[file]).rstrip("/")

    def refused(self, client, value):
        """None for an answered Set, else the words of its refusal, which is UNAVAILABLE."""
        try:
            client.set(update=[(SCRIPT, value)])
        except grpc.RpcError as error:
            self.assertEqual(error.code().name, "UNAVAILABLE", error.details())
            self.assertIn(WORDS, error.details())
            return error.details()
        return None

    def check_after_kill(self, server, value, commits):
        server.kill()
        server.start()
        with server.client() as client:
            self.assertEqual(client.value(SCRIPT), value)
        ran = subprocess.run(
            [program("nexa", "NEXA"), "history", "--data", server.data, "--json"],
            capture_output=True,
            text=True,
            timeout=60,
        )
        self.assertEqual(ran.returncode, 0, ran.stderr)
        self.assertEqual(ran.stdout.count('"number"'), commits, ran.stdout)

    def sets_while_failing(self, file, when):
        server = self.start_in(f"{file} {when}")
        client = server.client()
        client.set(update=[(SCRIPT, "first")])
        stored, commits, refusals = "first", 1, 0
        with injection.SyncsFail(server.process.pid, self.path_of(server, file), WHEN[when]):
            for number in range(SETS):
                if self.refused(client, f"{when} {number}") is None:
                    stored, commits = f"{when} {number}", commits + 1
                else:
                    refusals += 1
                self.assertEqual(client.value(SCRIPT), stored)
        # Nothing but a disk that works is needed to go on.
        client.set(update=[(SCRIPT, "works")])
        self.assertEqual(client.value(SCRIPT), "works")
        self.check_after_kill(server, "works", commits + 1)
        return refusals

    def test_the_journal_once(self):
        self.assertGreaterEqual(self.sets_while_failing("journal", "once"), 1)

    def test_the_journal_twice(self):
        self.assertGreaterEqual(self.sets_while_failing("journal", "twice"), 1)

    def test_the_journal_for_ever(self):
        self.assertEqual(self.sets_while_failing("journal", "for ever"), SETS)

    # A commit syncs nothing but the journal.
    def test_the_others(self):
        for file in ("database", "witness", "folder"):
            for when in WHEN:
                with self.subTest(file=file, when=when):
                    self.assertEqual(self.sets_while_failing(file, when), 0)

    def test_a_kill_while_the_journal_fails(self):
        server = self.begin()
        client = server.client()
        client.set(update=[(SCRIPT, "stored")])
        with injection.SyncsFail(server.process.pid, self.path_of(server, "journal"), "1+"):
            for number in range(3):
                self.assertIsNotNone(self.refused(client, f"refused {number}"))
            server.kill()
        self.check_after_kill(server, "stored", 1)

    def test_a_start_whose_syncs_fail_serves_for_reading(self):
        for file in ("database", "journal", "folder"):
            with self.subTest(file=file):
                server = self.start_in(file)
                with server.client() as client:
                    client.set(update=[(SCRIPT, file)])
                server.kill()
                server.wrapper = injection.failing_syncs(self.path_of(server, file))
                server.start()
                with server.client() as client:
                    self.assertEqual(client.value(SCRIPT), file)
                    self.assertIsNotNone(self.refused(client, "refused"))
                    self.assertEqual(client.value(SCRIPT), file)
                server.kill()
                server.wrapper = []
                self.check_after_kill(server, file, 1)


if __name__ == "__main__":
    report.main()
