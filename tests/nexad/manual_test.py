"""The manual: pages, tables and completions say what the programs say of themselves."""

import os
import pty
import re
import select
import shutil
import subprocess
import tempfile
import time
import unittest

from kit import report
from kit.server import program
from manlib import program as told
from manlib import roff, tables

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
MANUAL = os.path.join(os.environ["NEXA_BUILD_DIR"], "manual")
PROGRAMS = {"nexad": "NEXAD", "nexa": "NEXA"}
PAGES = {"nexad.8": "nexad", "nexa.1": "nexa", "nexad.toml.5": "nexad", "nexad-users.5": None}


def text_of(*names):
    with open(os.path.join(*names), encoding="utf-8") as file:
        return file.read()


def help_of(name, *command):
    ran = subprocess.run(
        [program(name, PROGRAMS[name]), *command, "--help"],
        capture_output=True,
        text=True,
        timeout=60,
        check=True,
    )
    return ran.stdout


def described(name):
    return told.read(os.path.join(MANUAL, name + ".json"))


def plain(page):
    """The words of a manual page, without requests and escapes."""
    lines = [line for line in page.splitlines() if not line.startswith((".", "'"))]
    text = re.sub(r"\\f[BIR]|\\&", "", " ".join(lines))
    for escape, character in (
        ("\\(aq", "'"),
        ("\\(ha", "^"),
        ("\\(ti", "~"),
        ("\\(ga", "`"),
        ("\\-", "-"),
        ("\\e", "\\"),
    ):
        text = text.replace(escape, character)
    return " ".join(text.split())


def words(text):
    return " ".join(text.split())


class Descriptions(unittest.TestCase):
    """What the rest is made of is what --help shows."""

    def test_help_has_every_option_with_its_text(self):
        for name in PROGRAMS:
            about = described(name)
            for command in [about, *about.commands]:
                with self.subTest(program=name, command=command.name):
                    shown = help_of(name, *([] if command is about else [command.name]))
                    self.assertGreater(len(command.options), 0)
                    for option in command.options:
                        self.assertIn(words(option.help), words(shown))
                    # And nothing else: each line that begins with a dash is one of these.
                    flags = re.findall(r"^  (-\S+)", shown, re.MULTILINE)
                    self.assertEqual(
                        sorted(flags), sorted(",".join(option.names) for option in command.flags)
                    )

    def test_help_has_every_command(self):
        for name in PROGRAMS:
            shown = help_of(name)
            for command in described(name).commands:
                self.assertRegex(shown, rf"\n  {command.name} +\S")


class Tables(unittest.TestCase):
    maxDiff = None

    def test_the_reference_is_as_the_program_would_write_it(self):
        page = text_of(ROOT, "docs", "nexad", "reference.md")
        self.assertEqual(page, tables.renewed(page, described("nexad")))

    def test_a_group_without_a_heading_is_told(self):
        with self.assertRaisesRegex(ValueError, "no heading for: Operation"):
            page = text_of(ROOT, "docs", "nexad", "reference.md")
            tables.renewed(page.replace("## Operation\n", "## Other\n"), described("nexad"))


class Pages(unittest.TestCase):
    def test_every_option_stands_in_the_page_of_its_program(self):
        for page, name in (("nexad.8", "nexad"), ("nexad.toml.5", "nexad"), ("nexa.1", "nexa")):
            text = plain(text_of(MANUAL, page))
            about = described(name)
            for command in [about, *about.commands] if page != "nexad.toml.5" else [about]:
                for option in command.options:
                    with self.subTest(page=page, option=option.name):
                        self.assertIn(option.name, text)
                        self.assertIn(words(option.help), text)

    def test_examples_of_the_help_stand_in_the_page(self):
        text = plain(text_of(MANUAL, "nexa.1"))
        for command in described("nexa").commands:
            for line in command.footer.splitlines():
                if line.startswith("  "):
                    self.assertIn(words(line), text)

    def test_the_users_page_has_a_hash_that_nexad_takes(self):
        line = re.search(r"^ +(alice:\S+)$", text_of(ROOT, "docs/manual/nexad-users.5.md"), re.M)
        self.assertIn(line[1], plain(text_of(MANUAL, "nexad-users.5")))

    def lint(self, *command):
        if not shutil.which(command[0]):
            self.skipTest(f"there is no {command[0]}")
        for page in PAGES:
            with self.subTest(page=page):
                ran = subprocess.run(
                    [*command, os.path.join(MANUAL, page)],
                    stdout=subprocess.PIPE,
                    stderr=subprocess.PIPE,
                    text=True,
                    timeout=60,
                    env={**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "80", "MANROFFSEQ": ""},
                )
                if command[0] == "mandoc":
                    # Pages of this tree name each other before they are installed.
                    said = [line for line in ran.stdout.splitlines() if "not found" not in line]
                    self.assertEqual(said, [])
                else:
                    self.assertEqual((ran.returncode, ran.stderr), (0, ""))

    def test_man_warns_of_nothing(self):
        self.lint("man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z")

    def test_mandoc_finds_nothing(self):
        self.lint("mandoc", "-Tlint")

    def test_text_is_never_a_request(self):
        text = "<!-- man x 1: y -->\n## A\n\n.so /etc/passwd\n\n    'br\n"
        page = roff.Page().render(text, "v", 0)
        for line in page.splitlines():
            self.assertNotRegex(line, r"^(\.so|'br)")
        self.assertIn("\\&.so /etc/passwd", page)


class Bash(unittest.TestCase):
    """The function of the completion, called as bash calls it."""

    def complete(self, name, *typed):
        """What is offered for the last of the words."""
        script = (
            f". {MANUAL}/{name}.bash; COMP_WORDS=({name} \"$@\"); COMP_CWORD=$#; _{name}; "
            'printf "%s\\n" "${COMPREPLY[@]}"'
        )
        ran = subprocess.run(
            ["bash", "--norc", "-c", script, "complete", *typed],
            capture_output=True,
            text=True,
            timeout=60,
        )
        self.assertEqual(ran.stderr, "")
        return sorted(ran.stdout.split())

    def test_flags(self):
        for name in PROGRAMS:
            about = described(name)
            wanted = [flag for option in about.flags for flag in option.names if flag[:2] == "--"]
            self.assertEqual(self.complete(name, "--"), sorted(wanted))

    def test_commands_and_their_flags(self):
        about = described("nexa")
        names = [command.name for command in about.commands]
        flags = [f for option in about.flags for f in option.names if f[:2] == "--"]
        self.assertEqual(self.complete("nexa", ""), sorted(names + flags))
        self.assertEqual(self.complete("nexa", "rol"), ["rollback"])
        self.assertEqual(self.complete("nexa", "rollback", "--to"), ["--to"])
        self.assertEqual(self.complete("nexa", "history", "--to"), [])

    def test_values(self):
        self.assertEqual(
            self.complete("nexad", "--log-level", ""), ["debug", "error", "info", "warning"]
        )
        self.assertEqual(self.complete("nexad", "--profile", "d"), ["device"])
        self.assertEqual(self.complete("nexa", "convert", "--mode", "u"), ["update"])
        self.assertEqual(self.complete("nexad", "--max-paths", ""), [])

    def test_files_and_folders(self):
        with tempfile.TemporaryDirectory(prefix="nexad-test-") as folder:
            os.mkdir(folder + "/data")
            with open(folder + "/date", "w", encoding="utf-8"):
                pass
            self.assertEqual(
                self.complete("nexad", "--config", folder + "/da"),
                [folder + "/data", folder + "/date"],
            )
            for typed in (("nexad", "--data"), ("nexa", "init")):
                self.assertEqual(self.complete(*typed, folder + "/da"), [folder + "/data"])
            self.assertEqual(
                self.complete("nexa", "convert", folder + "/dat"),
                [folder + "/data", folder + "/date"],
            )


@unittest.skipUnless(shutil.which("zsh"), "there is no zsh")
class Zsh(unittest.TestCase):
    """The completion in a shell that has a terminal, as zsh completes nothing without one."""

    def shows(self, line, *wanted):
        """The shell shows each of these after a tab behind `line`."""
        folder = tempfile.mkdtemp(prefix="nexad-test-")
        self.addCleanup(shutil.rmtree, folder, ignore_errors=True)
        for name in PROGRAMS:
            shutil.copy(os.path.join(MANUAL, name + ".zsh"), os.path.join(folder, "_" + name))
        pid, terminal = pty.fork()
        if pid == 0:
            os.environ.update(TERM="dumb", HOME=folder, ZDOTDIR=folder, COLUMNS="200")
            os.execvp("zsh", ["zsh", "-f", "-i"])
        self.addCleanup(os.waitpid, pid, 0)
        self.addCleanup(os.close, terminal)

        def until(marks):
            shown = ""
            ends = time.monotonic() + 30
            while not all(mark in shown for mark in marks) and time.monotonic() < ends:
                if select.select([terminal], [], [], 0.1)[0]:
                    shown += os.read(terminal, 65536).decode("utf-8", "replace")
            for mark in marks:
                self.assertIn(mark, shown)

        def say(text):
            os.write(terminal, text.encode())

        say(f"PS1=; fpath=({folder} $fpath); autoload -Uz compinit; compinit -u -D; ")
        say("zstyle ':completion:*' list-prompt ''; LISTMAX=9999; unsetopt beep; print re''ady\n")
        until(["ready"])
        say(f"{line}\t")
        until(wanted)
        say("\x15exit\n")

    def test_a_command_is_completed(self):
        self.shows("nexa roll", "back ")

    def test_flags_are_shown_with_their_text(self):
        flags = [flag for flag in described("nexad").flags if flag.name.startswith("--max-")]
        self.assertGreater(len(flags), 5)
        self.shows("nexad --max-", *(text for flag in flags for text in (flag.name, flag.help)))

    def test_values_are_shown(self):
        self.shows("nexad --log-level ", "debug", "info", "warning", "error")


if __name__ == "__main__":
    report.main()
