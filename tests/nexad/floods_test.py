"""What strangers, and clients that mean no good, may send: the server stays small, and others are
served meanwhile. NEXA_FLOOD_SECONDS says how long each flood lasts (1), and NEXA_ROTATIONS how many
certificates are renewed under load (3).
"""

import contextlib
import os
import resource
import shutil
import socket
import threading
import time

import grpc

from gnmilib import paths
from gnmilib.client import gnmi
from kit import http2, report
from kit.case import ServerCase
from kit.tls import TlsCase, password_hash

SECONDS = float(os.environ.get("NEXA_FLOOD_SECONDS") or 1)
ROTATIONS = int(os.environ.get("NEXA_ROTATIONS") or 3)
SANITIZED = bool(os.environ.get("NEXA_SANITIZED"))
MIB = 1 << 20
MOST_GROWTH = 64 * MIB
MOST_LATENCY = 1.0
LEVEL = "/test-rules:rules/level"
RULES = "/test-rules:rules"
GET = "/gnmi.gNMI/Get"


def many_descriptors():
    _, most = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    return most


ACK = 0x1
PINGS = http2.frame(http2.PING, 0, 0, b"12345678") * 1000


class Flooded(ServerCase):
    """A server with a user, and what has to hold during each flood and after it."""

    flags = ["--insecure", "--min-sample-interval-ms", "10"]
    growth = MOST_GROWTH

    @classmethod
    def prepare(cls):
        users = cls.write("users", f"alice:read-write:{password_hash('wonder')}\n", 0o600)
        cls.flags = [*cls.flags, "--users", users]

    @classmethod
    def make_client(cls):
        return cls.server.client(user="alice", password="wonder")

    def setUp(self):
        if os.environ.get("NEXA_EMULATED"):
            self.skipTest("the emulator does not tell how much a socket received")
        self.client.set(update=[(LEVEL, 3)])
        self.before = self.resident()
        self.most = self.before
        self.done = threading.Event()
        self.watcher = threading.Thread(target=self.watch)
        self.watcher.start()

    def tearDown(self):
        self.done.set()
        self.watcher.join()
        self.assertTrue(self.server.running(), self.server.log())
        self.assert_served()
        if SANITIZED:
            return  # it keeps what was freed
        self.assertLess(self.most - self.before, self.growth, "memory during the flood")
        ends = time.monotonic() + 15
        while self.resident() - self.before > MOST_GROWTH / 2 and time.monotonic() < ends:
            time.sleep(0.1)
        self.assertLess(self.resident() - self.before, MOST_GROWTH, "memory after the flood")

    def resident(self):
        """Bytes of the server's own memory: not those of files, whose code comes as it is called."""
        with open(f"/proc/{self.server.process.pid}/statm", encoding="ascii") as file:
            _, all_of_it, of_files, *_ = map(int, file.read().split())
            return (all_of_it - of_files) * resource.getpagesize()

    def watch(self):
        while not self.done.wait(0.02):
            self.most = max(self.most, self.resident())

    def assert_served(self):
        began = time.monotonic()
        self.assertEqual(self.client.value(LEVEL), 3)
        self.assertLess(time.monotonic() - began, MOST_LATENCY * (10 if SANITIZED else 1))

    def flood(self, send, seconds=SECONDS):
        """Calls `send` again and again until the time is over or the server has had enough."""
        ends = time.monotonic() + seconds
        served = ends - seconds / 2
        with contextlib.suppress(OSError):
            while time.monotonic() < ends:
                send()
                if time.monotonic() > served:
                    self.assert_served()
                    served = ends


class Strangers(Flooded):
    """They have no password."""

    def test_header_blocks_without_end(self):
        part = http2.literal("x-filler", "y" * 100) * 140
        for first, rest in (
            (http2.call_headers(GET), part),  # fields, one after the other
            (b"\x00\x01x\x7f" + b"\xff" * 4 + b"\x07", b"y" * 16000),  # one field of 2 GB
        ):
            with http2.Connection(self.server.address) as connection:
                connection.send(http2.frame(http2.HEADERS, 0, 1, first))
                block = http2.frame(http2.CONTINUATION, 0, 1, rest) * 20
                self.flood(lambda: connection.send(block))
                self.assertTrue(connection.is_closed(10))

    def test_header_blocks_without_end_on_many_connections(self):
        connections = [http2.Connection(self.server.address) for _ in range(20)]
        block = http2.frame(http2.CONTINUATION, 0, 1, http2.literal("x-y", "z" * 100) * 100)
        for connection in connections:
            connection.send(http2.frame(http2.HEADERS, 0, 1, http2.call_headers(GET)))

        def send():
            for connection in connections:
                with contextlib.suppress(OSError):
                    connection.send(block * 4)

        self.flood(send)
        for connection in connections:
            connection.close()

    def test_resets(self):
        with http2.Connection(self.server.address) as connection:

            def send():
                data = b""
                for _ in range(100):
                    stream = connection.next_stream
                    connection.next_stream += 2
                    data += http2.frame(
                        http2.HEADERS, http2.END_HEADERS, stream, http2.call_headers(GET)
                    ) + http2.frame(http2.RST_STREAM, 0, stream, b"\0\0\0\x08")
                connection.send(data)

            self.flood(send)

    def test_pings(self):
        with http2.Connection(self.server.address) as connection:
            self.flood(lambda: connection.send(PINGS))
            self.assertTrue(connection.is_closed(10))

    def test_pings_on_many_connections(self):
        def one():
            with contextlib.suppress(OSError), http2.Connection(self.server.address) as connection:
                for _ in range(200):
                    connection.send(PINGS)

        senders = [threading.Thread(target=one) for _ in range(20)]
        for sender in senders:
            sender.start()
        for sender in senders:
            sender.join()

    def test_some_pings_are_answered(self):
        # Clients ask whether the server lives as often as they like, also without a call.
        answer = http2.frame(http2.PING, ACK, 0, b"12345678")
        received = b""
        with http2.Connection(self.server.address) as connection:
            for _ in range(5):
                connection.send(http2.frame(http2.PING, 0, 0, b"12345678"))
                time.sleep(0.05)
            connection.socket.settimeout(0.5)
            with contextlib.suppress(TimeoutError):
                while part := connection.socket.recv(65536):
                    received += part
        self.assertEqual(received.count(answer), 5)

    def test_settings(self):
        with http2.Connection(self.server.address) as connection:
            block = http2.frame(http2.SETTINGS) * 1000
            self.flood(lambda: connection.send(block))

    def test_requests_that_grow_when_they_are_parsed(self):
        path = b"\x1a\x00" * (8 * MIB - 100)  # elements without a name
        length = bytearray()
        size = len(path)
        while size > 0x7F:
            length.append(size & 0x7F | 0x80)
            size >>= 7
        length.append(size)
        request = b"\x12" + bytes(length) + path
        with self.server.client() as stranger:
            call = stranger.channel.unary_unary(
                GET, request_serializer=None, response_deserializer=None
            )
            calls = [call.future(request, timeout=20) for _ in range(6)]
            self.assert_served()
            for answer in calls:
                self.assertEqual(answer.exception().code(), grpc.StatusCode.UNAUTHENTICATED)

    def test_connections_that_do_nothing(self):
        most = min(5000, many_descriptors() - 100)
        connections = []
        for number in range(most):
            try:
                connections.append(
                    http2.Connection(self.server.address, source=f"127.0.{number % 20}.7")
                )
            except OSError:
                break
            if number % 1000 == 999:
                self.assert_served()
        with self.server.client(user="alice", password="wonder") as late:
            began = time.monotonic()
            self.assertEqual(late.value(LEVEL), 3)
            self.assertLess(time.monotonic() - began, MOST_LATENCY)
        for connection in connections:
            connection.close()

    def test_health_watches_lock_nobody_out(self):
        self.growth = 2 * MOST_GROWTH  # each of them has a call
        connections = []
        for number in range(1100):
            connections.append(
                http2.Connection(self.server.address, source=f"127.0.{number % 10}.8")
            )
            with contextlib.suppress(OSError):
                stream = connections[-1].begin_call("/grpc.health.v1.Health/Watch")
                connections[-1].send_message(stream, b"", end=False)
        with self.server.client(user="alice", password="wonder") as late:
            self.assertEqual(late.value(LEVEL), 3)
        for connection in connections:
            connection.close()

    def test_slow_ones(self):
        """Byte by byte: the preface, or a header block."""
        host, _, port = self.server.address.rpartition(":")
        slow = [socket.create_connection((host, int(port))) for _ in range(50)]
        begun = [http2.Connection(self.server.address) for _ in range(50)]
        for connection in begun:
            connection.send(http2.frame(http2.HEADERS, 0, 1, b""))
        place = iter(range(10000))

        def send():
            at = next(place) % len(http2.PREFACE)
            for connection in slow:
                connection.sendall(http2.PREFACE[at : at + 1])
            for connection in begun:
                connection.send(http2.frame(http2.CONTINUATION, 0, 1, b"\x40"))
            time.sleep(0.05)

        self.flood(send)
        for connection in (*slow, *begun):
            connection.close()

    def test_wrong_passwords(self):
        """A known caller is served at once, a new one within three seconds."""
        with self.server.client(user="alice", password="guess") as guesser:
            calls = [
                guesser.stub.Get.future(
                    gnmi.GetRequest(path=[paths.parse(LEVEL)]),
                    metadata=(("username", "alice"), ("password", f"guess {number}")),
                    timeout=60,
                )
                for number in range(400)
            ]
            time.sleep(0.1)
            slowest = 0.0
            for _ in range(10):
                began = time.monotonic()
                self.assertEqual(self.client.value(LEVEL), 3)
                slowest = max(slowest, time.monotonic() - began)
            self.assertLess(slowest, 0.1 * (10 if SANITIZED else 1))
            users = self.path("users")
            with open(users, "a", encoding="ascii") as file:
                file.write(f"bob:read-only:{password_hash('builder')}\n")
            self.server.signal(1)
            self.assertIsNotNone(self.server.wait_log("users read again"))
            for source in ("127.0.0.1",):
                with self.server.client(user="bob", password="builder") as new:
                    began = time.monotonic()
                    self.assertEqual(new.value(LEVEL), 3, source)
                    self.assertLess(time.monotonic() - began, 3)
            for call in calls:
                call.cancel()


class Clients(Flooded):
    """They may call, and read nothing of what they asked for."""

    growth = 600 * MIB

    def test_streams_that_nobody_reads(self):
        groups = [{"name": f"g{number}", "note": "n" * 400} for number in range(2000)]
        self.client.set(update=[(RULES, {"group": groups})])
        request = gnmi.SubscribeRequest(
            subscribe=gnmi.SubscriptionList(
                encoding=gnmi.JSON_IETF,
                subscription=[
                    gnmi.Subscription(
                        path=paths.parse(RULES), mode=gnmi.SAMPLE, sample_interval=50_000_000
                    )
                ],
            )
        ).SerializeToString()
        with http2.Connection(self.server.address, window=1) as connection:
            for _ in range(90):
                stream = connection.begin_call(
                    "/gnmi.gNMI/Subscribe", username="alice", password="wonder"
                )
                connection.send_message(stream, request, end=False)
            time.sleep(2 + SECONDS)
            self.assert_served()

    def test_answers_that_nobody_reads(self):
        groups = [{"name": f"g{number}", "note": "n" * 400} for number in range(2000)]
        self.client.set(update=[(RULES, {"group": groups})])
        request = gnmi.GetRequest(
            path=[paths.parse(RULES)] * 10, encoding=gnmi.JSON_IETF
        ).SerializeToString()
        with http2.Connection(self.server.address, window=1) as connection:
            for _ in range(30):
                stream = connection.begin_call(GET, username="alice", password="wonder")
                connection.send_message(stream, request)
            time.sleep(1 + SECONDS)
            self.assert_served()


class Descriptors(Flooded):
    """A server that may have few of them."""

    flags = ["--insecure", "--max-connections", "100000", "--max-connections-per-peer", "100000"]

    def test_all_are_taken(self):
        if SANITIZED:
            self.skipTest("a sanitizer asks through a pipe whether memory can be read, and takes none for no")
        pid = self.server.process.pid
        _, most = resource.prlimit(pid, resource.RLIMIT_NOFILE)
        resource.prlimit(pid, resource.RLIMIT_NOFILE, (150, most))
        connections = []
        for _ in range(300):
            with contextlib.suppress(OSError):
                connections.append(http2.Connection(self.server.address))
        time.sleep(SECONDS)
        self.assert_served()  # over the connection that is there
        for connection in connections:
            connection.close()
        resource.prlimit(pid, resource.RLIMIT_NOFILE, (most, most))
        with self.server.client(user="alice", password="wonder") as late:
            self.assertEqual(late.value(LEVEL), 3)


class Tls(TlsCase):
    """Encrypted, with certificates that change."""

    def test_handshakes_that_never_end(self):
        host, _, port = self.server.address.rpartition(":")
        slow = []
        for number in range(100):
            slow.append(socket.create_connection((host, int(port))))
            slow[-1].sendall(b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03"[: number % 11])
        began = time.monotonic()
        with self.as_client() as client:
            client.capabilities()
        self.assertLess(time.monotonic() - began, MOST_LATENCY * (10 if SANITIZED else 1))
        for connection in slow:
            connection.close()

    def test_certificates_are_renewed_under_load(self):
        self.client.set(update=[(LEVEL, 3)])
        pairs = [self.authority.issue("server", stem=f"server-{number}") for number in range(4)]
        done = threading.Event()
        failures = []
        counts = [0, 0]

        def call(place):
            while not done.is_set():
                try:
                    with self.as_client(timeout=10) as client:
                        client.value(LEVEL)
                    counts[place] += 1
                except grpc.RpcError as error:
                    failures.append(error.details())

        callers = [threading.Thread(target=call, args=(place,)) for place in range(2)]
        for caller in callers:
            caller.start()
        for number in range(ROTATIONS):
            for fresh, used in zip(pairs[number % 4], (self.cert, self.key)):
                shutil.copyfile(fresh, used + ".new")
                os.replace(used + ".new", used)
            renewed = self.server.log().count("certificate renewed")
            self.server.signal(1)
            ends = time.monotonic() + 5
            while (
                self.server.log().count("certificate renewed") == renewed
                and time.monotonic() < ends
            ):
                time.sleep(0.01)
            self.assertEqual(self.server.log().count("certificate renewed"), renewed + 1)
        done.set()
        for caller in callers:
            caller.join()
        self.assertEqual(failures, [])
        self.assertGreater(min(counts), 0)


if __name__ == "__main__":
    report.main()
