"""One nexad with a data directory: start, wait until it serves, stop, kill, start again."""

import fcntl
import os
import re
import signal
import subprocess
import time
import urllib.request

from gnmilib.client import Client

YUMA = os.environ.get("NEXA_YUMA_DIR", "/usr/share/yuma")
# The NMDA modules stand first: of a module in both folders the newer one is found.
IETF = ["--yang-dir", f"{YUMA}/nmda-modules/ietf", "--yang-dir", f"{YUMA}/modules/ietf"]
IETF_MODULES = ["ietf-interfaces", "ietf-ip", "iana-if-type", "ietf-system"]
RULES = ["--yang-dir", os.path.join(os.path.dirname(os.path.dirname(__file__)), "yang")]

READY = re.compile(r"nexad: serving on (\S+)")
METRICS = re.compile(r"metrics on port (\d+)")


def program(name, variable):
    path = os.environ.get(variable)
    if not path or not os.access(path, os.X_OK):
        raise FileNotFoundError(f"{name}: set {variable} to the program (it is {path!r})")
    return path


def ietf_modules(*more):
    return IETF + [word for name in (*IETF_MODULES, *more) for word in ("--module", name)]


class DidNotStart(Exception):
    """The server ended, or was silent for too long, before it served; carries its log."""


class Server:
    """`schema`: flags that name modules; `flags`: others; `wrapper`: words before the program;
    `nexad`: another program than the one under test.
    """

    def __init__(
        self, folder, schema, flags=("--insecure",), *, environment=None, wrapper=(), nexad=None
    ):
        self.nexad = nexad
        self.folder = str(folder)
        self.data = os.path.join(self.folder, "data")
        self.schema = list(schema)
        self.flags = list(flags)
        if "--metrics" not in self.flags:
            self.flags += ["--metrics", "off"]
        # What counts system calls or processes has none beside it that it did not ask for.
        if "--verify" not in self.flags:
            self.flags += ["--verify", "off"]
        self.environment = environment or {}
        self.wrapper = list(wrapper)
        self.listen = "127.0.0.1:0"
        self.process = None
        self.address = None
        self._starts = 0
        self._logs = []

    def command(self):
        return [
            *self.wrapper,
            self.nexad or program("nexad", "NEXAD"),
            *self.schema,
            "--data",
            self.data,
            "--listen",
            self.listen,
            *self.flags,
        ]

    def start(self, timeout=60):
        """Starts and waits until the server takes calls."""
        self.spawn()
        return self.wait_ready(timeout)

    def spawn(self):
        os.makedirs(self.folder, exist_ok=True)
        self._starts += 1
        self._logs.append(os.path.join(self.folder, f"nexad.{self._starts}.log"))
        with open(self._logs[-1], "wb") as log:
            self.process = subprocess.Popen(
                self.command(),
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
                env={**os.environ, **self.environment},
                start_new_session=True,
            )

    def wait_ready(self, timeout=60):
        ends = time.monotonic() + timeout
        while time.monotonic() < ends:
            found = READY.search(self.log())
            if found:
                self.address = found.group(1)
                return self
            if self.process.poll() is not None:
                break
            time.sleep(0.01)
        state = self.process.poll()
        self.kill()
        raise DidNotStart(f"exit status {state}\n{self.log()}")

    def log(self, every=False):
        """What the present run wrote, or every run."""
        texts = []
        for name in self._logs if every else self._logs[-1:]:
            with open(name, encoding="utf-8", errors="replace") as file:
                texts.append(file.read())
        return "".join(texts)

    def wait_log(self, pattern, timeout=10):
        """The match of a pattern that the log has or will have; None after the time."""
        ends = time.monotonic() + timeout
        while True:
            found = re.search(pattern, self.log())
            if found or time.monotonic() > ends:
                return found
            time.sleep(0.02)

    def metrics_address(self):
        found = METRICS.search(self.log())
        return f"127.0.0.1:{found.group(1)}" if found else None

    def metric(self, name):
        """The value of one line of the metrics, labels included in the name; None without it."""
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        with opener.open(f"http://{self.metrics_address()}/metrics", timeout=10) as answer:
            for line in answer.read().decode().splitlines():
                if line.startswith(name + " "):
                    return float(line.split()[-1])
        return None

    def wait_metric(self, name, value, timeout=30):
        """Whether the metric has that value, or will have it within the time."""
        ends = time.monotonic() + timeout
        while self.metric(name) != value:
            if time.monotonic() > ends:
                return False
            time.sleep(0.05)
        return True

    def running(self):
        return self.process is not None and self.process.poll() is None

    def signal(self, number):
        self.process.send_signal(number)

    def stop(self, timeout=30):
        """SIGTERM; the exit status. One that does not end in time is killed and fails the test."""
        if self.process is None:
            return None
        if self.running():
            self.signal(signal.SIGTERM)
        try:
            return self.process.wait(timeout)
        except subprocess.TimeoutExpired:
            self.kill()
            raise AssertionError(f"nexad did not end on SIGTERM\n{self.log()}") from None

    def kill(self):
        """SIGKILL to the server and to what it or its wrapper started."""
        if self.process is not None:
            try:
                os.killpg(self.process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            self.process.wait()
            if self.wrapper:
                self._wait_unlocked()

    def _wait_unlocked(self, timeout=10):
        """A wrapper may be gone before the server that it started gives its data folder free."""
        ends = time.monotonic() + timeout
        try:
            with open(os.path.join(self.data, "lock"), "rb") as lock:
                while time.monotonic() < ends:
                    try:
                        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
                        return
                    except BlockingIOError:
                        time.sleep(0.01)
        except FileNotFoundError:
            pass

    def restart(self):
        self.stop()
        return self.start()

    def client(self, **how):
        return Client(self.address, **{"insecure": "--insecure" in self.flags, **how})
