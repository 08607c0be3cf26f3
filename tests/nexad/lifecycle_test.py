"""Start and stop: readiness, the order on SIGTERM, what happens to calls in hand."""

import os
import signal
import socket
import threading
import time

import grpc

from gnmilib.client import Client, as_update, gnmi
from kit import raw, report
from kit.case import StartCase
from kit.server import DidNotStart, Server, ietf_modules

LEVEL = "/test-rules:rules/level"


class Ready(StartCase):
    def test_the_ready_file_has_the_address(self):
        name = self.path("ready")
        server = self.begin("--ready-file", name)
        with open(name, encoding="ascii") as file:
            self.assertEqual(file.read().strip(), server.address)
        with server.client() as client:
            client.capabilities()

    def test_the_log_of_a_start_is_a_few_lines_and_no_error(self):
        lines = self.begin(schema=ietf_modules()).log().splitlines()
        self.assertLess(len(lines), 5)
        for line in lines:
            self.assertRegex(line, r"^[-\d]+T[:.\d]+Z info nexad: ")

    def test_a_ready_file_that_cannot_be_written_is_named(self):
        name = self.path("nowhere/ready")
        with self.assertRaises(DidNotStart) as caught:
            self.begin("--ready-file", name)
        self.assertIn(f"nexad: {name}: cannot be written: No such file", str(caught.exception))

    def test_systemd_is_told_when_it_serves_and_when_it_stops(self):
        name = self.path("notify")
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as notify:
            notify.bind(name)
            notify.settimeout(10)
            server = self.begin(environment={"NOTIFY_SOCKET": name})
            self.assertIn(b"READY=1", notify.recv(4096))
            server.stop()
            texts = []
            notify.settimeout(1)
            try:
                while True:
                    texts.append(notify.recv(4096))
            except TimeoutError:
                pass
            self.assertTrue(any(b"STOPPING=1" in text for text in texts), texts)

    def test_an_address_that_is_taken_is_named(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            server = Server(self.folder, self.schema)
            server.listen = "127.0.0.1:%d" % taken.getsockname()[1]
            with self.assertRaises(DidNotStart) as caught:
                server.start()
            self.assertIn(server.listen, str(caught.exception))

    def test_a_module_with_an_error_is_named_with_its_line(self):
        folder = self.path("yang")
        os.makedirs(folder)
        with open(os.path.join(folder, "broken.yang"), "w", encoding="ascii") as file:
            file.write(
                'module broken {\n  namespace "urn:broken";\n  prefix b;\n'
                "  leaf x { type nothing; }\n}\n"
            )
        with self.assertRaises(DidNotStart) as caught:
            self.begin(schema=["--yang-dir", folder])
        self.assertIn("broken.yang", str(caught.exception))


class Stop(StartCase):
    def test_sigterm_and_sigint_end_with_status_0(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(signal=number.name):
                server = self.begin()
                server.signal(number)
                self.assertEqual(server.process.wait(20), 0, server.log())

    def test_nothing_in_hand_is_not_waited_for(self):
        """Clients without a call in hand do not read that they are to go."""
        server = self.begin()
        with server.client() as one, server.client() as other:
            one.set(update=[(LEVEL, 5)])
            other.capabilities()
            health = iter(raw.watch_health(other.channel))
            self.assertEqual(next(health), raw.SERVING)
            began = time.monotonic()
            self.assertEqual(server.stop(), 0)
            self.assertLess(time.monotonic() - began, 1.5)
            self.assertEqual(next(health), raw.NOT_SERVING)

    def test_streams_end_with_unavailable(self):
        server = self.begin()
        with server.client() as client:
            stream = client.subscribe(LEVEL, interval=0.1)
            next(iter(stream))
            server.signal(signal.SIGTERM)
            with self.refused("UNAVAILABLE", "The server is shutting down"):
                for _ in stream:
                    pass
            self.assertEqual(server.process.wait(20), 0)

    def test_a_set_in_hand_is_answered_and_kept(self):
        hook = self.write("hook", "#!/bin/sh\ncat >/dev/null\nsleep 1\n", 0o755)
        server = self.begin("--hook", hook)
        with server.client() as client:
            request = gnmi.SetRequest(update=[as_update(LEVEL, 64)])
            future = client.stub.Set.future(request, timeout=20)
            time.sleep(0.4)
            server.signal(signal.SIGTERM)
            self.assertEqual(len(future.result().response), 1)
        self.assertEqual(server.process.wait(20), 0)
        server.flags = ["--insecure", "--metrics", "off"]
        server.start()
        with server.client() as client:
            self.assertEqual(client.value(LEVEL), 64)

    def test_sets_after_the_signal_are_refused_or_kept_never_lost(self):
        server = self.begin()
        acknowledged, stop = [], threading.Event()

        def write():
            with server.client(timeout=5) as client:
                for number in range(100000):
                    if stop.is_set():
                        return
                    try:
                        client.set(update=[("/test-rules:rules/large", str(number))])
                        acknowledged.append(number)
                    except grpc.RpcError:
                        return

        writer = threading.Thread(target=write)
        writer.start()
        time.sleep(0.7)
        self.assertEqual(server.stop(), 0)
        stop.set()
        writer.join(20)
        server.start()
        with server.client() as client:
            self.assertGreaterEqual(int(client.value("/test-rules:rules/large")), acknowledged[-1])

    def test_health_turns_before_the_port_closes(self):
        hook = self.write("hook", "#!/bin/sh\ncat >/dev/null\nsleep 1.5\n", 0o755)
        server = self.begin("--hook", hook)
        with server.client() as client:
            health = iter(raw.watch_health(client.channel))
            self.assertEqual(next(health), raw.SERVING)
            future = client.stub.Set.future(
                gnmi.SetRequest(update=[as_update(LEVEL, 3)]), timeout=20
            )
            time.sleep(0.3)
            server.signal(signal.SIGTERM)
            began = time.monotonic()
            self.assertEqual(next(health), raw.NOT_SERVING)
            self.assertLess(time.monotonic() - began, 1.0)
            future.result()
        self.assertEqual(server.process.wait(20), 0)

    def test_the_port_is_free_again(self):
        server = self.begin()
        address = server.address
        server.stop()
        host, _, port = address.rpartition(":")
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection((host, int(port)), timeout=5)
        server.listen = address
        server.start()
        with Client(address, insecure=True) as client:
            client.capabilities()


if __name__ == "__main__":
    report.main()
