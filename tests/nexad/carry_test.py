"""A data directory goes from one machine to another: written where pointers have 64 bits, used by the
server of the build under test, and back; whole folders, also those of servers that were killed.

NEXA_NATIVE_BIN names the folder of the build machine's own programs. In a build for the build machine
itself both are the same, and there is nothing to carry.
"""

import json
import os
import subprocess
import unittest

from kit import report, workload
from kit.case import StartCase
from kit.server import RULES as RULES_SCHEMA
from kit.server import Server, program

RULES = "/test-rules:rules"
SCHEMA = [*RULES_SCHEMA, "--module", "test-rules"]
FLAGS = ["--insecure", "--no-linux-state", "--commits-per-snapshot", "10"]
CONTENT = {
    "level": 77,
    "mode": "automatic",
    "rate": 4294967295,
    "low": 1,
    "high": 255,
    "group": [{"name": "z", "note": "ü\u2028\U0001f600"}, {"name": "a"}],
    "user": [{"name": "n", "uid": 65535, "role": "guest", "group": "z"}],
    "search": ["b", "a", "c"],
    "tag": ["y", "x"],
    "script": "line\nline " + "x" * 70000,
    "large": "18446744073709551615",
}


def native(name):
    return os.path.join(os.environ.get("NEXA_NATIVE_BIN", ""), name)


class Carry(StartCase):
    """`ours` is the server under test, `theirs` that of the build machine."""

    def setUp(self):
        if not os.access(native("nexad"), os.X_OK):
            raise unittest.SkipTest("NEXA_NATIVE_BIN has no programs of the build machine (make build)")
        super().setUp()
        self.ours = Server(self.path("ours"), SCHEMA, FLAGS)
        self.theirs = Server(self.path("theirs"), SCHEMA, FLAGS, nexad=native("nexad"))
        self.ours.data = self.theirs.data = self.path("data")
        self.addCleanup(self.ours.kill)
        self.addCleanup(self.theirs.kill)
        self.step = 0
        self.pairs = {}

    def tools(self):
        return {"ours": program("nexa", "NEXA"), "theirs": native("nexa")}

    def ask(self, tool, *words):
        """What the tool prints; it must end well."""
        ran = subprocess.run(
            [self.tools()[tool], *words, "--data", self.ours.data],
            capture_output=True,
            text=True,
            timeout=300,
        )
        self.assertEqual(ran.returncode, 0, f"{tool} {words}: {ran.stdout}{ran.stderr}")
        return ran.stdout

    def work(self, client, steps):
        """Commits, each known; what the server then has is what was asked for."""
        numbers = range(self.step + 1, self.step + 1 + steps)
        outcome = workload.run(client, numbers, self.pairs)
        self.assertEqual((outcome.acknowledged, outcome.refused), (steps, 0))
        self.step += steps
        self.pairs = outcome.state
        self.check(client)

    def check(self, client):
        self.assertEqual(workload.state_of(client), self.pairs)

    def everything(self, client):
        return json.dumps(client.value("/", type="CONFIG"), sort_keys=True)

    def carry(self, source, target, kill):
        """`source` writes and ends, `target` has all of it and goes on."""
        source.start()
        with source.client(timeout=120) as client:
            self.check(client)
            self.work(client, 13)
            before = self.everything(client)
        if kill:
            source.kill()
        else:
            self.assertEqual(source.stop(120), 0)
        self.check_tools()
        target.start()
        with target.client(timeout=120) as client:
            self.assertEqual(self.everything(client), before)
            self.work(client, 13)
        target.kill()
        self.check_tools()

    def check_tools(self):
        """Both tools read the same history, and find the configuration valid, checksums included."""
        histories = {tool: self.ask(tool, "history", "--json") for tool in self.tools()}
        self.assertEqual(histories["ours"], histories["theirs"])
        numbers = [record["number"] for record in json.loads(histories["ours"])]
        self.assertEqual(numbers, list(range(numbers[0], 0, -1)))
        for tool in self.tools():
            self.assertEqual(
                self.ask(tool, "verify", *SCHEMA), f"commit {numbers[0]}: valid\n", tool
            )

    def test_to_the_target_and_back(self):
        self.theirs.start()
        with self.theirs.client(timeout=120) as client:
            client.set(update=[(RULES, CONTENT)])
            stored = client.value(RULES, type="CONFIG")
        self.theirs.stop()
        self.carry(self.theirs, self.ours, kill=False)
        self.carry(self.ours, self.theirs, kill=False)
        self.theirs.start()
        with self.theirs.client() as client:
            self.assertEqual(client.value(RULES, type="CONFIG"), stored)

    def test_journals_of_killed_servers(self):
        self.carry(self.theirs, self.ours, kill=True)
        self.carry(self.ours, self.theirs, kill=True)

    def test_a_rollback_of_what_the_other_wrote(self):
        self.carry(self.theirs, self.ours, kill=False)
        self.ask("ours", "rollback", *SCHEMA, "--to", "5")
        self.ask("theirs", "rollback", *SCHEMA, "--to", "26")
        self.check_tools()
        self.ours.start()
        with self.ours.client(timeout=120) as client:
            self.check(client)


if __name__ == "__main__":
    report.main()
