"""What was acknowledged is there after a restart, after a kill, and after a schema that changed;
what is damaged or foreign is refused.
"""

import contextlib
import glob
import os
import shutil
import sqlite3
import subprocess

from kit import report
from kit.case import RulesCase
from kit.server import RULES as RULES_SCHEMA
from kit.server import DidNotStart, Server, ietf_modules, program

RULES = "/test-rules:rules"


class Restart(RulesCase):
    def restart(self, kill=False):
        self.client.close()
        if kill:
            self.server.kill()
        else:
            self.assertEqual(self.server.stop(), 0)
        self.server.start()
        type(self).client = self.server.client()

    def test_keeps_the_configuration(self):
        content = {
            "level": 77,
            "group": [{"name": "g", "note": "ü"}],
            "search": ["b", "a"],
            "large": "18446744073709551615",
            "script": "line\nline",
        }
        self.rules(content)
        before = self.stored()
        self.restart()
        self.assertEqual(self.stored(), before)
        self.assertEqual(before, {**content, "mode": "manual"})

    def test_keeps_what_was_acknowledged_before_a_kill(self):
        for round_number in range(3):
            for number in range(10):
                self.client.set(
                    update=[
                        (
                            RULES + f"/group[name=r{round_number}-{number}]",
                            {"name": f"r{round_number}-{number}"},
                        )
                    ]
                )
            self.restart(kill=True)
            self.assertEqual(len(self.stored()["group"]), 10 * (round_number + 1))

    def test_keeps_deletes_and_order(self):
        self.rules({"search": ["a", "b", "c", "d"]})
        self.client.set(replace=[(RULES + "/search", ["d", "b", "a"])])
        self.client.set(delete=[RULES + "/level"])
        self.restart()
        self.assertEqual(self.client.value(RULES + "/search"), ["d", "b", "a"])
        self.assertEqual(self.client.value(RULES + "/level"), 10)

    def test_a_restart_after_many_commits_uses_snapshots(self):
        for number in range(300):
            self.client.set(update=[(RULES + "/large", str(number))])
        self.restart()
        self.assertEqual(self.client.value(RULES + "/large"), "299")

    def test_a_presence_container_without_content(self):
        self.client.set(update=[(RULES + "/debug", {})])
        self.assertEqual(self.tree(RULES + "/debug"), {"level": 1})
        self.restart()
        self.assertEqual(self.tree(RULES + "/debug"), {"level": 1})


class Refusals(RulesCase):
    """The server does not start, says why, and touches nothing."""

    def setUp(self):
        super().setUp()
        self.rules({"level": 44, "group": [{"name": "g"}]})
        self.client.close()
        self.server.stop()
        self.copy = self.path("copy-" + self.id().rpartition(".")[2])
        shutil.copytree(self.server.data, os.path.join(self.copy, "data"))

    def tearDown(self):
        if not self.server.running():
            self.server.start()
        type(self).client = self.server.client()

    def database(self):
        files = [
            name
            for name in glob.glob(os.path.join(self.copy, "data", "*"))
            if not name.endswith(("-wal", "-shm", ".lock"))
            and open(name, "rb").read(6) == b"SQLite"
        ]
        self.assertEqual(len(files), 1, files)
        return files[0]

    def refuse_start(self, *words, schema=RULES_SCHEMA):
        server = Server(self.copy, schema)
        with self.assertRaises(DidNotStart) as caught:
            server.start()
        text = str(caught.exception)
        self.assertNotIn("exit status 0", text)
        self.assertNotIn("exit status -", text, "ended by a signal")
        for word in words:
            self.assertIn(word, text)
        return text

    def test_a_file_that_is_no_database(self):
        name = self.database()
        with open(name, "wb") as file:
            file.write(b"not a database, only text " * 400)
        self.refuse_start(os.path.basename(name))

    def test_a_database_of_something_else(self):
        name = self.database()
        os.remove(name)
        with sqlite3.connect(name) as other:
            other.execute("create table cats(name text)")
        other.close()
        self.refuse_start(os.path.basename(name))

    def test_a_changed_old_commit(self):
        """A start does not read it; who reads all of the log finds it."""
        name = self.database()
        with contextlib.closing(sqlite3.connect(name)) as log:
            log.execute(
                "UPDATE commits SET change = replace(change, '44', '54') WHERE number = "
                "(SELECT max(number) FROM commits WHERE change LIKE '%44%')"
            )
            log.commit()
            self.assertEqual(log.total_changes, 1)
        server = Server(self.copy, RULES_SCHEMA)
        self.addCleanup(server.kill)
        server.start()
        with server.client() as client:
            self.assertEqual(client.value(RULES + "/level"), 44)
        ran = subprocess.run(
            [program("nexa", "NEXA"), "history", "--data", server.data],
            capture_output=True,
            text=True,
            timeout=60,
        )
        self.assertNotEqual(ran.returncode, 0)
        self.assertIn("does not match its checksum", ran.stderr)

    def test_a_damaged_newest_snapshot(self):
        name = self.database()
        with contextlib.closing(sqlite3.connect(name)) as log:
            # Whichever of the two a start reads.
            for table in ("snapshots", "images"):
                log.execute(f"UPDATE {table} SET hash = zeroblob(length(hash))")
            log.commit()
        self.refuse_start("does not match its checksum")

    def test_a_truncated_file(self):
        name = self.database()
        with open(name, "r+b") as file:
            file.truncate(os.path.getsize(name) // 2)
        self.refuse_start()

    def test_a_schema_that_lost_a_node_in_use(self):
        folder = os.path.join(self.copy, "yang")
        os.makedirs(folder)
        with open(os.path.join(RULES_SCHEMA[1], "test-rules.yang"), encoding="utf-8") as file:
            text = file.read()
        smaller = text.replace(
            'leaf level {\n      type uint8 { range "0..100"; }\n      default 10;\n    }', ""
        )
        self.assertNotEqual(smaller, text)
        with open(os.path.join(folder, "test-rules.yang"), "w", encoding="utf-8") as file:
            file.write(smaller)
        self.refuse_start("level", schema=["--yang-dir", folder])

    def test_a_schema_that_gained_modules_is_no_problem(self):
        server = Server(self.copy, ietf_modules() + RULES_SCHEMA + ["--module", "test-rules"])
        self.addCleanup(server.kill)
        server.start()
        with server.client() as client:
            self.assertEqual(client.value(RULES + "/level"), 44)

    def test_a_data_directory_that_another_server_uses(self):
        self.server.start()
        second = Server(self.path("second"), RULES_SCHEMA)
        second.data = self.server.data
        with self.assertRaises(DidNotStart) as caught:
            second.start()
        self.assertIn(self.server.data, str(caught.exception))


if __name__ == "__main__":
    report.main()
