"""Which TLS does the server take, and from whom? A table of what it has to refuse, and why."""

import os
import socket
import ssl
import warnings

import grpc

from kit import report
from kit.certificates import Authority
from kit.tls import TlsCase

CLIENT = "extendedKeyUsage=clientAuth\n"
PAST, LONG_AGO = "200101000000Z", "190101000000Z"
FUTURE, LATER = "400101000000Z", "410101000000Z"


class Matrix(TlsCase):
    client_authority = True

    @classmethod
    def prepare(cls):
        super().prepare()
        issue = cls.authority.special
        cls.pairs = {
            "good": issue("good", CLIENT),
            "good too": issue("good-too", "keyUsage=digitalSignature\n"),
            "expired": issue("expired", CLIENT, start=LONG_AGO, end=PAST),
            "not yet valid": issue("early", CLIENT, start=FUTURE, end=LATER),
            "of a server": issue("purpose", "extendedKeyUsage=serverAuth\n"),
            "revoked": issue("revoked", CLIENT),
        }
        below = cls.authority.intermediate(cls.path("below"))
        cert, key = below.special("below", CLIENT)
        cls.pairs["without its intermediate"] = (cert, key)
        chain = cls.path("chain.pem")
        with open(chain, "w", encoding="ascii") as file:
            for part in (cert, below.file):
                with open(part, encoding="ascii") as text:
                    file.write(text.read())
        cls.pairs["with its intermediate"] = (chain, key)
        other = Authority(cls.path("other"), "Test CA")  # of the same name, with another key
        cls.pairs["of another authority"] = other.special("stranger", CLIENT)
        cls.pairs["of its own"] = (other.file, other._key)
        cls.other = other
        cls.crl = cls.path("revoked.crl")
        cls.renew(cls.authority.revocation_list(cls.pairs["revoked"][0]))
        cls.flags += ["--client-crl", cls.crl]

    @classmethod
    def renew(cls, file):
        with open(file, "rb") as source, open(cls.crl + ".new", "wb") as target:
            target.write(source.read())
        os.replace(cls.crl + ".new", cls.crl)

    @classmethod
    def make_client(cls):
        cert, key = cls.pairs["good"]
        return cls.as_client(cert=cert, key=key)

    def handshake(self, pair="good", **how):
        """What the server makes of a client: its protocol and suite, or the alert."""
        context = ssl.create_default_context(cafile=self.authority.file)
        context.set_alpn_protocols(how.get("protocols", ["h2"]))
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", DeprecationWarning)
            context.minimum_version = how.get("lowest", ssl.TLSVersion.TLSv1_2)
            context.maximum_version = how.get("highest", ssl.TLSVersion.TLSv1_3)
        if "suites" in how:
            context.set_ciphers(how["suites"])
        if pair is not None:
            context.load_cert_chain(*self.pairs[pair])
        host, _, port = self.server.address.rpartition(":")
        try:
            with socket.create_connection((host, int(port)), timeout=10) as plain:
                with context.wrap_socket(plain, server_hostname="localhost") as connection:
                    # TLS 1.3 tells a client that it is refused only after the handshake.
                    connection.settimeout(10)
                    if not connection.recv(1):
                        return "closed"
                    return connection.version(), connection.cipher()[0]
        except (ssl.SSLError, ConnectionError) as error:
            return getattr(error, "reason", None) or "closed"

    def test_versions(self):
        self.assertEqual(self.handshake()[0], "TLSv1.3")
        self.assertEqual(self.handshake(highest=ssl.TLSVersion.TLSv1_2)[0], "TLSv1.2")
        old = {"lowest": ssl.TLSVersion.TLSv1, "suites": "ALL:@SECLEVEL=0"}
        for version in (ssl.TLSVersion.TLSv1, ssl.TLSVersion.TLSv1_1):
            with self.subTest(version=version):
                self.assertIsInstance(self.handshake(highest=version, **old), str)
                self.assert_handshake_failed("unsupported protocol|version too low")

    def test_suites(self):
        two = {"highest": ssl.TLSVersion.TLSv1_2}
        for suite in ("ECDHE-ECDSA-AES128-GCM-SHA256", "ECDHE-ECDSA-AES256-GCM-SHA384"):
            self.assertEqual(self.handshake(suites=suite, **two), ("TLSv1.2", suite))
        for suite in (
            "ECDHE-ECDSA-AES128-SHA",
            "ECDHE-ECDSA-AES256-SHA384",
            "AES128-GCM-SHA256",
            "DHE-RSA-AES128-GCM-SHA256",
            "ECDHE-ECDSA-NULL-SHA:@SECLEVEL=0",
            "AECDH-AES128-SHA:@SECLEVEL=0",
            "PSK-AES128-CBC-SHA",
        ):
            with self.subTest(suite=suite):
                self.assertIsInstance(self.handshake(suites=suite, **two), str)

    def test_certificates_of_clients(self):
        for pair, reason in (
            (None, "peer did not return a certificate"),
            ("expired", "certificate has expired"),
            ("not yet valid", "certificate is not yet valid"),
            ("of a server", "unsuitable certificate purpose|unsupported certificate purpose"),
            (
                "of another authority",
                "unable to get local issuer certificate|certificate signature failure",
            ),
            ("of its own", "self.signed certificate|certificate signature failure"),
            ("without its intermediate", "unable to get local issuer certificate"),
            ("revoked", "certificate revoked"),
        ):
            for highest in (ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3):
                with self.subTest(pair=pair, highest=highest):
                    self.assertIsInstance(self.handshake(pair, highest=highest), str)
                    self.assert_handshake_failed(reason)
        for pair in ("good", "good too", "with its intermediate"):
            for highest in (ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3):
                with self.subTest(pair=pair, highest=highest):
                    self.assertIsInstance(self.handshake(pair, highest=highest), tuple)

    def test_names_of_the_server(self):
        cert, key = self.pairs["good"]
        for name, is_right in (("localhost", True), ("nexad.example", False)):
            with self.as_client(cert=cert, key=key, server_name=name, timeout=5) as client:
                if is_right:
                    client.capabilities()
                else:
                    with self.assertRaises(grpc.RpcError):
                        client.capabilities()

    def test_a_list_is_renewed_while_the_server_runs(self):
        cert, _ = self.authority.special("later", CLIENT)
        self.pairs["later"] = (cert, cert.replace(".pem", "-key.pem"))
        self.assertIsInstance(self.handshake("later"), tuple)
        before = self.server.log().count("certificate renewed")
        self.renew(self.authority.revocation_list(cert))
        self.server.signal(1)
        self.assertIsNotNone(
            self.server.wait_log(r"(?s)(certificate renewed.*){%d}" % (before + 1))
        )
        self.assertIsInstance(self.handshake("later"), str)
        self.assertIsInstance(self.handshake("revoked"), str)
        self.assertIsInstance(self.handshake("good"), tuple)

    def test_a_list_that_cannot_be_used_changes_nothing(self):
        with open(self.crl, "rb") as file:
            good = file.read()
        stranger = self.other.revocation_list()
        for content, why in (
            (b"", "it is empty"),
            (b"no list", "there is no revocation list in it"),
            (good[: len(good) // 2], ""),
            (open(stranger, "rb").read(), "a list is not of one of the authorities"),
        ):
            with open(self.crl, "wb") as file:
                file.write(content)
            self.server.signal(1)
            self.assertIsNotNone(
                self.server.wait_log("the certificate in use stays: .*revoked.crl: " + why)
            )
            self.assertIsInstance(self.handshake("revoked"), str)
            self.assertIsInstance(self.handshake("good"), tuple)
        with open(self.crl, "wb") as file:
            file.write(good)


if __name__ == "__main__":
    report.main()
