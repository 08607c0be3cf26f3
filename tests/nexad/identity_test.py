"""TLS, client certificates, users and roles: who is let in, and who may write."""

import os
import socket
import subprocess
import time

import grpc

from gnmilib.client import Client
from kit import report
from kit.case import ServerCase
from kit.certificates import Authority
from kit.server import DidNotStart, Server
from kit.tls import TlsCase

LEVEL = "/test-rules:rules/level"


class Tls(TlsCase):
    def test_serves_over_tls(self):
        self.client.set(update=[(LEVEL, 3)])
        self.assertEqual(self.client.value(LEVEL), 3)

    def test_row15_a_plain_client_is_turned_away(self):
        with Client(self.server.address, insecure=True, timeout=5) as client:
            with self.refused("UNAVAILABLE"):
                client.capabilities()

    def test_a_client_that_does_not_trust_the_server_is_not_served(self):
        stranger = Authority(self.path("stranger"))
        with Client(self.server.address, ca=stranger.file, timeout=5) as client:
            with self.refused("UNAVAILABLE"):
                client.capabilities()

    def test_row15_old_protocol_versions_are_refused_by_the_server(self):
        for version in ("-tls1", "-tls1_1"):
            ran = subprocess.run(
                ["openssl", "s_client", version, "-cipher", "ALL:@SECLEVEL=0"]
                + ["-connect", self.server.address],
                input="",
                capture_output=True,
                text=True,
                timeout=20,
            )
            self.assertNotEqual(ran.returncode, 0)
            self.assert_handshake_failed("unsupported protocol")

    def test_row15_tls_1_2_is_taken(self):
        ran = subprocess.run(
            ["openssl", "s_client", "-tls1_2", "-alpn", "h2", "-connect", self.server.address],
            input="",
            capture_output=True,
            text=True,
            errors="replace",
            timeout=20,
        )
        self.assertEqual(ran.returncode, 0, ran.stderr)
        self.assertIn("Protocol  : TLSv1.2", ran.stdout)

    def test_a_failed_handshake_names_its_peer(self):
        with Client(self.server.address, insecure=True, timeout=5) as client:
            with self.refused("UNAVAILABLE"):
                client.capabilities()
        self.assert_handshake_failed("the client does not speak TLS")
        stranger = Authority(self.path("another-stranger"))
        with Client(self.server.address, ca=stranger.file, timeout=5) as client:
            with self.refused("UNAVAILABLE"):
                client.capabilities()
        self.assert_handshake_failed("the client gave up or was too slow")
        # gRPC's client goes without a word; others tell why.
        subprocess.run(
            ["openssl", "s_client", "-verify_return_error", "-CAfile", stranger.file]
            + ["-connect", self.server.address],
            input="",
            capture_output=True,
            text=True,
            timeout=20,
        )
        self.assert_handshake_failed("the client says: unknown CA")

    def test_handshakes_that_succeed_leave_no_line(self):
        with self.as_client() as client:
            client.capabilities()
        with socket.socket() as plain:
            host, port = self.server.address.split(":")
            plain.connect((host, int(port)))
            port = plain.getsockname()[1]
        self.client.capabilities()
        self.assertNotIn(f"TLS handshake with 127.0.0.1:{port} ", self.server.log())


class MutualTls(TlsCase):
    client_authority = True

    @classmethod
    def make_client(cls):
        cert, key = cls.authority.issue("operator")
        return cls.as_client(cert=cert, key=key)

    def test_a_client_with_a_certificate_is_served(self):
        self.client.set(update=[(LEVEL, 4)])
        self.assertEqual(self.client.value(LEVEL), 4)

    def test_row15_a_client_without_a_certificate_is_turned_away(self):
        with self.as_client(timeout=5) as client, self.refused("UNAVAILABLE"):
            client.capabilities()

    def test_a_certificate_of_another_authority_is_turned_away(self):
        cert, key = Authority(self.path("stranger")).issue("operator")
        with self.as_client(cert=cert, key=key, timeout=5) as client, self.refused("UNAVAILABLE"):
            client.capabilities()

    def test_a_failed_handshake_names_its_peer_and_the_reason(self):
        with self.as_client(timeout=5) as client, self.refused("UNAVAILABLE"):
            client.capabilities()
        self.assert_handshake_failed("peer did not return a certificate")
        cert, key = Authority(self.path("stranger2")).issue("operator")
        with self.as_client(cert=cert, key=key, timeout=5) as client, self.refused("UNAVAILABLE"):
            client.capabilities()
        self.assert_handshake_failed("certificate verify failed: unable to get local issuer")
        # The library's own line says nothing more.
        self.assertNotIn("Handshake failed with fatal error", self.server.log())

    def test_the_audit_names_the_certificate(self):
        self.client.set(update=[(LEVEL, 5)])
        self.assertIsNotNone(self.server.wait_log(r"(?m)^.*audit.*operator.*$"))


class FarDates(TlsCase):
    """Certificates of a device that nobody visits: valid beyond 2050, when their dates take another
    form, and far beyond 2038, when 32 bits of seconds end.
    """

    client_authority = True
    DAYS = 36525

    @classmethod
    def prepare(cls):
        super().prepare()
        cls.authority = Authority(cls.path("far"), days=cls.DAYS)
        cls.cert, cls.key = cls.authority.issue("server", days=cls.DAYS)
        cls.flags = ["--tls-cert", cls.cert, "--tls-key", cls.key]
        cls.flags += ["--tls-ca", cls.authority.file]

    @classmethod
    def make_client(cls):
        cert, key = cls.authority.issue("robot", days=cls.DAYS)
        return cls.as_client(cert=cert, key=key)

    def test_are_served_and_taken(self):
        self.client.set(update=[(LEVEL, 6)])
        self.assertEqual(self.client.value(LEVEL), 6)

    def test_are_named_by_the_judgement_of_the_settings(self):
        ran = subprocess.run(
            [*self.server.command(), "--check-config"], capture_output=True, text=True, timeout=60
        )
        self.assertEqual(ran.returncode, 0, ran.stderr)
        year = time.gmtime().tm_year + 100
        self.assertRegex(ran.stdout, rf"certificate valid until .* ({year - 1}|{year}) GMT")


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

    def test_each_failed_login_leaves_an_audit_line(self):
        with self.as_client(user="mallory", password="sEcReT-guess") as client:
            self.assert_refused_everywhere(client, "UNAUTHENTICATED")
        for method in ("Capabilities", "Get", "Set", "Subscribe"):
            with self.subTest(method=method):
                self.assertIsNotNone(
                    self.server.wait_log(
                        r'(?m)audit: login user="mallory" peer="ipv4:127\.0\.0\.1:\d+" '
                        rf"method={method} verdict=UNAUTHENTICATED reason="
                    ),
                    self.server.log(),
                )
        self.assertIsNone(self.server.wait_log(r'audit: set user="mallory"', timeout=0))

    def test_one_value_given_twice_counts_once(self):
        with self.as_client() as client:
            name, word = ("username", "alice"), ("password", "correct horse")
            client.metadata = [name, word, name, word]
            client.set(update=[(LEVEL, 11)])
            for other, text in (
                (("username", "bob"), "the call has two different user names"),
                (("password", "battery"), "the call has two different passwords"),
                (("password", ""), "the call has two different passwords"),
            ):
                client.metadata = [name, word, other]
                with self.subTest(other=other):
                    with self.refused("UNAUTHENTICATED", "Authentication failed: " + text):
                        client.capabilities()

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
    users = [
        ("operator", "read-write", None),
        ("monitor", "read-only", None),
        ("dora", "read-write", "good word"),
    ]

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

    def test_empty_names_and_passwords_beside_a_certificate_are_none(self):
        for metadata in (
            [("username", ""), ("password", "")],
            [("username", "")],
            [("username", "operator")],
            [("username", "operator"), ("password", "")],
            [("username", "operator"), ("username", "operator")],
        ):
            with self.subTest(metadata=metadata):
                self.client.metadata = metadata
                self.client.set(update=[(LEVEL, 12)])
        self.client.metadata = []

    def test_row15_a_certificate_vouches_for_its_own_user_only(self):
        wrong = "user name, password or certificate is wrong"
        other = "the certificate is of one user and the user name of another"
        for metadata, text in (
            ([("username", "monitor")], other),
            ([("username", "monitor"), ("password", "x")], other),
            ([("username", "dora"), ("password", "good word")], other),
            ([("username", "operator"), ("password", "x")], wrong),
            ([("password", "x")], wrong),
        ):
            with self.subTest(metadata=metadata):
                self.client.metadata = metadata
                with self.refused("UNAUTHENTICATED", "Authentication failed: " + text):
                    self.client.capabilities()
        self.client.metadata = []

    def test_a_password_counts_beside_the_certificate_of_a_machine(self):
        with self.as_client(**self.certificate_of("host-7")) as client:
            with self.refused("UNAUTHENTICATED"):
                client.capabilities()
            client.metadata = [("username", "dora"), ("password", "good word")]
            client.set(update=[(LEVEL, 13)])

    def test_a_certificate_with_two_names_is_refused(self):
        cert, key = self.authority.issue("two", common_name="operator/CN=monitor")
        with self.as_client(cert=cert, key=key) as client:
            with self.refused(
                "UNAUTHENTICATED",
                "Authentication failed: the certificate has more than one common name",
            ):
                client.capabilities()

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

    def test_a_users_file_that_everybody_can_write(self):
        users = self.write("open-users", "alice:read-write:*\n", 0o666)
        self.refuse_start(
            ["--insecure", "--users", users], f"{users}: every user of this machine can write it"
        )


if __name__ == "__main__":
    report.main()
