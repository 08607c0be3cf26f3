"""A new certificate takes the place of the old one while calls go on; a bad one never does."""

import os
import shutil
import signal
import ssl
import subprocess
import threading
import time

import grpc

from gnmilib.client import Client
from kit import report
from kit.case import ServerCase
from kit.certificates import Authority

LEVEL = "/test-rules:rules/level"


class Rotation(ServerCase):
    @classmethod
    def prepare(cls):
        cls.authority = Authority(cls.path("ca"))
        cls.cert, cls.key = cls.path("tls.pem"), cls.path("tls-key.pem")
        cls.install(cls.authority.issue("server", "first"))
        cls.flags = ["--tls-cert", cls.cert, "--tls-key", cls.key]

    @classmethod
    def make_client(cls):
        return Client(cls.server.address, ca=cls.authority.file)

    @classmethod
    def install(cls, pair):
        for source, target in zip(pair, (cls.cert, cls.key)):
            shutil.copyfile(source, target + ".new")
            os.rename(target + ".new", target)

    def served_serial(self):
        host, _, port = self.server.address.rpartition(":")
        served = ssl.get_server_certificate(
            (host, int(port)), ca_certs=self.authority.file, timeout=10
        )
        return subprocess.run(
            ["openssl", "x509", "-noout", "-serial"],
            input=served,
            check=True,
            capture_output=True,
            text=True,
        ).stdout.strip()

    @staticmethod
    def serial_of(cert):
        return subprocess.run(
            ["openssl", "x509", "-noout", "-serial", "-in", cert],
            check=True,
            capture_output=True,
            text=True,
        ).stdout.strip()

    def wait_serial(self, wanted, timeout=20):
        ends = time.monotonic() + timeout
        while time.monotonic() < ends:
            if self.served_serial() == wanted:
                return
            time.sleep(0.1)
        self.fail(f"the certificate in use is not {wanted}\n{self.server.log()}")

    def reload(self):
        self.server.signal(signal.SIGHUP)

    def test_under_traffic_no_call_fails(self):
        done, failures, calls = threading.Event(), [], [0, 0, 0]

        def old_connection():
            with self.make_client() as client:
                while not done.is_set():
                    try:
                        client.set(update=[(LEVEL, calls[0] % 100)])
                        calls[0] += 1
                    except grpc.RpcError as error:
                        failures.append(error)

        def new_connections():
            while not done.is_set():
                with self.make_client() as client:
                    try:
                        client.capabilities()
                        calls[1] += 1
                    except grpc.RpcError as error:
                        failures.append(error)

        def stream():
            with self.make_client() as client:
                answers = client.subscribe(LEVEL, interval=0.1)
                try:
                    for _ in answers:
                        calls[2] += 1
                        if done.is_set():
                            break
                except grpc.RpcError as error:
                    failures.append(error)
                answers.cancel()

        workers = [
            threading.Thread(target=work) for work in (old_connection, new_connections, stream)
        ]
        for worker in workers:
            worker.start()
        try:
            for stem in ("second", "third", "fourth"):
                pair = self.authority.issue("server", stem)
                self.install(pair)
                self.reload()
                self.wait_serial(self.serial_of(pair[0]))
        finally:
            done.set()
            for worker in workers:
                worker.join(30)
        self.assertEqual([f"{error.code()} {error.details()}" for error in failures], [])
        self.assertTrue(all(count > 2 for count in calls), calls)

    def assert_keeps_serving(self, install):
        before = self.served_serial()
        self.addCleanup(self.restore, before)
        install()
        self.reload()
        time.sleep(2.5)
        self.assertTrue(self.server.running(), self.server.log())
        self.assertEqual(self.served_serial(), before)
        with self.make_client() as client:
            client.capabilities()

    def restore(self, _):
        pair = self.authority.issue("server", "restored")
        self.install(pair)
        self.reload()
        self.wait_serial(self.serial_of(pair[0]))

    def test_a_half_rotated_pair_is_not_taken(self):
        other = self.authority.issue("server", "half")
        self.assert_keeps_serving(lambda: shutil.copyfile(other[0], self.cert))

    def test_an_empty_certificate_file_is_not_taken(self):
        self.assert_keeps_serving(lambda: open(self.cert, "w", encoding="ascii").close())

    def test_a_missing_key_is_not_taken(self):
        self.assert_keeps_serving(lambda: os.remove(self.key))

    def test_garbage_is_not_taken(self):
        def install():
            with open(self.cert, "w", encoding="ascii") as file:
                file.write("-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n")

        self.assert_keeps_serving(install)


if __name__ == "__main__":
    report.main()
