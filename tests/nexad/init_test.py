"""nexa init: a newcomer's directory, from which the server starts and a client logs in."""

import os
import re
import shlex
import shutil
import stat
import subprocess
import tempfile
import time
import unittest

import grpc

from gnmilib.client import Client
from kit import report
from kit.server import RULES, YUMA, program

RULES_DIR = RULES[1]


def init(*words):
    return subprocess.run(
        [program("nexa", "NEXA"), "init", *words], capture_output=True, text=True, timeout=60
    )


class InitCase(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="nexad-test-")
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.directory = os.path.join(self.folder, "first try")

    def made(self, *words):
        """What nexa init printed about the directory that it made."""
        ran = init(self.directory, "--yang-dir", RULES_DIR, *words)
        self.assertEqual((ran.returncode, ran.stderr), (0, ""))
        return ran.stdout

    def path(self, *names):
        return os.path.join(self.directory, *names)

    def text(self, *names):
        with open(self.path(*names), encoding="utf-8") as file:
            return file.read()


class MakesADirectory(InitCase):
    def test_it_holds_what_the_help_lists_and_nothing_else(self):
        self.made()
        found = {
            os.path.relpath(os.path.join(folder, name), self.directory): stat.S_IMODE(
                os.stat(os.path.join(folder, name)).st_mode
            )
            for folder, _, names in os.walk(self.directory)
            for name in names
        }
        self.assertEqual(
            found,
            {
                "nexad.toml": 0o644,
                "users": 0o600,
                "tls/ca.pem": 0o644,
                "tls/ca-key.pem": 0o600,
                "tls/server.pem": 0o644,
                "tls/server-key.pem": 0o600,
            },
        )
        self.assertEqual(stat.S_IMODE(os.stat(self.directory).st_mode), 0o700)

    def test_the_password_is_in_no_file_and_not_the_same_twice(self):
        passwords = set()
        for name in ("one", "two"):
            self.directory = os.path.join(self.folder, name)
            password = re.search(r"\n\n  (\w{20})\n\n", self.made()).group(1)
            passwords.add(password)
            for file in ("nexad.toml", "users"):
                self.assertNotIn(password, self.text(file))
        self.assertEqual(len(passwords), 2)

    def test_the_certificate_is_for_the_names_that_are_given(self):
        self.made("--name", "router-1.example.net", "--name", "192.0.2.7", "--days", "10")
        shown = subprocess.run(
            ["openssl", "x509", "-in", self.path("tls", "server.pem"), "-noout"]
            + ["-ext", "subjectAltName", "-checkend", str(9 * 86400)],
            capture_output=True,
            text=True,
            timeout=60,
        )
        self.assertEqual(shown.returncode, 0, shown.stdout)
        for name in ("DNS:localhost", "DNS:router-1.example.net", "Address:192.0.2.7"):
            self.assertIn(name, shown.stdout)
        ends = subprocess.run(
            ["openssl", "x509", "-in", self.path("tls", "server.pem"), "-noout"]
            + ["-checkend", str(11 * 86400)],
            capture_output=True,
            timeout=60,
        )
        self.assertEqual(ends.returncode, 1)
        subprocess.run(
            ["openssl", "verify", "-x509_strict", "-CAfile", self.path("tls", "ca.pem")]
            + [self.path("tls", "server.pem")],
            check=True,
            capture_output=True,
            timeout=60,
        )

    def test_the_certificates_may_be_valid_for_a_hundred_years(self):
        self.made("--days", "36500")
        now = time.time()
        for name in ("ca.pem", "server.pem"):
            printed = subprocess.run(
                ["openssl", "x509", "-in", self.path("tls", name), "-noout", "-enddate"],
                check=True,
                capture_output=True,
                text=True,
            ).stdout
            years = int(printed.split()[-2]) - time.gmtime(now).tm_year
            self.assertIn(years, (99, 100), printed)

    def test_an_empty_directory_is_taken(self):
        os.mkdir(self.directory)
        self.made()

    @unittest.skipUnless(os.path.isdir(YUMA + "/modules/ietf"), "there is no libyuma-base")
    def test_the_usual_modules_are_those_of_the_ietf(self):
        ran = init(self.directory)
        self.assertEqual((ran.returncode, ran.stderr), (0, ""))
        self.assertIn('module = ["ietf-interfaces", "ietf-ip"', self.text("nexad.toml"))


class Refuses(InitCase):
    def refused(self, status, text, *words):
        ran = init(*words)
        self.assertEqual((ran.returncode, ran.stdout), (status, ""))
        self.assertIn(text, ran.stderr)

    def test_a_directory_that_is_not_empty(self):
        os.mkdir(self.directory)
        kept = self.path("kept")
        with open(kept, "w", encoding="utf-8"):
            pass
        self.refused(1, "is not empty", self.directory, "--yang-dir", RULES_DIR)
        self.assertEqual(os.listdir(self.directory), ["kept"])

    def test_modules_that_cannot_be_loaded(self):
        self.refused(1, "no-such", self.directory, "-p", RULES_DIR, "-m", "no-such")
        self.assertFalse(os.path.exists(self.directory))

    def test_a_name_that_cannot_stand_in_a_certificate(self):
        words = (self.directory, "-p", RULES_DIR, "--name", "a,b")
        self.refused(1, '"a,b" is neither a host name nor an address', *words)

    def test_a_user_that_cannot_stand_in_the_file(self):
        self.refused(2, "no name of a user", self.directory, "-p", RULES_DIR, "--user", "a:b")

    def test_a_directory_that_cannot_be_made(self):
        self.refused(1, "/dev/null/x", "/dev/null/x", "-p", RULES_DIR)


class Starts(InitCase):
    def start(self, printed):
        """Runs the command that was printed, at any free port; the server's address."""
        words = shlex.split(re.search(r"^  (nexad .*)$", printed, re.MULTILINE).group(1))
        ready = os.path.join(self.folder, "address")
        process = subprocess.Popen(
            [program("nexad", "NEXAD"), *words[1:]],
            cwd="/",
            stderr=subprocess.DEVNULL,
            env={
                **os.environ,
                "NEXAD_LISTEN": "127.0.0.1:0",
                "NEXAD_METRICS": "off",
                "NEXAD_READY_FILE": ready,
            },
        )
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)
        ends = time.monotonic() + 60
        while not os.path.exists(ready):
            self.assertIsNone(process.poll())
            self.assertLess(time.monotonic(), ends)
            time.sleep(0.02)
        with open(ready, encoding="utf-8") as file:
            return file.read().strip()

    def test_a_client_logs_in_with_the_password_and_writes(self):
        printed = self.made("--user", "first")
        password = re.search(r"\n\n  (\w{20})\n\n", printed).group(1)
        self.assertIn("-u first -p " + password, printed)
        address = self.start(printed)
        how = {"ca": self.path("tls", "ca.pem"), "user": "first"}
        with Client(address, password=password, **how) as client:
            client.set(update=[("/test-rules:rules/level", 7)])
            self.assertEqual(client.value("/test-rules:rules/level"), 7)
        with Client(address, password=password[:-1], **how) as client:
            with self.assertRaises(grpc.RpcError) as caught:
                client.value("/test-rules:rules/level")
        self.assertEqual(caught.exception.code(), grpc.StatusCode.UNAUTHENTICATED)
        self.assertEqual(stat.S_IMODE(os.stat(self.path("data")).st_mode), 0o700)


if __name__ == "__main__":
    report.main()
