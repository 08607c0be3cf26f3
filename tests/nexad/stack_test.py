"""Stacks of the server's threads: as large as it says, and hardly used by what is nested deepest."""

import os
import re

from gnmilib.client import gnmi
from kit import report
from kit.case import ServerCase

STACK = 2 * 2**20  # kThreadStackBytes of apps/nexad/process_memory.h
LEVELS = 199  # with the value's own object, as many as a value may have
MODULE = """module holders {
  yang-version 1.1;
  namespace "urn:test:holders";
  prefix h;
  revision 2026-01-01;
  container holders { anydata data; }
}
"""
DATA = "/holders:holders/data"


class Stacks(ServerCase):
    @classmethod
    def prepare(cls):
        cls.write("holders.yang", MODULE)
        cls.schema = ["--yang-dir", cls.folder]

    def stacks(self):
        """Bytes used of each thread's stack; the first thread's is the kernel's."""
        process = self.server.process.pid
        with open(f"/proc/{process}/smaps", encoding="utf-8", errors="replace") as file:
            parts = re.split(r"^(?=[0-9a-f]+-[0-9a-f]+ )", file.read(), flags=re.MULTILINE)
        used = []
        for part in parts:
            head = part.split("\n", 1)[0].split()
            if len(head) != 5 or head[1] != "rw-p":  # of no file, and with no name
                continue
            first, end = (int(word, 16) for word in head[0].split("-"))
            if STACK - 8192 <= end - first <= STACK:  # with or without its guard
                used.append(int(re.search(r"^Rss:\s+(\d+) kB", part, re.MULTILINE).group(1)) * 1024)
        return used

    def test_what_is_nested_deepest_leaves_three_quarters_of_each(self):
        if os.environ.get("NEXA_SANITIZED"):
            self.skipTest("a sanitizer's frames are larger than those that are shipped")
        if os.environ.get("NEXA_EMULATED"):
            self.skipTest("the emulator's own threads have stacks of the same kind")
        value = gnmi.TypedValue(
            json_ietf_val=b'{"a":' * LEVELS + b'"x"' + b"}" * LEVELS
        )
        for _ in range(20):
            self.client.set(replace=[(DATA, value)])
            for encoding in ("json_ietf", "json", "proto", "ascii"):
                answer = self.client.get("/", type="CONFIG", encoding=encoding)
                self.assertGreater(answer.ByteSize(), LEVELS)
            self.client.set(delete=[DATA])
        used = self.stacks()
        threads = len(os.listdir(f"/proc/{self.server.process.pid}/task"))
        self.assertGreaterEqual(len(used), threads // 2, "the threads have other stacks")
        print(f"{len(used)} stacks, at most {max(used)} bytes of one used", flush=True)
        self.assertLess(max(used), STACK // 4)


if __name__ == "__main__":
    report.main()
