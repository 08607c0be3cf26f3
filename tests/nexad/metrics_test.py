"""What Prometheus scrapes: counts that follow the calls, on a loopback address."""

import re
import time
import urllib.error
import urllib.request

import grpc

from kit import report
from kit.case import RulesCase

LEVEL = "/test-rules:rules/level"


class Metrics(RulesCase):
    flags = ["--insecure", "--metrics", "127.0.0.1:0"]

    def scrape(self):
        address = self.server.metrics_address()
        self.assertIsNotNone(address, self.server.log())
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        with opener.open(f"http://{address}/metrics", timeout=10) as answer:
            self.assertEqual(answer.status, 200)
            return answer.read().decode()

    def samples(self, *words):
        """The sum of the samples whose line has all of these words."""
        total, found = 0.0, False
        for line in self.scrape().splitlines():
            if not line.startswith("#") and all(word in line for word in words):
                total += float(line.split()[-1])
                found = True
        return total if found else None

    def settled(self, *words):
        """The sum when the calls before this test are counted too."""
        last = None
        while (now := self.samples(*words) or 0) != last:
            last = now
            time.sleep(0.5)
        return now

    def await_sample(self, expected, *words):
        """A call counts when it is over, which the server knows a moment after its client."""
        end = time.monotonic() + 10
        while self.samples(*words) != expected and time.monotonic() < end:
            time.sleep(0.01)
        self.assertEqual(self.samples(*words), expected)

    def test_every_line_is_of_the_exposition_format(self):
        self.client.capabilities()
        sample = re.compile(r'^[a-zA-Z_:][\w:]*(\{([\w]+="[^"]*",?)*\})? -?[\d.e+-]+(\+Inf|NaN)?$')
        text = self.scrape()
        for line in text.splitlines():
            if not line.startswith("# "):
                self.assertRegex(line, sample)
        self.assertIn("# HELP nexad_", text)
        self.assertIn("# TYPE nexad_", text)

    def test_calls_are_counted_by_method_and_code(self):
        before = self.settled("nexad_", "_total", "Set", "OK")
        refused = self.samples("nexad_", "_total", "Set", "INVALID_ARGUMENT") or 0
        for level in (1, 2, 3):
            self.client.set(update=[(LEVEL, level)])
        with self.refused("INVALID_ARGUMENT"):
            self.client.set(update=[(LEVEL, 200)])
        self.await_sample(before + 3, "nexad_", "_total", "Set", "OK")
        self.await_sample(refused + 1, "nexad_", "_total", "Set", "INVALID_ARGUMENT")

    def test_open_streams_are_shown(self):
        before = self.samples("nexad_subscriptions ")
        self.assertIsNotNone(before)
        stream = self.client.subscribe(LEVEL, interval=10)
        next(iter(stream))
        self.assertEqual(self.samples("nexad_subscriptions "), before + 1)
        stream.cancel()
        self.await_sample(before, "nexad_subscriptions ")

    def test_other_pages_are_not_there(self):
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        with self.assertRaises(urllib.error.HTTPError) as caught:
            opener.open(f"http://{self.server.metrics_address()}/etc/passwd", timeout=10)
        self.assertEqual(caught.exception.code, 404)

    def test_no_names_of_clients_make_labels(self):
        with self.assertRaises(grpc.RpcError):
            self.client.get("/some-name-of-a-client:x")
        self.assertNotIn("some-name-of-a-client", self.scrape())


if __name__ == "__main__":
    report.main()
