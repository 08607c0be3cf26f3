"""TLS, client certificates, users and roles: who is let in, and who may write."""

import os
import subprocess

import grpc

from gnmilib.client import Client
from kit import report
from kit.case import ServerCase
from kit.certificates import Authority
from kit.server import DidNotStart, Server

LEVEL = "/test-rules:rules/level"


def password_hash(password):
    """SHA-512 as crypt(5) writes it."""
    return subprocess.run(
        ["openssl", "passwd", "-6", password], check=True, capture_output=True, text=True
    ).stdout.strip()


class TlsCase(ServerCase):
    client_authority = False
    users = None

    @classmethod
    def prepare(cls):
        cls.authority = Authority(cls.path("ca"))
        cls.cert, cls.key = cls.authority.issue("server")
        cls.flags = ["--tls-cert", cls.cert, "--tls-key", cls.key]
        if cls.client_authority:
            cls.flags += ["--tls-ca", cls.authority.file]
        if cls.users:
            lines = [
                f"{name}:{role}:{password_hash(password) if password else '*'}"
                for name, role, password in cls.users
            ]
            cls.users_file = cls.write("users", "# test users\n" + "\n".join(lines) + "\n", 0o600)
            cls.flags += ["--users", cls.users_file]

    @classmethod
    def make_client(cls):
        return cls.as_client()

    @classmethod
    def as_client(cls, **how):
        return Client(cls.server.address, ca=cls.authority.file, **how)

    def certificate_of(self, name):
        cert, key = self.authority.issue(name)
        return {"cert": cert, "key": key}


class Tls(TlsCase):
    def test_serves_over_tls(self):
        self.client.set(update=[(LEVEL, 3)])
        self.assertEqual(self.client.value(LEVEL), 3)

    def test_a_plain_client_is_turned_away(self):
        with Client(self.server.address, insecure=True, timeout=5) as client:
            with self.refused("UNAVAILABLE"):
                client.capabilities()

    def test_a_client_that_does_not_trust_the_server_is_not_served(self):
        stranger = Authority(self.path("stranger"))
        with Client(self.server.address, ca=stranger.file, timeout=5) as client:
            with self.refused("UNAVAILABLE"):
                client.capabilities()

    def test_old_protocol_versions_are_refused(self):
        for version in ("-tls1", "-tls1_1"):
            ran = subprocess.run(
                ["openssl", "s_client", version, "-connect", self.server.address],
                input="",
                capture_output=True,
                text=True,
                timeout=20,
            )
            self.assertNotEqual(ran.returncode, 0)


class MutualTls(TlsCase):
    client_authority = True

    @classmethod
    def make_client(cls):
        cert, key = cls.authority.issue("operator")
        return cls.as_client(cert=cert, key=key)

    def test_a_client_with_a_certificate_is_served(self):
        self.client.set(update=[(LEVEL, 4)])
        self.assertEqual(self.client.value(LEVEL), 4)

    def test_a_client_without_one_is_turned_away(self):
        with self.as_client(timeout=5) as client, self.refused("UNAVAILABLE"):
            client.capabilities()

    def test_a_certificate_of_another_authority_is_turned_away(self):
        cert, key = Authority(self.path("stranger")).issue("operator")
        with self.as_client(cert=cert, key=key, timeout=5) as client, self.refused("UNAVAILABLE"):
            client.capabilities()

    def test_the_audit_names_the_certificate(self):
        self.client.set(update=[(LEVEL, 5)])
        self.assertIsNotNone(self.server.wait_log(r"(?m)^.*audit.*operator.*$"))


class Users(TlsCase):
    users = [
        ("alice", "read-write", "correct horse"),
        ("bob", "read-only", "battery"),
        ("carol", "read-only", None),
    ]

    @classmethod
    def make_client(cls):
        return cls.as_client(user="alice", password="correct horse")

    def assert_refused_everywhere(self, client, code):
        for call in (
            client.capabilities,
            lambda: client.get(LEVEL),
            lambda: client.set(update=[(LEVEL, 1)]),
            lambda: list(client.subscribe(LEVEL, timeout=5)),
        ):
            with self.refused(code):
                call()

    def test_read_write_may_set_and_read(self):
        self.client.set(update=[(LEVEL, 6)])
        self.assertEqual(self.client.value(LEVEL), 6)

    def test_read_only_may_read_and_not_set(self):
        with self.as_client(user="bob", password="battery") as bob:
            self.client.set(update=[(LEVEL, 7)])
            self.assertEqual(bob.value(LEVEL), 7)
            bob.capabilities()
            with self.refused("PERMISSION_DENIED", "Set needs a user of the role read-write"):
                bob.set(update=[(LEVEL, 8)])
            self.assertEqual(bob.value(LEVEL), 7)

    def test_wrong_missing_and_unknown_credentials_are_one_refusal(self):
        texts = set()
        for how in (
            {"user": "alice", "password": "wrong"},
            {"user": "nobody", "password": "x"},
            {"user": "alice", "password": ""},
            {"user": "carol", "password": "*"},
            {"user": "carol", "password": ""},
            {},
        ):
            with self.subTest(how=how), self.as_client(**how) as client:
                self.assert_refused_everywhere(client, "UNAUTHENTICATED")
                with self.assertRaises(grpc.RpcError) as caught:
                    client.capabilities()
                texts.add(caught.exception.details())
        self.assertEqual(len(texts), 1, texts)

    def test_each_set_leaves_an_audit_line(self):
        self.client.set(update=[(LEVEL, 9)])
        self.assertIsNotNone(self.server.wait_log(r"(?m)^.*audit.*alice.*$"))
        with (
            self.as_client(user="bob", password="battery") as bob,
            self.refused("PERMISSION_DENIED"),
        ):
            bob.set(update=[(LEVEL, 9)])
        self.assertIsNotNone(self.server.wait_log(r"(?m)^.*audit.*bob.*PERMISSION_DENIED.*$"))

    def test_no_password_reaches_the_log(self):
        with self.as_client(user="alice", password="sEcReT-guess") as client:
            with self.refused("UNAUTHENTICATED"):
                client.set(update=[(LEVEL, 1)])
        log = self.server.log()
        self.assertNotIn("sEcReT-guess", log)
        self.assertNotIn("correct horse", log)

    def test_the_history_names_the_author(self):
        self.client.set(update=[(LEVEL, 41)])
        self.server.stop()
        ran = subprocess.run(
            [os.environ["NEXA"], "history", "--data", self.server.data],
            capture_output=True,
            text=True,
            timeout=60,
        )
        self.server.start()
        type(self).client = self.make_client()
        self.assertIn("alice", ran.stdout)


class UsersByCertificate(TlsCase):
    client_authority = True
    users = [("operator", "read-write", None), ("monitor", "read-only", None)]

    @classmethod
    def make_client(cls):
        cert, key = cls.authority.issue("operator")
        return cls.as_client(cert=cert, key=key)

    def test_the_common_name_is_the_user(self):
        self.client.set(update=[(LEVEL, 2)])
        with self.as_client(**self.certificate_of("monitor")) as monitor:
            self.assertEqual(monitor.value(LEVEL), 2)
            with self.refused("PERMISSION_DENIED"):
                monitor.set(update=[(LEVEL, 3)])

    def test_a_name_that_no_user_has_is_refused(self):
        with self.as_client(**self.certificate_of("mallory")) as mallory:
            with self.refused("UNAUTHENTICATED"):
                mallory.get(LEVEL)


class Start(ServerCase):
    """TLS unless told otherwise, and no half configured one."""

    def refuse_start(self, flags, *words):
        server = Server(self.path("other"), self.schema, flags)
        with self.assertRaises(DidNotStart) as caught:
            server.start()
        for word in words:
            self.assertIn(word, str(caught.exception))

    def test_without_certificate_and_insecure_it_does_not_start(self):
        self.refuse_start([], "--tls-cert", "--insecure")

    def test_a_certificate_without_its_key(self):
        cert, _ = Authority(self.path("ca1")).issue("server")
        self.refuse_start(["--tls-cert", cert], "--tls-key")

    def test_a_key_that_does_not_fit(self):
        authority = Authority(self.path("ca2"))
        cert, _ = authority.issue("server")
        _, key = authority.issue("other")
        self.refuse_start(["--tls-cert", cert, "--tls-key", key], key)

    def test_an_empty_certificate_file(self):
        _, key = Authority(self.path("ca3")).issue("server")
        empty = self.write("empty.pem", "")
        self.refuse_start(["--tls-cert", empty, "--tls-key", key], empty)

    def test_a_users_file_with_an_error_names_the_line(self):
        users = self.write("bad-users", "alice:read-write:*\nbob:emperor:*\n", 0o600)
        self.refuse_start(["--insecure", "--users", users], f"{users}:2")


if __name__ == "__main__":
    report.main()
