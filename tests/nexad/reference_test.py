"""docs/nexad: what the reference says of the flags is what the program says."""

import os
import re
import subprocess
import unittest

from kit import report
from kit.server import program

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
HELP_LINE = re.compile(
    r"^  (?:-\w,)?--([\w-]+)(?:,--[\w-]+)*(?: ([A-Z:]+|[a-z|]+)(?:=(\S+))?)?(?: .*)?$"
)
ROW = re.compile(r"^\| `--([\w-]+)(?: ([A-Z:]+|[a-z\\|]+))?` \| (?:`([^`]+)`)? *\|")


def document(name):
    with open(os.path.join(ROOT, "docs", "nexad", name), encoding="utf-8") as file:
        return file.read()


class Reference(unittest.TestCase):
    maxDiff = None

    @staticmethod
    def flags(pattern, text):
        """{flag: (value's name, default)}"""
        found = (pattern.match(line.rstrip()) for line in text.splitlines())
        return {
            match.group(1): (match.group(2) and match.group(2).replace("\\|", "|"), match.group(3))
            for match in found
            if match
        }

    @staticmethod
    def help_of(*command):
        ran = subprocess.run(
            [*command, "--help"], capture_output=True, text=True, timeout=60, check=True
        )
        return ran.stdout

    def test_flags_values_and_defaults_are_those_of_the_program(self):
        told = self.flags(HELP_LINE, self.help_of(program("nexad", "NEXAD")))
        self.assertGreater(len(told), 30)
        self.assertEqual(self.flags(ROW, document("reference.md")), told)

    def test_limits_of_the_security_page_are_those_of_the_program(self):
        told = self.flags(HELP_LINE, self.help_of(program("nexad", "NEXAD")))
        with open(os.path.join(ROOT, "SECURITY.md"), encoding="utf-8") as file:
            page = file.read()
        rows = dict(re.findall(r"^\| `--([\w-]+)` \| (\d+) \|", page, re.MULTILINE))
        self.assertGreater(len(rows), 20)
        self.assertEqual(rows, {flag: told[flag][1] for flag in rows})
        for flag in re.findall(r"`--([\w-]+)", page):
            self.assertIn(flag, told)
        limits = {flag for flag in told if flag.startswith(("max-", "unread-"))}
        self.assertEqual(limits - set(rows), {"max-updates"})

    def test_flags_that_other_pages_name_exist(self):
        known = set(self.flags(ROW, document("reference.md")))
        for command in ("history", "rollback", "verify"):
            known |= set(self.flags(HELP_LINE, self.help_of(program("nexa", "NEXA"), command)))
        for page in ("gnmi.md", "operations.md"):
            for flag in re.findall(r"`--([\w-]+)", document(page)):
                with self.subTest(page=page, flag=flag):
                    self.assertIn(flag, known)


if __name__ == "__main__":
    report.main()
