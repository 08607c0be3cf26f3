"""Subscribe in the modes of the full profile: the running server and the client of scripts."""

import os
import subprocess
import sys
import threading

from gnmilib import paths
from gnmilib.client import gnmi, python_value

from kit import report
from kit.case import RulesCase

RULES = "/test-rules:rules"
CLIENT = os.path.join(os.path.dirname(__file__), "..", "..", "scripts", "gnmi-client")


def lines_of(answer):
    """The message as lines: "sync", "PATH=VALUE", "-PATH"."""
    if answer.sync_response:
        return ["sync"]
    found = []
    for path in answer.update.delete:
        found.append("-" + paths.text(path))
    for update in answer.update.update:
        found.append(f"{paths.text(update.path)}={python_value(update.val)}")
    return found


class Follow(RulesCase):
    def until_sync(self, stream):
        found = []
        for answer in stream:
            found += lines_of(answer)
            if found[-1:] == ["sync"]:
                return found
        raise AssertionError("the stream ended before sync_response")

    def test_once_ends(self):
        self.rules({"level": 20})
        stream = self.client.subscribe(RULES + "/level", mode="once", timeout=10)
        found = [line for answer in stream for line in lines_of(answer)]
        self.assertEqual(found, [RULES + "/level=20", "sync"])

    def test_each_commit_is_one_message(self):
        self.rules({"level": 20})
        stream = self.client.subscribe(RULES, mode="on-change", timeout=30)
        self.assertIn(RULES + "/level=20", self.until_sync(stream))
        self.client.set(update=[(RULES + "/level", 21), (RULES + "/low", 3)])
        self.assertEqual(sorted(lines_of(next(stream))), [RULES + "/level=21", RULES + "/low=3"])
        # A leaf that falls back to its default is an update; one without is gone.
        self.client.set(delete=[RULES + "/level", RULES + "/low"])
        found = sorted(lines_of(next(stream)))
        self.assertEqual(found, ["-" + RULES + "/low", RULES + "/level=10"])
        self.client.set(update=[(RULES + "/group[name=g]/note", "n")])
        self.assertIn(RULES + "/group[name=g]/note=n", lines_of(next(stream)))
        self.client.set(delete=[RULES + "/group[name=g]"])
        self.assertEqual(lines_of(next(stream)), ["-" + RULES + "/group[name=g]"])
        stream.cancel()

    def test_proto_values(self):
        self.rules({"level": 20})
        stream = self.client.subscribe(RULES + "/level", mode="once", encoding="proto", timeout=10)
        self.assertEqual(next(stream).update.update[0].val, gnmi.TypedValue(uint_val=20))

    def test_a_hundred_streams_see_every_commit(self):
        self.rules({"level": 1})
        # A connection takes 100 calls at a time; Sets have another one.
        listener = self.server.client()
        self.addCleanup(listener.close)
        streams = [
            listener.subscribe(RULES + "/level", mode="on-change", timeout=60) for _ in range(100)
        ]
        for stream in streams:
            self.until_sync(stream)
        found = [[] for _ in streams]

        def follow(stream, seen):
            while seen[-1:] != [RULES + "/level=60"]:
                seen.extend(lines_of(next(stream)))

        threads = [
            threading.Thread(target=follow, args=pair) for pair in zip(streams, found, strict=True)
        ]
        for thread in threads:
            thread.start()
        for level in range(2, 61):
            self.client.set(update=[(RULES + "/level", level)])
        for thread in threads:
            thread.join(60)
        expected = [f"{RULES}/level={level}" for level in range(2, 61)]
        for seen in found:
            # A reader that is behind gets several commits as one.
            self.assertEqual(seen, [line for line in expected if line in set(seen)])
            self.assertEqual(seen[-1], expected[-1])

    def test_the_client_of_scripts(self):
        self.rules({"level": 20})
        command = [sys.executable, CLIENT, "-a", self.server.address, "--insecure", "subscribe"]
        for mode in ("once", "on-change", "target-defined", "sample"):
            with self.subTest(mode=mode):
                done = subprocess.run(
                    [*command, "--mode", mode, "--duration", "1", RULES + "/level"],
                    capture_output=True,
                    text=True,
                    timeout=30,
                    check=False,
                )
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertIn(RULES + "/level 20\n", done.stdout)
                self.assertIn("sync_response", done.stdout)


if __name__ == "__main__":
    report.main()
