"""The commit hook: what it is given, and that its veto, its silence and its absence undo the
commit.
"""

import os
import time
import xml.etree.ElementTree as ElementTree

from kit import report
from kit.case import RulesCase

RULES = "/test-rules:rules"
NAMESPACE = "{urn:nexa:params:xml:ns:commit:1.0}"

HOOK = """#!/bin/sh
# Keeps its input and does what the file "verdict" says.
cat >"{folder}/seen.xml"
echo run >>"{folder}/runs"
. "{folder}/verdict"
"""


class Hook(RulesCase):
    @classmethod
    def prepare(cls):
        cls.hook = cls.write("hook", HOOK.format(folder=cls.folder), 0o755)
        cls.verdict("exit 0")
        cls.flags = ["--insecure", "--hook", cls.hook, "--hook-timeout-ms", "1500"]

    @classmethod
    def verdict(cls, script):
        cls.write("verdict", script + "\n")

    def setUp(self):
        self.verdict("exit 0")
        super().setUp()

    def seen(self):
        return ElementTree.parse(self.path("seen.xml")).getroot()

    def runs(self):
        with open(self.path("runs"), encoding="ascii") as file:
            return len(file.readlines())

    def refuse(self, code, words):
        self.verdict("exit 0")
        self.rules({"level": 20})
        self.verdict(words[0])
        with self.refused(code) as caught:
            self.client.set(update=[(RULES + "/level", 30), (RULES + "/low", 3)])
        self.assertEqual(self.client.value(RULES + "/level"), 20)
        self.absent(RULES + "/low")
        for word in words[1:]:
            self.assertIn(word, caught.exception.details())
        self.verdict("exit 0")
        self.client.set(update=[(RULES + "/level", 31)])
        self.assertEqual(self.client.value(RULES + "/level"), 31)

    def test_gets_the_change_before_and_after(self):
        self.rules({"level": 20, "tag": ["kept"]})
        self.client.set(update=[(RULES + "/level", 21)])
        commit = self.seen()
        self.assertEqual(commit.tag, NAMESPACE + "commit")
        self.assertEqual(commit.get("author"), "anonymous")
        self.assertEqual(commit.get("reason"), "set")
        self.assertTrue(commit.get("number").isdigit())
        self.assertIn("T", commit.get("time"))
        level = ".//{urn:test:rules}level"
        self.assertEqual(
            [node.text for node in commit.find(NAMESPACE + "before").findall(level)], ["20"]
        )
        self.assertEqual(
            [node.text for node in commit.find(NAMESPACE + "after").findall(level)], ["21"]
        )
        self.assertEqual(commit.findall(".//{urn:test:rules}tag"), [])

    def test_a_veto_undoes_the_commit_and_says_why(self):
        self.refuse(
            "FAILED_PRECONDITION", ["echo 'no such line card' >&2; exit 3", "no such line card"]
        )

    def test_a_hook_ended_by_a_signal_undoes_the_commit(self):
        self.refuse("FAILED_PRECONDITION", ["kill -9 $$"])

    def test_a_hook_that_is_too_slow_is_killed_with_its_children(self):
        began = time.monotonic()
        marker = self.path("late")
        self.refuse("ABORTED", [f"(sleep 4; touch '{marker}') & sleep 30"])
        self.assertLess(time.monotonic() - began, 8)
        time.sleep(max(0, began + 5 - time.monotonic()))
        self.assertFalse(os.path.exists(marker))

    def test_a_hook_that_cannot_be_started_undoes_the_commit(self):
        if os.environ.get("NEXA_EMULATED"):
            self.skipTest("the emulator does not say that a program is not there")
        self.rules({"level": 20})
        os.rename(self.hook, self.hook + ".away")
        try:
            with self.refused("INTERNAL"):
                self.client.set(update=[(RULES + "/level", 30)])
        finally:
            os.rename(self.hook + ".away", self.hook)
        self.assertEqual(self.client.value(RULES + "/level"), 20)

    def test_is_not_asked_when_nothing_changes_or_the_commit_is_invalid(self):
        self.rules({"level": 20})
        runs = self.runs()
        self.rules({"level": 20})
        with self.refused("INVALID_ARGUMENT"):
            self.client.set(update=[(RULES + "/level", 200)])
        self.assertEqual(self.runs(), runs)

    def test_readers_go_on_while_it_runs(self):
        self.rules({"level": 20})
        self.verdict("sleep 1; exit 0")
        request = self.client.stub.Set.future(self.set_level(40), timeout=20)
        began, reads = time.monotonic(), 0
        while not request.done() and time.monotonic() - began < 10:
            if not request.done() and time.monotonic() - began < 0.8:
                self.assertEqual(self.client.value(RULES + "/level"), 20)
                reads += 1
        self.assertGreater(reads, 5)
        request.result()
        self.assertEqual(self.client.value(RULES + "/level"), 40)

    @staticmethod
    def set_level(level):
        from gnmilib.client import as_update, gnmi

        return gnmi.SetRequest(update=[as_update(RULES + "/level", level)])

    def test_a_change_larger_than_a_pipe(self):
        self.client.set(update=[(RULES + "/script", "x" * 1_000_000)])
        self.assertEqual(len(self.seen().find(".//{urn:test:rules}script").text), 1_000_000)


if __name__ == "__main__":
    report.main()
