"""Faults at chosen system calls of nexad, by strace: which calls there are, and one fault at one
of them.

strace counts calls for each thread and each call name by itself, so a point is (name, number): the
first thread that makes its number-th call of that name meets the fault.
"""

import collections
import re
import shutil
import subprocess

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


def unavailable():
    """Why no fault can be injected here; None when it can."""
    if not shutil.which("strace"):
        return "strace is not installed"
    ran = subprocess.run(
        [
            "strace",
            "-f",
            "-qq",
            "-o",
            "/dev/null",
            "-e",
            "trace=write",
            "-e",
            "inject=write:error=EIO",
            "true",
        ],
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
        "strace",
        "-f",
        "-qq",
        "-o",
        "/dev/null",
        "-e",
        "trace=" + point.call,
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
