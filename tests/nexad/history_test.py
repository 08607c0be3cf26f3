"""nexa history and nexa rollback over the data directory."""

import os
import subprocess

from kit import report
from kit.case import RulesCase
from kit.server import program

RULES = "/test-rules:rules"


class History(RulesCase):
    def tool(self, command, *words, expect=0):
        ran = subprocess.run(
            [program("nexa", "NEXA"), command, *self.schema, "--data", self.server.data, *words],
            capture_output=True,
            text=True,
            timeout=60,
        )
        self.assertEqual(ran.returncode, expect, ran.stdout + ran.stderr)
        return ran.stdout if expect == 0 else ran.stderr

    def stopped(self):
        """The server gives the data directory free."""
        self.client.close()
        self.assertEqual(self.server.stop(), 0)

    def started(self):
        self.server.start()
        type(self).client = self.server.client()

    def lines(self):
        return [
            line.split()
            for line in self.tool("history").splitlines()
            if line.split() and line.split()[0].isdigit()
        ]

    def test_lists_the_commits_newest_first(self):
        for level in (1, 2, 3):
            self.client.set(update=[(RULES + "/level", level)])
        self.stopped()
        numbers = [int(line[0]) for line in self.lines()]
        self.assertEqual(numbers, sorted(numbers, reverse=True))
        self.assertGreaterEqual(len(numbers), 3)
        self.assertIn("anonymous", self.tool("history"))
        self.started()

    def test_rollback_restores_each_commit(self):
        contents = []
        for level, tag in ((11, ["a"]), (12, ["a", "b"]), (13, ["c"])):
            self.client.set(replace=[(RULES, {"level": level, "tag": tag})])
            contents.append(self.stored())
        self.stopped()
        newest = int(self.lines()[0][0])
        for back, content in ((2, contents[0]), (1, contents[1]), (0, contents[2])):
            with self.subTest(back=back):
                self.tool("rollback", str(newest - back))
                self.started()
                self.assertEqual(self.stored(), content)
                self.stopped()
        self.assertEqual(len([line for line in self.lines() if int(line[0]) > newest]), 3)
        self.started()

    def test_rollback_to_zero_is_the_empty_configuration(self):
        self.rules({"tag": ["x"]})
        self.stopped()
        self.tool("rollback", "0")
        self.started()
        self.assertEqual(self.stored(), {"level": 10, "mode": "manual"})

    def test_rollback_to_a_commit_that_is_not_there_is_refused(self):
        self.stopped()
        error = self.tool("rollback", "123456", expect=1)
        self.assertIn("123456", error)
        self.started()

    def test_rollback_beside_a_running_server_is_refused(self):
        self.rules({"level": 31})
        error = self.tool("rollback", "0", expect=1)
        self.assertIn(self.server.data, error)
        self.assertEqual(self.client.value(RULES + "/level"), 31)

    def test_history_of_no_data_directory_is_refused_and_creates_none(self):
        missing = self.path("missing")
        ran = subprocess.run(
            [program("nexa", "NEXA"), "history", *self.schema, "--data", missing],
            capture_output=True,
            text=True,
            timeout=60,
        )
        self.assertNotEqual(ran.returncode, 0)
        self.assertIn(missing, ran.stderr)
        self.assertFalse(os.path.exists(missing))


if __name__ == "__main__":
    report.main()
