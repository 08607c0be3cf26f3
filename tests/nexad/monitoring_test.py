"""docs/monitoring: the dashboard, the scrape and the alerts ask for what the server shows."""

import json
import os
import re
import shutil
import subprocess
import unittest
from urllib import request

from kit import report
from kit.case import RulesCase

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FOLDER = os.path.join(ROOT, "docs", "monitoring")
NAME = re.compile(r"\bnexad_\w+")
METHODS = {"Capabilities", "Get", "Set", "Subscribe"}


def text_of(*names):
    with open(os.path.join(*names), encoding="utf-8") as file:
        return file.read()


def dashboard():
    return json.loads(text_of(FOLDER, "grafana-dashboard.json"))


def expressions():
    """(panel's title, its expression)"""
    for panel in dashboard()["panels"]:
        for target in panel["targets"]:
            yield panel["title"], target["expr"]


def alert_expressions():
    return re.findall(r"^ +expr: (.*)$", text_of(FOLDER, "nexad-alerts.yml"), re.MULTILINE)


class Names(RulesCase):
    flags = ["--insecure", "--metrics", "127.0.0.1:0", "--verify", "on"]

    def shown(self):
        """The names of the page, those of a histogram's lines among them."""
        self.client.capabilities()
        opener = request.build_opener(request.ProxyHandler({}))
        with opener.open(f"http://{self.server.metrics_address()}/metrics", timeout=10) as answer:
            lines = answer.read().decode().splitlines()
        return {re.match(r"\w+", line)[0] for line in lines if line and line[0] != "#"}

    def test_every_metric_that_is_asked_for_is_shown(self):
        shown = self.shown()
        self.assertGreater(len(shown), 15)
        for file in ("grafana-dashboard.json", "nexad-alerts.yml"):
            asked = set()
            for text in [e for _, e in expressions()] if "json" in file else alert_expressions():
                asked |= set(NAME.findall(text))
            with self.subTest(file=file):
                self.assertGreater(len(asked), 5)
                self.assertEqual(asked - shown, set())

    def test_every_metric_of_the_manual_is_on_the_dashboard(self):
        page = text_of(ROOT, "docs", "nexad", "operations.md")
        told = set(re.findall(r"^\| `(nexad_\w+)", page, re.MULTILINE))
        drawn = {name for _, text in expressions() for name in NAME.findall(text)}
        self.assertGreater(len(told), 15)
        self.assertEqual(told - {name.removesuffix("_bucket") for name in drawn}, set())

    def test_labels_are_those_of_the_server(self):
        labels = {"instance", "job", "method", "code", "reason", "le"}
        for text in [e for _, e in expressions()] + alert_expressions():
            for names in re.findall(r"by \(([^)]*)\)", text):
                self.assertLessEqual(set(names.replace(" ", "").split(",")), labels)
            for label in re.findall(r"[{,](\w+)(?:=|!=|=~)", text):
                self.assertIn(label, labels)
            for method in re.findall(r'method!?="(\w+)"', text):
                self.assertIn(method, METHODS)


class Files(unittest.TestCase):
    def test_panels_have_names_and_places_of_their_own(self):
        panels = dashboard()["panels"]
        self.assertEqual(len({panel["id"] for panel in panels}), len(panels))
        self.assertEqual(len({panel["title"] for panel in panels}), len(panels))
        taken = set()
        for panel in panels:
            place = panel["gridPos"]
            cells = {
                (x, y)
                for x in range(place["x"], place["x"] + place["w"])
                for y in range(place["y"], place["y"] + place["h"])
            }
            self.assertLessEqual(place["x"] + place["w"], 24)
            self.assertFalse(cells & taken, panel["title"])
            taken |= cells

    def promtool(self, *words):
        if not shutil.which("promtool"):
            self.skipTest("there is no promtool")
        ran = subprocess.run(
            ["promtool", *words], capture_output=True, text=True, timeout=60, cwd=FOLDER
        )
        self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)
        return ran.stdout

    def test_promtool_takes_scrape_and_alerts(self):
        self.assertIn("10 rules found", self.promtool("check", "config", "prometheus.yml"))

    def test_promtool_takes_the_expressions_of_the_dashboard(self):
        if not shutil.which("promtool"):
            self.skipTest("there is no promtool")
        rules = {"groups": [{"name": "dashboard", "rules": []}]}
        for number, (_, text) in enumerate(expressions()):
            text = text.replace("$__rate_interval", "1m").replace("$instance", ".*")
            rules["groups"][0]["rules"].append({"record": f"panel_{number}", "expr": text})
        path = os.path.join(os.environ["NEXA_BUILD_DIR"], "dashboard-rules.yml")
        with open(path, "w", encoding="utf-8") as file:
            json.dump(rules, file)
        self.promtool("check", "rules", path)


if __name__ == "__main__":
    report.main()
