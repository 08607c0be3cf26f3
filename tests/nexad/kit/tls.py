"""A server with encryption, and with client certificates and users where a class asks for them."""

import subprocess

from gnmilib.client import Client
from kit.case import ServerCase
from kit.certificates import Authority


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

    def assert_handshake_failed(self, reason):
        """The log has, or will have, a line with a peer's address and this reason."""
        self.assertIsNotNone(
            self.server.wait_log(rf"TLS handshake with 127\.0\.0\.1:\d+ failed: .*{reason}"),
            self.server.log(),
        )
