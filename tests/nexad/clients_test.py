"""docs/clients.md: each line runs as it stands there, where the client can be had.

A client is taken from PATH, or made ready in the build directory: gnmic, gnmi_cli and grpcurl by
go, pygnmi by pip in an environment of its own, grpc-js by npm. Without one its tests are skipped and say why.
"""

import os
import re
import select
import shutil
import signal
import subprocess
import sys
import time
import unittest

from kit import clients, report
from kit.case import ServerCase
from kit.certificates import Authority
from kit.server import ietf_modules, program

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PASSWORD = "a good password"
HOSTNAME = "/ietf-system:system/hostname"
SHOWS = re.compile(r"<!-- shows: (.*) -->")


class Block:
    """Lines of the document that are run together, and a word of what they have to show."""

    def __init__(self, language, lines, shows, streams):
        self.language = language
        self.text = "\n".join(lines) + "\n"
        self.shows = shows
        self.streams = streams


def blocks_of_document():
    """{(client, way to connect): its blocks}"""
    with open(os.path.join(ROOT, "docs", "clients.md"), encoding="utf-8") as file:
        lines = [*file.read().splitlines(), ""]
    found = {}
    client = way = shows = None
    streams = False
    at = 0
    while at < len(lines):
        line = lines[at]
        at += 1
        if line.startswith("## "):
            client, way = line[3:], None
        elif line.startswith("### "):
            way, streams = line[4:], False
        elif SHOWS.match(line):
            shows = SHOWS.match(line)[1]
        elif line.startswith(("    ", "```")) and way:
            fenced = line.startswith("```")
            end = at
            while lines[end] != "```" if fenced else lines[end].startswith("    "):
                end += 1
            body = lines[at:end] if fenced else [text[4:] for text in lines[at - 1 : end]]
            block = Block(line[3:] if fenced else "bash", body, shows, streams)
            found.setdefault((client, way), []).append(block)
            at, shows, streams = end + 1, None, False
        elif line:
            streams = "until it is stopped" in line
    return found


BLOCKS = blocks_of_document()


class Way(ServerCase):
    """A server that is connected to in one way, with the files of the document beside it."""

    schema = ietf_modules()
    way = None
    __test__ = False

    @classmethod
    def prepare(cls):
        authority = Authority(cls.path("tls"))
        authority.issue("server")
        authority.issue("operator")
        os.symlink(os.path.join(ROOT, "proto"), cls.path("proto"))
        hashed = subprocess.run(
            [program("nexad", "NEXAD"), "hash-password"],
            input=PASSWORD + "\n",
            capture_output=True,
            text=True,
            check=True,
            timeout=60,
        ).stdout.strip()
        users = cls.write("users", f"alice:read-write:{hashed}\noperator:read-only:*\n", 0o600)
        cert, key = cls.path("tls/server.pem"), cls.path("tls/server-key.pem")
        tls = ["--tls-cert", cert, "--tls-key", key]
        cls.flags = {
            "Plain": ["--insecure"],
            "TLS and users": [*tls, "--users", users],
            "Mutual TLS": [*tls, "--users", users, "--tls-ca", cls.path("tls/ca.pem")],
        }[cls.way]

    @classmethod
    def make_client(cls):
        if cls.way == "Plain":
            return cls.server.client()
        how = {"ca": cls.path("tls/ca.pem"), "user": "alice", "password": PASSWORD}
        if cls.way == "Mutual TLS":
            how |= {"cert": cls.path("tls/operator.pem"), "key": cls.path("tls/operator-key.pem")}
            how |= {"user": None, "password": None}
        return cls.server.client(**how)

    def setUp(self):
        if self.way != "Mutual TLS":  # the operator there only reads
            self.client.set(update=[(HOSTNAME, "core-1")])

    def run_blocks(self, client, runner):
        blocks = BLOCKS.get((client, self.way), [])
        if not blocks:
            self.skipTest(f"the document connects {client} in other ways")
        for block in blocks:
            with self.subTest(block=block.text):
                self.run_block(block, runner)

    def run_block(self, block, runner):
        text = re.sub(r"\b9339\b", self.server.address.rpartition(":")[2], block.text)
        words, environment = runner(block.language, text, self.folder)
        process = subprocess.Popen(
            words,
            cwd=self.folder,
            env=environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            start_new_session=True,
        )
        shown = self.watch(process, block) if block.streams else process.communicate(timeout=60)[0]
        if not block.streams:
            self.assertEqual(process.returncode, 0, shown)
        self.assertIsNotNone(block.shows)
        self.assertIn(block.shows, shown)

    @staticmethod
    def watch(process, block):
        """What a stream shows until it has what it should, or ends."""
        shown = b""
        ends = time.monotonic() + 30
        while block.shows.encode() not in shown and time.monotonic() < ends:
            if select.select([process.stdout], [], [], 0.1)[0]:
                part = os.read(process.stdout.fileno(), 65536)
                if not part:
                    break
                shown += part
        os.killpg(process.pid, signal.SIGKILL)
        process.wait()
        process.stdout.close()
        return shown.decode()

    def test_gnmic(self):
        self.run_blocks("gnmic", clients.go_program("gnmic"))

    def test_gnmi_cli(self):
        self.run_blocks("gnmi_cli", clients.go_program("gnmi_cli"))

    def test_grpcurl(self):
        self.run_blocks("grpcurl", clients.go_program("grpcurl"))

    def test_grpc_js(self):
        self.run_blocks("grpc-js", clients.grpc_js())

    def test_pygnmi(self):
        self.run_blocks("pygnmi", clients.pygnmi())

    def test_telegraf(self):
        telegraf = shutil.which("telegraf")
        if not telegraf:
            self.skipTest("telegraf is not in PATH")
        for block in BLOCKS[("Telegraf", self.way)]:
            block.shows, block.streams = "core-1", True
            self.run_block(block, clients.telegraf(telegraf))


class Plain(Way):
    way = "Plain"


class TlsAndUsers(Way):
    way = "TLS and users"


class MutualTls(Way):
    way = "Mutual TLS"


class Document(unittest.TestCase):
    def test_every_client_is_there_in_every_way_that_it_has(self):
        ways = {"Plain", "TLS and users", "Mutual TLS"}
        told = {client: {way for name, way in BLOCKS if name == client} for client, _ in BLOCKS}
        self.assertEqual(
            told,
            {
                "gnmic": ways,
                "pygnmi": ways,
                "gnmi_cli": ways - {"TLS and users"},
                "grpcurl": ways,
                "grpc-js": ways,
                "Telegraf": ways,
            },
        )


del Way  # not a case of its own

if __name__ == "__main__":
    sys.dont_write_bytecode = True
    report.main()
