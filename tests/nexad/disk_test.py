"""A disk without room: Sets are refused, reads go on, and room is all that is needed to go on.

A limit on the size of files stands in for the disk: prlimit sets and lifts it on the living server.
"""

import base64
import random
import shutil
import subprocess
import time
import unittest

import grpc

from kit import report
from kit.case import StartCase
from kit.server import DidNotStart, Server

SCRIPT = "/test-rules:rules/script"


@unittest.skipUnless(shutil.which("prlimit"), "prlimit is not installed")
class NoRoom(StartCase):
    def limit(self, server, size):
        subprocess.run(
            ["prlimit", "--pid", str(server.process.pid), f"--fsize={size}:"], check=True, timeout=20
        )

    def fill(self, client, rounds):
        """Sets until the first refusal; what was stored last, and the refusals."""
        stored, refusals = None, []
        for number in range(rounds):
            # Noise: what repeats itself takes hardly any room.
            value = base64.b64encode(random.Random(number).randbytes(15000)).decode()
            try:
                client.set(update=[(SCRIPT, value)])
                stored = value
            except grpc.RpcError as error:
                refusals.append((error.code().name, error.details()))
            self.assertEqual(client.value(SCRIPT), stored)
        return stored, refusals

    def test_sets_are_refused_until_there_is_room(self):
        # Snapshots are tried in between and fail, too.
        server = self.begin("--commits-per-snapshot", "3")
        client = server.client()
        self.limit(server, 200000)
        stored, refusals = self.fill(client, 15)
        self.assertGreater(len(refusals), 2)
        self.assertEqual(set(refusals), {("RESOURCE_EXHAUSTED", "the disk is full")})
        # So little that the log cannot even be opened again to see what is in it.
        self.limit(server, 1000)
        for _ in range(3):
            with self.assertRaises(grpc.RpcError) as caught:
                client.set(update=[(SCRIPT, "none")])
            text = caught.exception.details()
            self.assertTrue(text == "the disk is full" or "File too large" in text, text)
            self.assertEqual(client.value(SCRIPT), stored)
        self.limit(server, "unlimited")
        client.set(update=[(SCRIPT, "room")])
        self.assertEqual(client.value(SCRIPT), "room")
        server.kill()
        server.start()
        with server.client() as later:
            self.assertEqual(later.value(SCRIPT), "room")

    def test_a_start_without_room_reads_until_there_is_room(self):
        server = self.begin()
        with server.client() as client:
            client.set(update=[(SCRIPT, "kept")])
        server.kill()
        server.wrapper = ["prlimit", "--fsize=1000:"]
        server.start()
        with server.client() as client:
            self.assertEqual(client.value(SCRIPT), "kept")
            with self.assertRaises(grpc.RpcError) as caught:
                client.set(update=[(SCRIPT, "none")])
            self.assertEqual(
                (caught.exception.code().name, caught.exception.details()),
                (
                    "RESOURCE_EXHAUSTED",
                    "the disk is full; the server reads only until it can write again",
                ),
            )
            self.assertEqual(client.value(SCRIPT), "kept")
            self.limit(server, "unlimited")
            time.sleep(1.1)
            client.set(update=[(SCRIPT, "room")])
            self.assertEqual(client.value(SCRIPT), "room")
        server.wrapper = []
        server.kill()
        server.start()
        with server.client() as client:
            self.assertEqual(client.value(SCRIPT), "room")

    def test_a_first_start_without_room_says_so(self):
        server = Server(self.folder, self.schema, wrapper=["prlimit", "--fsize=1000:"])
        self.addCleanup(server.kill)
        with self.assertRaises(DidNotStart) as caught:
            server.start()
        text = str(caught.exception)
        self.assertIn("exit status 1", text)
        self.assertIn("nexa.db.new: the disk is full", text)


if __name__ == "__main__":
    report.main()
