"""Flags over environment over file, --check-config, and errors that name their place."""

import os
import subprocess

from kit import report
from kit.case import StartCase
from kit.server import RULES, program


class Sources(StartCase):
    def run_nexad(self, *words, environment=None):
        clean = {name: value for name, value in os.environ.items() if not name.startswith("NEXAD_")}
        return subprocess.run(
            [program("nexad", "NEXAD"), *words],
            capture_output=True,
            text=True,
            timeout=60,
            env={**clean, **(environment or {})},
            cwd=self.folder,
        )

    def config(self, text):
        return self.write("nexad.toml", text)

    def serving(self, flags, environment=None, config=""):
        """How many paths of a Get the started server takes."""
        server = self.begin("--config", self.config(config), *flags, environment=environment)
        with server.client() as client:
            with self.refused("INVALID_ARGUMENT") as caught:
                client.get(*["/test-rules:rules"] * 20)
        text = caught.exception.details()
        server.stop()
        self.assertIn("at most ", text)
        return int(text.split("at most ")[1].split()[0])

    def test_the_file_counts_over_the_default(self):
        self.assertEqual(self.serving([], config="max-paths = 11\n"), 11)

    def test_the_environment_counts_over_the_file(self):
        self.assertEqual(self.serving([], {"NEXAD_MAX_PATHS": "12"}, "max-paths = 11\n"), 12)

    def test_a_flag_counts_over_the_environment(self):
        self.assertEqual(
            self.serving(["--max-paths", "13"], {"NEXAD_MAX_PATHS": "12"}, "max-paths = 11\n"), 13
        )

    def test_a_whole_configuration_in_a_file(self):
        config = self.config(f"""
yang-dir = ["{RULES[1]}"]
data = "{self.path('data')}"
listen = "127.0.0.1:0"
insecure = true
metrics = "off"
""")
        ran = self.run_nexad("--config", config, "--check-config")
        self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)

    def test_check_config_serves_nothing_and_writes_nothing(self):
        data = self.path("data")
        ran = self.run_nexad(
            *RULES, "--data", data, "--insecure", "--listen", "127.0.0.1:0", "--check-config"
        )
        self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)
        self.assertFalse(os.path.exists(data))

    def refuse(self, words, *flags, environment=None, config=None):
        if config is not None:
            flags = ["--config", self.config(config), *flags]
        ran = self.run_nexad(*flags, "--check-config", environment=environment)
        self.assertNotEqual(ran.returncode, 0)
        for word in words:
            self.assertIn(word, ran.stderr)
        self.assertLessEqual(len(ran.stderr.strip().splitlines()), 3, ran.stderr)

    def good(self, *flags):
        return [*RULES, "--data", self.path("data"), "--insecure", *flags]

    def test_errors_name_the_flag_the_variable_or_the_line(self):
        self.refuse(["--max-paths", "many"], *self.good("--max-paths", "many"))
        self.refuse(
            ["NEXAD_MAX_PATHS", "many"], *self.good(), environment={"NEXAD_MAX_PATHS": "many"}
        )
        self.refuse(["nexad.toml:2", "max-paths"], *self.good(), config='\nmax-paths = "many"\n')
        self.refuse(["nexad.toml:1", "colour"], *self.good(), config="colour = 1\n")
        self.refuse(["nexad.toml:1"], *self.good(), config="= 1\n")
        self.refuse(["--colour"], *self.good("--colour", "1"))

    def test_verify_is_on_or_off(self):
        self.refuse(["--verify", '"perhaps"', "on nor off"], *self.good("--verify", "perhaps"))
        self.refuse(
            ["NEXAD_VERIFY_INTERVAL"], *self.good(), environment={"NEXAD_VERIFY_INTERVAL": "-1"}
        )
        self.refuse(["nexad.toml:1", "verify"], *self.good(), config='verify = "1"\n')

    def test_the_limits_of_one_set_have_bounds(self):
        self.refuse(["--max-set-nodes", "from 1 to"], *self.good("--max-set-nodes", "0"))
        self.refuse(["nexad.toml:1", "from 1024 to"], *self.good(), config="max-set-bytes = 9\n")

    def test_the_short_names_of_the_tool_are_taken(self):
        for flag in ("-p", "--searchpath"):
            with self.subTest(flag=flag):
                ran = self.run_nexad(
                    *(flag, RULES[1], "-m", "test-rules", "--data", self.path("data")),
                    *("--insecure", "--listen", "127.0.0.1:0", "--check-config"),
                )
                self.assertEqual(ran.returncode, 0, ran.stderr)

    def test_a_module_can_have_none_of_its_features(self):
        self.write(
            "m.yang",
            """module m { namespace "urn:m"; prefix m; feature f;
              container c {
                leaf x { if-feature f; type string; default "a"; }
                leaf y { type string; } } }""",
        )
        server = self.begin(
            *("--feature", "m:", "--metrics", "127.0.0.1:0"),
            *("--verify", "on", "--verify-interval", "0"),
            schema=["-p", self.folder],
        )
        with server.client() as client:
            client.set(update=[("/m:c/y", "b")])
            self.assertEqual(client.value("/m:c"), {"m:y": "b"})
            with self.refused("NOT_FOUND"):
                client.set(update=[("/m:c/x", "b")])
        # The process that judges the configuration once more has none of them either.
        self.assertTrue(server.wait_metric("nexad_verified_commit", 1), server.log())
        self.assertEqual(server.metric("nexad_verify_violations_total"), 0)
        server.stop()

    def test_what_is_missing_is_named(self):
        self.refuse(["yang-dir"], "--data", self.path("data"), "--insecure")
        self.refuse(["data"], *RULES, "--insecure")
        self.refuse(
            ["no-such-folder"],
            "--yang-dir",
            "no-such-folder",
            "--data",
            self.path("data"),
            "--insecure",
        )
        self.refuse(["no-such-module"], *self.good("--module", "no-such-module"))

    def test_metrics_on_an_address_for_everybody_are_refused(self):
        self.refuse(["metrics"], *self.good("--metrics", "0.0.0.0:9340"))

    def test_help_and_version(self):
        ran = self.run_nexad("--help")
        self.assertEqual((ran.returncode, ran.stderr), (0, ""))
        self.assertIn("--yang-dir", ran.stdout)
        ran = self.run_nexad("--version")
        self.assertEqual(ran.returncode, 0)
        self.assertRegex(ran.stdout, r"^nexad \d+\.\d+\.\d+\n$")

    def test_a_password_becomes_a_hash(self):
        ran = subprocess.run(
            [program("nexad", "NEXAD"), "--hash-password"],
            input="secret\n",
            capture_output=True,
            text=True,
            timeout=60,
        )
        self.assertEqual(ran.returncode, 0, ran.stderr)
        self.assertRegex(ran.stdout, r"^\$y\$\S+\n$")


if __name__ == "__main__":
    report.main()
