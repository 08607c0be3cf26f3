"""What an operator does: check, start with a hook, reload, stop twice; and where output goes."""

import os
import signal
import socket
import subprocess
import time

from gnmilib.client import Client
from kit import report
from kit.case import StartCase
from kit.certificates import Authority
from kit.server import RULES, DidNotStart, Server, program

LEVEL = "/test-rules:rules/level"


def hash_of(password):
    ran = subprocess.run(
        [program("nexad", "NEXAD"), "hash-password"],
        input=password + "\n",
        capture_output=True,
        text=True,
        timeout=60,
        check=True,
    )
    return ran.stdout.strip()


class Check(StartCase):
    def check(self, *flags):
        words = [program("nexad", "NEXAD"), *RULES, "--data", self.path("data"), "--check-config"]
        ran = subprocess.run([*words, *flags], capture_output=True, text=True, timeout=60)
        return ran.returncode, ran.stdout, ran.stderr

    def test_one_line_and_status_0_when_all_is_well(self):
        status, out, err = self.check("--insecure")
        self.assertEqual((status, err), (0, ""))
        self.assertRegex(out, r"^nexad: the configuration can be used: \d+ modules, .*\n$")

    def test_status_1_when_something_cannot_be_used(self):
        status, out, err = self.check("--tls-cert", "no-cert.pem", "--tls-key", "no-key.pem")
        self.assertEqual((status, out), (1, ""))
        self.assertEqual(err, "nexad: no-cert.pem: cannot be read: No such file or directory\n")

    def test_status_2_when_the_settings_are_wrong(self):
        status, out, err = self.check()
        self.assertEqual((status, out), (2, ""))
        self.assertIn("--tls-cert", err)

    def test_does_not_disturb_a_server_that_runs_over_the_data(self):
        self.begin()
        self.assertEqual(self.check("--insecure")[0], 0)


class Passwords(StartCase):
    def test_an_empty_password_is_refused(self):
        for text in ("", "\n"):
            ran = subprocess.run(
                [program("nexad", "NEXAD"), "--hash-password"],
                input=text,
                capture_output=True,
                text=True,
                timeout=60,
            )
            self.assertEqual((ran.returncode, ran.stdout), (2, ""))
            self.assertIn("no password", ran.stderr)

    def test_a_reload_takes_new_users_and_keeps_the_old_ones_from_a_bad_file(self):
        users = self.write("users", f"alice:read-write:{hash_of('one')}\n", 0o600)
        server = self.begin("--users", users)

        def may_read(user, password):
            with Client(server.address, insecure=True, user=user, password=password) as client:
                try:
                    client.capabilities()
                    return True
                except Exception:  # noqa: BLE001 - any refusal
                    return False

        self.assertTrue(may_read("alice", "one"))
        self.write("users", f"alice:read-write:{hash_of('two')}\n", 0o600)
        server.signal(signal.SIGHUP)
        self.assertIsNotNone(server.wait_log("users read again"))
        self.assertFalse(may_read("alice", "one"))
        self.assertTrue(may_read("alice", "two"))
        self.write("users", "alice:emperor:*\n", 0o600)
        server.signal(signal.SIGHUP)
        self.assertIsNotNone(server.wait_log(r"the users stay as they were: .*users:1: "))
        self.assertTrue(may_read("alice", "two"))


class Certificates(StartCase):
    def test_new_files_are_noticed_without_a_signal(self):
        authority = Authority(self.path("ca"))
        cert, key = self.path("tls.pem"), self.path("tls-key.pem")

        def install(pair):
            for source, target in zip(pair, (cert, key)):
                with open(source, "rb") as old, open(target, "wb") as new:
                    new.write(old.read())

        install(authority.issue("server", "first"))
        server = Server(self.folder, self.schema, ["--tls-cert", cert, "--tls-key", key])
        self.addCleanup(server.kill)
        server.start()
        install(authority.issue("server", "second"))
        self.assertIsNotNone(server.wait_log("certificate renewed", 15), server.log())


class StartHook(StartCase):
    def test_the_hook_gets_the_whole_configuration(self):
        hook = self.write("hook", f"#!/bin/sh\ncat >{self.path('seen.xml')}\n", 0o755)
        server = self.begin()
        with server.client() as client:
            client.set(update=[(LEVEL, 42)])
        server.stop()
        server.flags += ["--hook", hook, "--hook-at-start"]
        server.start()
        with open(self.path("seen.xml"), encoding="utf-8") as file:
            seen = file.read()
        self.assertIn('reason="start"', seen)
        self.assertRegex(seen.split("<after>")[1], r"<level[^>]*>42</level>")

    def test_a_refusal_keeps_the_server_from_starting(self):
        hook = self.write("hook", "#!/bin/sh\ncat >/dev/null\necho 'no card' >&2\nexit 1\n", 0o755)
        with self.assertRaises(DidNotStart) as caught:
            self.begin("--hook", hook, "--hook-at-start")
        self.assertIn("exit status 1\n", str(caught.exception))
        self.assertIn("no card", str(caught.exception))


class MetricsPage(StartCase):
    def start_with(self, *flags):
        server = Server(self.folder, self.schema, ["--insecure", "--metrics", "off"])
        server.flags = ["--insecure", *flags]
        self.addCleanup(server.kill)
        return server.start()

    def test_the_usual_port_may_be_taken(self):
        try:
            taken = socket.create_server(("127.0.0.1", 9340))
        except OSError:
            taken = None  # somebody else has it: all the same
        try:
            server = self.start_with()
            self.assertRegex(server.log(), "warning nexad: no metrics: .*127.0.0.1:9340")
        finally:
            if taken is not None:
                taken.close()

    def test_a_port_that_was_asked_for_may_not(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            address = "127.0.0.1:%d" % taken.getsockname()[1]
            with self.assertRaises(DidNotStart) as caught:
                self.start_with("--metrics", address)
        self.assertIn(f"--metrics: {address}", str(caught.exception))


class Output(StartCase):
    def test_standard_output_stays_empty_and_the_log_has_no_stray_lines(self):
        server = Server(self.folder, self.schema, ["--insecure"])
        self.addCleanup(server.kill)
        words = server.command()
        with open(self.path("out"), "wb") as out, open(self.path("err"), "wb") as err:
            process = subprocess.Popen(
                [*words, "--ready-file", self.path("ready")],
                stdin=subprocess.DEVNULL,
                stdout=out,
                stderr=err,
            )
        self.addCleanup(process.kill)
        ends = time.monotonic() + 60
        while not os.path.exists(self.path("ready")) and time.monotonic() < ends:
            time.sleep(0.02)
        with open(self.path("ready"), encoding="ascii") as file:
            address = file.read().strip()
        with Client(address, insecure=True) as client:
            client.set(update=[("/test-rules:rules", {"console": False})])
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(20), 0)
        self.assertEqual(os.path.getsize(self.path("out")), 0)
        with open(self.path("err"), encoding="utf-8") as file:
            for line in file:
                self.assertRegex(line, r"^\d{4}-\d\d-\d\dT\S+Z [a-z]+ (nexad|library|audit): ")
        self.assertFalse(os.path.exists(self.path("ready")))


class Descriptors(StartCase):
    def test_the_server_survives_the_want_of_descriptors(self):
        server = Server(
            self.folder, self.schema, ["--insecure"], wrapper=["prlimit", "--nofile=64:64"]
        )
        self.addCleanup(server.kill)
        server.start()
        host, _, port = server.address.rpartition(":")
        with server.client() as early:
            early.capabilities()
            crowd = [socket.create_connection((host, int(port)), timeout=5) for _ in range(100)]
            closed = 0
            for connection in crowd:
                connection.settimeout(0.05)
                try:
                    while connection.recv(4096):
                        pass
                    closed += 1
                except TimeoutError:
                    pass
            self.assertGreater(closed, 30)
            early.capabilities()
            for connection in crowd:
                connection.close()
            ends = time.monotonic() + 20
            served = False
            while not served and time.monotonic() < ends:
                with server.client(timeout=2) as late:
                    try:
                        late.capabilities()
                        served = True
                    except Exception:  # noqa: BLE001 - until descriptors came back
                        time.sleep(0.1)
            self.assertTrue(served, server.log())
        self.assertEqual(server.stop(), 0)


class Signals(StartCase):
    def test_a_second_signal_ends_it_at_once(self):
        hook = self.write("hook", "#!/bin/sh\ncat >/dev/null\nsleep 20\n", 0o755)
        server = self.begin("--hook", hook, "--hook-timeout-ms", "60000")
        with server.client() as client:
            from gnmilib.client import as_update, gnmi

            call = client.stub.Set.future(gnmi.SetRequest(update=[as_update(LEVEL, 5)]), timeout=60)
            time.sleep(0.5)
            server.signal(signal.SIGTERM)
            self.assertIsNotNone(server.wait_log("stopping"))
            time.sleep(0.3)
            self.assertTrue(server.running())
            began = time.monotonic()
            server.signal(signal.SIGTERM)
            self.assertEqual(server.process.wait(5), -signal.SIGTERM)
            self.assertLess(time.monotonic() - began, 2)
            call.cancel()

    def test_a_reload_while_it_ends_changes_nothing(self):
        hook = self.write("hook", "#!/bin/sh\ncat >/dev/null\nsleep 2\n", 0o755)
        server = self.begin("--hook", hook)
        with server.client() as client:
            from gnmilib.client import as_update, gnmi

            call = client.stub.Set.future(gnmi.SetRequest(update=[as_update(LEVEL, 6)]), timeout=60)
            time.sleep(0.5)
            server.signal(signal.SIGTERM)
            self.assertIsNotNone(server.wait_log("stopping"))
            time.sleep(0.3)
            server.signal(signal.SIGHUP)
            self.assertEqual(len(call.result().response), 1)
            self.assertEqual(server.process.wait(10), 0)


if __name__ == "__main__":
    report.main()
