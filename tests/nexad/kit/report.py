"""Runs the tests of a file and reports them as GoogleTest programs do.

`report.main()` at a file's end. GTEST_OUTPUT=xml:FOLDER/ asks for FOLDER/NAME.xml, NAME being the
ctest entry (NEXA_TEST_NAME) or the file's name, so that each Python test counts once in
scripts/count-tests.
"""

import os
import sys
import time
import unittest
from xml.sax.saxutils import quoteattr


class Result(unittest.TextTestResult):
    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.cases = []  # (class, name, seconds, outcome, message)
        self._began = 0.0

    def startTest(self, test):
        self._began = time.monotonic()
        self._outcome = ("completed", "")
        super().startTest(test)

    def _case(self, test, outcome, message):
        suite, _, name = test.id().rpartition(".")
        self.cases.append(
            (suite.rpartition(".")[2], name, time.monotonic() - self._began, outcome, message)
        )

    def stopTest(self, test):
        super().stopTest(test)
        self._case(test, *self._outcome)

    def addSkip(self, test, reason):
        super().addSkip(test, reason)
        self._outcome = ("skipped", reason)
        if not hasattr(test, "_testMethodName"):  # a whole class: setUpClass skipped it
            self._case(test, "skipped", reason)

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self._outcome = ("failed", self.failures[-1][1])

    def addSubTest(self, test, subtest, err):
        super().addSubTest(test, subtest, err)
        if err is not None:
            self._outcome = ("failed", str(err[1]))

    def addError(self, test, err):
        super().addError(test, err)
        self._outcome = ("failed", self.errors[-1][1])
        if not hasattr(test, "_testMethodName"):  # setUpClass failed: no test of the class ran
            self._case(test, "failed", self.errors[-1][1])


def write_report(path, cases, seconds):
    failed = sum(1 for case in cases if case[3] == "failed")
    lines = [
        '<?xml version="1.0" encoding="UTF-8"?>',
        f'<testsuites tests="{len(cases)}" failures="{failed}" disabled="0" errors="0" '
        f'time="{seconds:.3f}" name="AllTests">',
    ]
    for suite in dict.fromkeys(case[0] for case in cases):
        lines.append(f"  <testsuite name={quoteattr(suite)}>")
        for _, name, took, outcome, message in (case for case in cases if case[0] == suite):
            result = "skipped" if outcome == "skipped" else "completed"
            head = (
                f'    <testcase name={quoteattr(name)} status="run" result="{result}" '
                f'time="{took:.3f}" classname={quoteattr(suite)}'
            )
            if outcome == "completed":
                lines.append(head + " />")
            else:
                element = "skipped" if outcome == "skipped" else "failure"
                # One line: what reads the report goes by lines.
                lines.append(
                    head
                    + f"><{element} message={quoteattr(message, {chr(10): '&#10;'})}/></testcase>"
                )
        lines.append("  </testsuite>")
    lines.append("</testsuites>")
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join(lines) + "\n")


def main():
    program = os.path.basename(sys.argv[0])
    began = time.monotonic()
    suite = unittest.defaultTestLoader.loadTestsFromModule(sys.modules["__main__"])
    if len(sys.argv) > 1:
        suite = unittest.defaultTestLoader.loadTestsFromNames(sys.argv[1:], sys.modules["__main__"])
    runner = unittest.TextTestRunner(verbosity=2, resultclass=Result)
    result = runner.run(suite)
    wanted = os.environ.get("GTEST_OUTPUT", "")
    if wanted.startswith("xml:") and wanted.endswith("/"):
        name = os.environ.get("NEXA_TEST_NAME", program.removesuffix(".py"))
        write_report(
            os.path.join(wanted[len("xml:") :], name + ".xml"),
            result.cases,
            time.monotonic() - began,
        )
    if not result.cases:
        sys.exit(f"{program}: no test ran")
    sys.exit(0 if result.wasSuccessful() else 1)
