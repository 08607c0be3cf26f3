"""State data that a program tells line by line: what it may write, its end, its limits."""

import contextlib
import glob
import os
import re
import sys
import textwrap
import time
import unittest

import grpc
from gnmilib import paths
from gnmilib.client import python_value
from kit import report
from kit.case import StartCase

PUBLISHED = os.environ.get("NEXA_PUBLISHED_MODELS", "")
MODELS = os.path.join(PUBLISHED, "yang", "openconfig")
PAGE = os.path.join(
    os.path.dirname(__file__), os.pardir, os.pardir, "docs", "nexad", "state.md"
)
ETH9 = "/interfaces/interface[name=eth9]"
OCTETS = ETH9 + "/state/counters/in-octets"
OC = "openconfig-interfaces:"

# Writes the lines that the test puts into a file, as long as it gets longer; "exit" ends it, and so does
# the end of the server, of whatever kind.
FOLLOW = """
import os, select, sys
with open(os.environ["LINES"]) as file:
    while True:
        line = file.readline()
        if line == "exit\\n":
            sys.exit(3)
        sys.stdout.write(line)
        sys.stdout.flush()
        if not line and select.select([sys.stdin], [], [], 0.02)[0]:
            sys.exit()
"""


def is_running(program):
    for line in glob.glob("/proc/[0-9]*/cmdline"):
        with contextlib.suppress(OSError), open(line, "rb") as file:
            if program.encode() in file.read().split(b"\0"):
                return True
    return False


@unittest.skipUnless(
    PUBLISHED and glob.glob(os.path.join(MODELS, "*.yang")),
    "no OpenConfig models (NEXA_PUBLISHED_MODELS names the folder with yang/openconfig in it)",
)
class StateCommand(StartCase):
    schema = ["--yang-dir", MODELS]

    def run_program(self, text, *flags, **environment):
        """A server with a program of this text; its client."""
        program = self.write("program.py", text)
        command = f"{sys.executable} -u '{program}'"
        self.server = self.begin(
            "--no-linux-state", "--state-command", command, *flags, environment=environment
        )
        self.client = self.server.client()
        self.addCleanup(self.client.close)

    def follow(self, *lines, flags=()):
        self.lines = self.path("lines")
        with open(self.lines, "w", encoding="utf-8"):
            pass
        self.tell(*lines)
        self.run_program(FOLLOW, *flags, LINES=self.lines)

    def tell(self, *lines):
        with open(self.lines, "a", encoding="utf-8") as file:
            file.writelines(line + "\n" for line in lines)

    def value(self, path, **how):
        """The value at `path`; None when nothing is there."""
        try:
            return self.client.value(path, **how)
        except grpc.RpcError as error:
            self.assertEqual(error.code().name, "NOT_FOUND", error.details())
            return None

    def wait_for(self, path, value, timeout=20, **how):
        ends = time.monotonic() + timeout
        while (found := self.value(path, **how)) != value:
            self.assertLess(time.monotonic(), ends, f"{path} is {found!r}\n{self.server.log()}")
            time.sleep(0.02)

    def test_values_of_every_form(self):
        self.follow(
            '{"path": "%s", "value": "12"}' % OCTETS,
            '{"value": {"mtu": 1400, "%stype": "iana-if-type:ethernetCsmacd"}, "path": "%s/state"}'
            % (OC, ETH9),
            '{"path": "/system/dns/state/search", "value": ["b.example", "a.example"]}',
            '{"path": "/system/dns/state/search", "value": ["c.example"]}',
            '{"path": "/interfaces/interface[name=a\\\\]b]", "value": {"name": "a]b", "state":'
            ' {"oper-status": "UP"}}}',
            '{"path": "/components/component[name=cpu]/state/temperature/instant",'
            ' "value": "41.5"}',
        )
        self.wait_for("/components/component/state/temperature/instant", "41.5")
        self.assertEqual(self.value(OCTETS), "12")
        self.assertEqual(self.value(ETH9 + "/state/mtu"), 1400)
        self.assertEqual(self.value(ETH9 + "/state/type"), "iana-if-type:ethernetCsmacd")
        self.assertEqual(self.value("/system/dns/state/search"), ["c.example"])
        self.assertEqual(self.value(r"/interfaces/interface[name=a\]b]/state/oper-status"), "UP")
        self.assertEqual(self.value(ETH9, type="CONFIG"), None)

    def test_later_lines_replace_and_delete(self):
        self.follow('{"path": "%s", "value": "1"}' % OCTETS)
        self.wait_for(OCTETS, "1")
        self.tell('{"path": "%s", "value": "2"}' % OCTETS)
        self.wait_for(OCTETS, "2")
        self.tell('{"delete": "%s"}' % OCTETS, '{"path": "%s/state/mtu", "value": 9}' % ETH9)
        self.wait_for(ETH9 + "/state/mtu", 9)
        self.assertIsNone(self.value(OCTETS))
        self.tell('{"delete": "/interfaces/interface[name=*]"}')
        self.wait_for("/interfaces", None)

    def test_a_value_counts_more_than_the_configuration(self):
        self.follow('{"path": "%s/state/mtu", "value": 1400}' % ETH9)
        config = {"name": "eth9", "type": "iana-if-type:ethernetCsmacd", "mtu": 9000}
        self.client.set(update=[(ETH9, {"name": "eth9", "config": config})])
        self.wait_for(ETH9 + "/state/mtu", 1400)
        self.assertEqual(self.value(ETH9 + "/state/name"), "eth9")
        self.tell('{"delete": "%s/state/mtu"}' % ETH9)
        self.wait_for(ETH9 + "/state/mtu", 9000)

    def test_lines_that_do_not_fit_are_left_out(self):
        bad = [
            "no json",
            "[]",
            '"text"',
            '{"path": "/interfaces"}',
            '{"path": 1, "value": 1}',
            '{"path": "/interfaces", "value": {}, "delete": "/interfaces"}',
            '{"path": "/interfaces[", "value": 1}',
            '{"path": "/nothing/here", "value": 1}',
            '{"path": "/", "value": {}}',
            '{"path": "%s", "value": 12}' % OCTETS,
            '{"path": "%s", "value": "-1"}' % OCTETS,
            '{"path": "%s/state/mtu", "value": 65536}' % ETH9,
            '{"path": "%s/config/mtu", "value": 1500}' % ETH9,
            '{"path": "%s", "value": {"config": {"mtu": 1500}}}' % ETH9,
            '{"path": "%s", "value": {"name": "eth8"}}' % ETH9,
            '{"path": "%s/name", "value": "eth9"}' % ETH9,
            '{"path": "/interfaces/interface/state/mtu", "value": 1500}',
            '{"path": "/interfaces/interface[name=*]/state/mtu", "value": 1500}',
            '{"path": "%s/state", "value": {"mtu": 1500, "unknown": 1}}' % ETH9,
            '{"path": "%s/state", "value": [1]}' % ETH9,
            '{"path": "%s/state", "value": %s}' % (ETH9, "[" * 300 + "]" * 300),
            '{"path": "%s", "value": "%s"}' % (OCTETS, "9" * 2_000_000),
            "\x00\x01 \x1b[31m",
        ]
        self.follow(*bad, *bad, '{"path": "/system/state/hostname", "value": "ok"}')
        self.wait_for("/system/state/hostname", "ok")
        self.assertIsNone(self.value("/interfaces"))
        warned = re.findall(r"state command: a line does not fit: .*", self.server.log())
        self.assertEqual(len(warned), 10, warned)
        self.assertEqual(len(set(warned)), 10)
        self.assertLess(max(map(len, warned)), 1000)
        self.assertNotIn("\x1b", "".join(warned))
        self.tell("exit")
        ended = self.server.wait_log(r"ended with exit status 3, (\d+) of its lines did not fit")
        self.assertEqual(int(ended.group(1)), 2 * len(bad))

    def test_standard_error_goes_into_the_log(self):
        self.run_program("import sys; print('h\\x1bi', file=sys.stderr); sys.stdin.read()")
        self.assertIsNotNone(self.server.wait_log(r"state command: h\\x1Bi"))

    def test_a_program_that_dies_is_started_again_and_its_old_values_go(self):
        text = """
            import os, sys
            first = not os.path.exists(os.environ["MARK"])
            open(os.environ["MARK"], "w").close()
            path = "/interfaces/interface[name=%s]/state/mtu"
            for name in ("stays", "goes") if first else ("stays",):
                print('{"path": "' + path % name + '", "value": ' + ("1" if first else "2") + "}")
            sys.stdout.flush()
            if first:
                os.kill(os.getpid(), 9)
            sys.stdin.read()
        """
        self.run_program(textwrap.dedent(text), MARK=self.path("mark"))
        stays = "/interfaces/interface[name=stays]/state/mtu"
        goes = "/interfaces/interface[name=goes]/state/mtu"
        self.assertIsNotNone(self.server.wait_log("ended by signal 9"))
        self.wait_for(stays, 2)
        self.assertEqual(self.value(goes), 1)
        self.wait_for(goes, None, timeout=30)
        self.assertEqual(self.value(stays), 2)

    def test_a_program_that_is_not_there_is_looked_for_again(self):
        server = self.begin("--no-linux-state", "--state-command", "./no-such-program")
        self.assertIsNotNone(
            server.wait_log(r"--state-command: there is no program ./no-such-program")
        )
        # An emulator does not say that a program is not there: it ends.
        said = "ended with exit status 127" if os.environ.get("NEXA_EMULATED") else "cannot be started"
        self.assertIsNotNone(server.wait_log("no-such-program " + said))
        self.assertEqual(server.stop(), 0)

    def test_the_program_ends_with_the_server(self):
        text = """
            import os, signal, sys, time
            def end(*_):
                open(os.environ["MARK"], "w").close()
                sys.exit()
            signal.signal(signal.SIGTERM, end)
            print(os.getpid(), file=sys.stderr)
            time.sleep(100)
        """
        self.run_program(textwrap.dedent(text), MARK=self.path("mark"))
        number = int(self.server.wait_log(r"state command: (\d+)").group(1))
        self.assertEqual(self.server.stop(), 0)
        self.assertTrue(os.path.exists(self.path("mark")))
        with self.assertRaises(ProcessLookupError):
            os.kill(number, 0)

    def test_its_input_ends_with_a_server_that_is_killed(self):
        text = """
            import os, sys
            print(os.getpid(), file=sys.stderr)
            sys.stdin.read()
            open(os.environ["MARK"], "w").close()
        """
        mark = self.path("mark")
        self.run_program(textwrap.dedent(text), MARK=mark)
        self.assertIsNotNone(self.server.wait_log(r"state command: \d+"))
        self.assertFalse(os.path.exists(mark))
        self.server.kill()
        end = time.monotonic() + 10
        while not os.path.exists(mark) and time.monotonic() < end:
            time.sleep(0.02)
        self.assertTrue(os.path.exists(mark))

    def test_streams_have_the_values(self):
        self.follow('{"path": "%s", "value": "12"}' % OCTETS)
        self.wait_for(OCTETS, "12")
        stream = self.client.subscribe(OCTETS, interval=0.1, timeout=20)
        seen = []
        for answer in stream:
            seen += [python_value(update.val) for update in answer.update.update]
            if answer.sync_response:
                self.tell('{"path": "%s", "value": "13"}' % OCTETS)
            if "13" in seen:
                break
        stream.cancel()
        self.assertEqual(seen[0], "12")

    def test_counters_are_sampled_and_other_leaves_told_when_they_change(self):
        self.follow(
            '{"counters": "/interfaces/interface/state/counters"}',
            '{"path": "%s", "value": "12"}' % OCTETS,
            '{"path": "%s/state/ifindex", "value": 7}' % ETH9,
            flags=("--target-sample-interval-ms", "200"),
        )
        self.wait_for(ETH9 + "/state/ifindex", 7)
        stream = self.client.subscribe(ETH9 + "/state", mode="target-defined", timeout=30)
        counted = 0
        told = []
        for answer in stream:
            if answer.sync_response:
                counted = 0
                told.clear()
                self.tell('{"path": "%s/state/ifindex", "value": 8}' % ETH9)
            for update in answer.update.update:
                if update.path.elem[-1].name == "in-octets":
                    counted += 1
                else:
                    told.append((update.path.elem[-1].name, python_value(update.val)))
            if counted >= 4:
                break
        stream.cancel()
        self.assertEqual(told, [("ifindex", 8)])

    def test_counters_need_a_name(self):
        self.follow('{"counters": "/interfaces/*"}')
        self.assertTrue(
            self.server.wait_log(r"the path of counters ends with the name of a node"),
            self.server.log(),
        )

    def test_the_example_of_the_page(self):
        with open(PAGE, encoding="utf-8") as file:
            page = file.read()
        example = page[page.index("    #!/usr/bin/env python3"):]
        zone = self.path("thermal_zone0")
        os.mkdir(zone)
        self.write("thermal_zone0/temp", "41500\n")
        self.run_program(
            textwrap.dedent(example),
            ZONES=self.path("thermal_zone*"),
            SECONDS_BETWEEN="0.1",
        )
        at = "/components/component[name=thermal_zone0]/state/temperature/instant"
        self.wait_for(at, "41.5")
        self.write("thermal_zone0/temp", "42000\n")
        self.wait_for(at, "42.0")
        os.remove(os.path.join(zone, "temp"))
        self.wait_for(at, None)
        self.assertEqual(paths.text(paths.parse(at)), at)
        # It has nothing more to tell, and ends with the server all the same.
        self.server.kill()
        program = self.path("program.py")
        end = time.monotonic() + 10
        while is_running(program) and time.monotonic() < end:
            time.sleep(0.02)
        self.assertFalse(is_running(program))


if __name__ == "__main__":
    report.main()
