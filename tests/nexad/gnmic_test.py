"""The server against gnmic, a client of another language and gRPC implementation (Go).

gnmic is taken from PATH, or built from its Go module into the build directory when go and the
module can be had; otherwise the tests are skipped and say why.
"""

import json
import subprocess

from kit import clients, report
from kit.case import ServerCase
from kit.certificates import Authority

PATH = "/test-rules:rules"


class Gnmic:
    """The tests; a subclass says how to connect."""

    connection = []

    @classmethod
    def setUpClass(cls):
        cls.gnmic = clients.find_go_program("gnmic")
        super().setUpClass()

    def run_gnmic(self, *words, timeout=30, expect=0):
        ran = subprocess.run(
            [
                self.gnmic,
                "-a",
                self.server.address,
                *self.connection,
                "-e",
                "json_ietf",
                "--timeout",
                "10s",
                *words,
            ],
            capture_output=True,
            text=True,
            timeout=timeout,
        )
        self.assertEqual(ran.returncode, expect, ran.stdout + ran.stderr)
        return ran.stdout + ran.stderr

    def test_capabilities(self):
        output = self.run_gnmic("capabilities")
        self.assertIn("test-rules", output)
        self.assertIn("JSON_IETF", output)

    def test_set_and_get(self):
        self.run_gnmic("set", "--update-path", PATH + "/level", "--update-value", "61")
        answer = json.loads(self.run_gnmic("get", "--path", PATH + "/level"))
        self.assertEqual(list(answer[0]["updates"][0]["values"].values()), [61])

    def test_a_refusal_is_an_error(self):
        output = self.run_gnmic(
            "set", "--update-path", PATH + "/level", "--update-value", "101", expect=1
        )
        self.assertIn("InvalidArgument", output)

    def test_subscribe(self):
        self.run_gnmic("set", "--update-path", PATH + "/level", "--update-value", "62")
        process = subprocess.Popen(
            [
                self.gnmic,
                "-a",
                self.server.address,
                *self.connection,
                "-e",
                "json_ietf",
                "subscribe",
                "--path",
                PATH + "/level",
                "--stream-mode",
                "sample",
                "--sample-interval",
                "200ms",
                "--format",
                "event",
            ],
            stdout=subprocess.PIPE,
            text=True,
        )
        try:
            lines = [process.stdout.readline() for _ in range(20)]
        finally:
            process.kill()
            process.wait()
            process.stdout.close()
        self.assertIn("62", "".join(lines))


class Plain(Gnmic, ServerCase):
    connection = ["--insecure"]


class Tls(Gnmic, ServerCase):
    @classmethod
    def prepare(cls):
        authority = Authority(cls.path("ca"))
        cert, key = authority.issue("server")
        cls.flags = ["--tls-cert", cert, "--tls-key", key]
        cls.connection = ["--tls-ca", authority.file]

    @classmethod
    def make_client(cls):
        return cls.server.client(ca=cls.connection[1])


if __name__ == "__main__":
    report.main()
