"""Set: what update, replace and delete do to the configuration, and what is answered."""

import time

from gnmilib import paths
from gnmilib.client import gnmi
from kit import report
from kit.case import RulesCase

RULES = "/test-rules:rules"


class Update(RulesCase):
    def test_stores_a_leaf(self):
        self.client.set(update=[(RULES + "/level", 42)])
        self.assertEqual(self.client.value(RULES + "/level"), 42)

    def test_merges_and_deletes_nothing(self):
        self.rules({"group": [{"name": "a", "note": "first"}], "tag": ["x"]})
        self.rules({"group": [{"name": "b"}], "tag": ["y"]})
        self.assertEqual(
            self.stored(),
            {
                "group": [{"name": "a", "note": "first"}, {"name": "b"}],
                "tag": ["x", "y"],
                "level": 10,
                "mode": "manual",
            },
        )

    def test_takes_names_without_their_module(self):
        self.client.set(update=[("/rules/level", 7)])
        self.assertEqual(self.client.value(RULES + "/level"), 7)

    def test_creates_the_entry_that_the_path_names(self):
        self.client.set(update=[(RULES + "/route[prefix=10.0.0.0/8][metric=5]/via", "eth0")])
        self.assertEqual(
            self.tree(RULES + "/route[prefix=10.0.0.0/8][metric=5]"),
            {"prefix": "10.0.0.0/8", "metric": 5, "via": "eth0"},
        )

    def test_keeps_key_values_with_brackets_quotes_and_slashes(self):
        for key in ("a]b", "a[b", "a=b", "it's", '"', "a/b", "\\", "ü", "a b"):
            with self.subTest(key=key):
                path = gnmi.Path(
                    elem=[
                        gnmi.PathElem(name="test-rules:rules"),
                        gnmi.PathElem(name="route", key={"prefix": key, "metric": "1"}),
                        gnmi.PathElem(name="via"),
                    ]
                )
                self.client.set(update=[(path, "here")])
                self.assertEqual(self.client.value(path), "here")

    def test_keeps_every_byte_of_a_string(self):
        for text in (
            "n",
            "*",
            " ",
            "",
            "ietf-interfaces:eth0",
            "a\nb\tc",
            "ü€😀",
            "<&>\"'",
            "x" * 200000,
        ):
            with self.subTest(text=text[:20]):
                self.client.set(update=[(RULES + "/script", text)])
                self.assertEqual(self.client.value(RULES + "/script"), text)

    def test_keeps_all_digits_of_64_bit_numbers(self):
        self.client.set(update=[(RULES + "/large", "18446744073709551615")])
        self.assertEqual(self.client.value(RULES + "/large"), "18446744073709551615")

    def test_takes_scalar_values_and_json(self):
        for value in (
            gnmi.TypedValue(uint_val=33),
            gnmi.TypedValue(int_val=33),
            gnmi.TypedValue(json_val=b"33"),
            gnmi.TypedValue(json_ietf_val=b"33"),
        ):
            with self.subTest(kind=value.WhichOneof("value")):
                self.client.set(delete=[RULES + "/level"])
                self.client.set(update=[(RULES + "/level", value)])
                self.assertEqual(self.client.value(RULES + "/level"), 33)

    def test_keeps_the_order_of_a_user_ordered_leaf_list(self):
        self.client.set(update=[(RULES + "/search", ["c", "a", "b"])])
        self.assertEqual(self.client.value(RULES + "/search"), ["c", "a", "b"])

    def test_switches_the_case_of_a_choice(self):
        self.client.set(update=[(RULES + "/console", True)])
        self.client.set(update=[(RULES + "/port", 22)])
        self.assertEqual(self.client.value(RULES + "/port"), 22)
        self.absent(RULES + "/console")

    def test_prefix_stands_before_each_path(self):
        answer = self.client.set(prefix=RULES, update=[("level", 12)])
        self.assertEqual(self.client.value(RULES + "/level"), 12)
        self.assertEqual(self.client.value("level", prefix=RULES), 12)
        self.assertEqual(paths.text(answer.prefix), RULES)
        self.assertEqual([paths.text(result.path) for result in answer.response], ["/level"])


class Replace(RulesCase):
    def test_prunes_what_the_value_does_not_name(self):
        self.rules({"group": [{"name": "a", "note": "x"}, {"name": "b"}], "tag": ["t"]})
        self.client.set(replace=[(RULES + "/group[name=a]", {"name": "a"})])
        self.assertEqual(self.tree(RULES + "/group[name=a]"), {"name": "a"})
        self.assertEqual(self.tree(RULES + "/group[name=b]"), {"name": "b"})
        self.client.set(replace=[(RULES, {"tag": ["u"]})])
        self.assertEqual(self.stored(), {"tag": ["u"], "level": 10, "mode": "manual"})

    def test_restores_defaults(self):
        self.rules({"level": 55, "mode": "automatic"})
        self.client.set(replace=[(RULES, {"tag": ["u"]})])
        self.assertEqual(self.client.value(RULES + "/level"), 10)
        self.assertEqual(self.client.value(RULES + "/mode"), "manual")

    def test_sets_one_leaf_and_leaves_its_siblings(self):
        self.rules({"level": 5, "low": 1})
        self.client.set(replace=[(RULES + "/level", 6)])
        self.assertEqual(self.client.value(RULES + "/level"), 6)
        self.assertEqual(self.client.value(RULES + "/low"), 1)

    def test_gives_a_leaf_list_exactly_the_values(self):
        self.client.set(update=[(RULES + "/search", ["a", "b", "c"])])
        self.client.set(replace=[(RULES + "/search", ["c", "a"])])
        self.assertEqual(self.client.value(RULES + "/search"), ["c", "a"])

    def test_of_the_root_leaves_what_the_value_says(self):
        self.client.set(update=[(RULES + "/level", 9), ("/test-rules:pair/left", "1")])
        self.client.set(replace=[("/", {"test-rules:rules": {"low": 3}})])
        self.assertEqual(self.client.value(RULES + "/low"), 3)
        self.assertEqual(self.client.value(RULES + "/level"), 10)
        self.absent("/test-rules:pair/left")


class Delete(RulesCase):
    def setUp(self):
        super().setUp()
        self.rules(
            {
                "route": [
                    {"prefix": prefix, "metric": metric, "via": "eth0"}
                    for prefix in ("a", "b")
                    for metric in (1, 2)
                ],
                "level": 50,
                "low": 1,
                "search": ["x", "y"],
            }
        )

    def routes(self):
        return sorted(
            (route["prefix"], route["metric"]) for route in self.stored().get("route", [])
        )

    def test_takes_one_entry(self):
        self.client.set(delete=[RULES + "/route[prefix=a][metric=1]"])
        self.assertEqual(self.routes(), [("a", 2), ("b", 1), ("b", 2)])

    def test_accepts_what_is_not_there(self):
        answer = self.client.set(delete=[RULES + "/route[prefix=z][metric=9]", RULES + "/script"])
        self.assertEqual(len(answer.response), 2)
        self.assertEqual(len(self.routes()), 4)

    def test_expands_a_partial_key(self):
        self.client.set(delete=[RULES + "/route[prefix=a]"])
        self.assertEqual(self.routes(), [("b", 1), ("b", 2)])

    def test_expands_a_wildcard_key(self):
        self.client.set(delete=[RULES + "/route[prefix=*][metric=2]"])
        self.assertEqual(self.routes(), [("a", 1), ("b", 1)])

    def test_of_a_list_without_keys_takes_all_entries(self):
        self.client.set(delete=[RULES + "/route"])
        self.assertEqual(self.routes(), [])

    def test_expands_a_wildcard_element(self):
        self.client.set(delete=[RULES + "/*[prefix=a]"])
        self.assertEqual(self.routes(), [("b", 1), ("b", 2)])

    def test_expands_any_depth(self):
        self.client.set(delete=[RULES + "/.../via"])
        self.assertEqual(len(self.routes()), 4)
        self.absent(RULES + "/route[prefix=a][metric=1]/via")

    def test_of_a_leaf_restores_its_default(self):
        self.client.set(delete=[RULES + "/level"])
        self.assertEqual(self.client.value(RULES + "/level"), 10)

    def test_of_the_container_takes_everything(self):
        self.client.set(delete=[RULES])
        self.assertEqual(self.routes(), [])
        self.assertEqual(self.client.value(RULES + "/level"), 10)


class Answer(RulesCase):
    def test_has_one_result_for_each_operation_in_order(self):
        answer = self.client.set(
            update=[(RULES + "/level", 3), (RULES + "/low", 1)],
            replace=[(RULES + "/high", 9)],
            delete=[RULES + "/tag", RULES + "/script"],
        )
        operations = gnmi.UpdateResult
        self.assertEqual(
            [(result.op, paths.text(result.path)) for result in answer.response],
            [
                (operations.DELETE, RULES + "/tag"),
                (operations.DELETE, RULES + "/script"),
                (operations.REPLACE, RULES + "/high"),
                (operations.UPDATE, RULES + "/level"),
                (operations.UPDATE, RULES + "/low"),
            ],
        )

    def test_has_the_time_in_nanoseconds(self):
        before = time.time_ns()
        answer = self.client.set(update=[(RULES + "/level", 4)])
        self.assertTrue(
            before - 10**9 <= answer.timestamp <= time.time_ns() + 10**9, answer.timestamp
        )

    def test_empty_request_is_accepted(self):
        self.assertEqual(len(self.client.set().response), 0)

    def test_a_change_that_changes_nothing_is_accepted(self):
        self.rules({"level": 8})
        answer = self.rules({"level": 8})
        self.assertEqual(len(answer.response), 1)


if __name__ == "__main__":
    report.main()
