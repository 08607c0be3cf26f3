"""Faults at chosen system calls of nexad, by strace: which calls there are, and one fault at one
of them.

strace counts calls for each thread and each call name by itself, so a point is (name, number): the
first thread that makes its number-th call of that name meets the fault.
"""

import collections
import os
import re
import shutil
import subprocess
import time

CALLS = [
    "write",
    "pwrite64",
    "writev",
    "pwritev",
    "pwritev2",
    "fsync",
    "fdatasync",
    "ftruncate",
    "fallocate",
    "rename",
    "renameat",
    "renameat2",
    "unlink",
    "unlinkat",
    "mkdir",
    "openat",
]

# fault: "signal=KILL", "error=EIO" for one call, "error=EIO+" for that call and all after it.
Point = collections.namedtuple("Point", "call number fault")

LINE = re.compile(r"^(\d+)\s+(\w+)\((.*)$")


def tracing(call):
    return ["strace", "-f", "-qq", "-o", "/dev/null", "-e", "trace=" + call]


def unavailable():
    """Why no fault can be injected here; None when it can."""
    if os.environ.get("NEXA_EMULATED"):
        return "an emulator runs the server: strace would see its system calls among the server's"
    if not shutil.which("strace"):
        return "strace is not installed"
    ran = subprocess.run(
        [*tracing("write"), "-e", "inject=write:error=EIO", "true"],
        capture_output=True,
        text=True,
        timeout=60,
    )
    return None if ran.returncode == 0 else "strace cannot trace here: " + ran.stderr.strip()[:200]


def counting(log):
    """The words before the program that write every call to `log`."""
    return [
        "strace",
        "-f",
        "-qq",
        "-y",
        "-o",
        log,
        "-e",
        "trace=" + ",".join(CALLS),
        "-e",
        "signal=none",
    ]


def injecting(point):
    fault = point.fault.removesuffix("+")
    when = f"{point.number}+" if point.fault.endswith("+") else str(point.number)
    return [
        *tracing(point.call),
        "-e",
        "signal=none",
        "-e",
        f"inject={point.call}:{fault}:when={when}",
    ]


def _changes_something(call, arguments):
    """Whether the call reaches a file: no wake-ups of threads, no reading opens."""
    if call == "openat":
        return "O_CREAT" in arguments
    if call in ("write", "writev"):
        return (
            "<anon_inode:" not in arguments
            and "<socket:" not in arguments
            and "<TCP" not in arguments
        )
    return True


def calls_of(log):
    """Each (call, number) of the log at which a file changes, once, in order of appearance."""
    counters = collections.Counter()
    found = {}
    with open(log, encoding="utf-8", errors="replace") as lines:
        for line in lines:
            matched = LINE.match(line)
            if not matched:
                continue
            thread, call, arguments = matched.groups()
            counters[thread, call] += 1
            if _changes_something(call, arguments):
                found.setdefault((call, counters[thread, call]), None)
    return list(found)


def spread(items, count):
    """`count` of the items, evenly."""
    if count >= len(items):
        return list(items)
    return [items[index * len(items) // count] for index in range(count)]


SYNCS = "fsync,fdatasync"


def _failing_syncs(path, when):
    return [
        "strace",
        "-f",
        "-qq",
        "-o",
        "/dev/null",
        "-P",
        path,
        "-e",
        "trace=" + SYNCS,
        "-e",
        "signal=none",
        "-e",
        f"inject={SYNCS}:error=EIO:when={when}",
    ]


def failing_syncs(path):
    """The words before a program whose syncs of `path` all fail."""
    return _failing_syncs(path, "1+")


class SyncsFail:
    """While it lasts, syncs of `path` by the process fail: in each thread those that `when` names
    ("1", "1..2", "1+").
    """

    def __init__(self, process, path, when):
        self.command = [*_failing_syncs(path, when), "-p", str(process)]
        self.process = process
        self.tracer = None

    def __enter__(self):
        self.tracer = subprocess.Popen(
            self.command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE
        )
        ends = time.monotonic() + 20
        while not self._traces_every_thread():
            if self.tracer.poll() is not None or time.monotonic() > ends:
                raise AssertionError(f"strace does not attach: {self.tracer.stderr.read()}")
            time.sleep(0.01)
        return self

    def __exit__(self, *_):
        self.tracer.terminate()
        self.tracer.wait(20)
        self.tracer.stderr.close()

    def _traces_every_thread(self):
        threads = f"/proc/{self.process}/task"
        for thread in os.listdir(threads):
            with open(f"{threads}/{thread}/status", encoding="utf-8") as status:
                if f"TracerPid:\t{self.tracer.pid}\n" not in status.read():
                    return False
        return True
