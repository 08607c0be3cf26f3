"""nexa history and nexa rollback over the data directory."""

import json
import os
import subprocess

from kit import report
from kit.case import RulesCase
from kit.server import program

RULES = "/test-rules:rules"


class History(RulesCase):
    def run_tool(self, *words):
        return subprocess.run(
            [program("nexa", "NEXA"), *words], capture_output=True, text=True, timeout=60
        )

    def history(self, *words):
        ran = self.run_tool("history", "--data", self.server.data, *words)
        self.assertEqual((ran.returncode, ran.stderr), (0, ""))
        return ran.stdout

    def rollback(self, number):
        return self.run_tool(
            "rollback", *self.schema, "--data", self.server.data, "--to", str(number)
        )

    def rolled_back(self, number):
        ran = self.rollback(number)
        self.assertEqual((ran.returncode, ran.stderr), (0, ""))

    def refused_rollback(self, number):
        ran = self.rollback(number)
        self.assertEqual(ran.returncode, 1, ran.stdout + ran.stderr)
        return ran.stderr

    def stopped(self):
        """The server gives the data directory free."""
        self.client.close()
        self.assertEqual(self.server.stop(), 0)

    def started(self):
        self.server.start()
        type(self).client = self.server.client()

    def commits(self):
        return json.loads(self.history("--json"))

    def test_lists_the_commits_newest_first(self):
        for level in (1, 2, 3):
            self.client.set(update=[(RULES + "/level", level)])
        commits = self.commits()
        numbers = [commit["number"] for commit in commits]
        self.assertEqual(numbers, list(range(numbers[0], 0, -1)))
        self.assertGreaterEqual(len(numbers), 3)
        self.assertEqual(commits[0]["author"], "anonymous")
        lines = self.history("--limit", "2").splitlines()
        self.assertEqual(lines[0].split(), ["NUMBER", "TIME", "AUTHOR", "BYTES", "COMMENT"])
        self.assertEqual([int(line.split()[0]) for line in lines[1:]], numbers[:2])

    def test_works_beside_the_server_and_shows_what_it_just_committed(self):
        for level in range(20, 25):
            self.client.set(update=[(RULES + "/level", level)])
            newest = self.commits()[0]["number"]
            change = self.history("--show", str(newest))
            self.assertIn(f"{level}</level>", change)
        self.assertTrue(self.server.running())

    def test_rollback_restores_each_commit(self):
        contents = []
        for level, tag in ((11, ["a"]), (12, ["a", "b"]), (13, ["c"])):
            self.client.set(replace=[(RULES, {"level": level, "tag": tag})])
            contents.append(self.stored())
        self.stopped()
        newest = self.commits()[0]["number"]
        for back, content in ((2, contents[0]), (1, contents[1]), (0, contents[2])):
            with self.subTest(back=back):
                self.rolled_back(newest - back)
                self.started()
                self.assertEqual(self.stored(), content)
                self.stopped()
        self.assertEqual(self.commits()[0]["number"], newest + 3)
        self.started()

    def test_rollback_to_zero_is_the_empty_configuration(self):
        self.rules({"tag": ["x"]})
        self.stopped()
        self.rolled_back(0)
        self.started()
        self.assertEqual(self.stored(), {"level": 10, "mode": "manual"})

    def test_rollback_to_a_commit_that_is_not_there_is_refused(self):
        self.stopped()
        self.addCleanup(self.started)
        self.assertIn("123456", self.refused_rollback(123456))

    def test_rollback_beside_a_running_server_is_refused(self):
        self.rules({"level": 31})
        self.assertIn(self.server.data, self.refused_rollback(0))
        self.assertEqual(self.client.value(RULES + "/level"), 31)

    def test_history_of_no_data_directory_is_refused_and_creates_none(self):
        missing = self.path("missing")
        ran = self.run_tool("history", "--data", missing)
        self.assertNotEqual(ran.returncode, 0)
        self.assertIn(missing, ran.stderr)
        self.assertFalse(os.path.exists(missing))


if __name__ == "__main__":
    report.main()
