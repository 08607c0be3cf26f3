"""Set requests that are refused: the code, the exact text, and that nothing of them remains."""

from gnmilib import paths
from gnmilib.client import gnmi
from kit import report
from kit.case import RulesCase

RULES = "/test-rules:rules"
EMPTY_PATH = (
    'Invalid argument.  Path with 0 elements (xpath = "/") is not supported for SET and GET '
    "requests"
)
WILD_ELEMENT = "Wildcard not implemented for UPDATE nor REPLACE"


def path_of(*elements):
    return gnmi.Path(elem=[gnmi.PathElem(name=name, key=key) for name, key in elements])


def route(prefix, metric="1"):
    return path_of(
        ("test-rules:rules", {}), ("route", {"prefix": prefix, "metric": metric}), ("via", {})
    )


class FixedTexts(RulesCase):
    """Texts that the request checks own; clients compare them."""

    flags = ["--insecure", "--profile", "device"]

    def refuse(self, code, text, **operations):
        self.rules({"level": 3})
        before = self.stored()
        with self.refused(code, text):
            self.client.set(**operations)
        self.assertEqual(self.stored(), before)

    def refuse_request(self, code, text, **fields):
        with self.refused(code, text):
            self.client.set_request(gnmi.SetRequest(**fields))

    def test_an_update_of_the_empty_path(self):
        self.refuse("INVALID_ARGUMENT", EMPTY_PATH, update=[("/", {})])

    def test_an_update_without_a_path(self):
        update = gnmi.Update(val=gnmi.TypedValue(json_ietf_val=b"1"))
        self.refuse_request("INVALID_ARGUMENT", "No path field provided", update=[update])
        self.refuse_request("INVALID_ARGUMENT", "No path field provided", replace=[update])

    def test_an_update_without_a_value(self):
        update = gnmi.Update(path=paths.parse(RULES + "/level"))
        self.refuse_request("INVALID_ARGUMENT", "No value field provided", update=[update])

    def test_wildcard_elements(self):
        for name in ("*", "..."):
            for kind in ("update", "replace"):
                with self.subTest(name=name, kind=kind):
                    self.refuse("UNIMPLEMENTED", WILD_ELEMENT, **{kind: [(f"{RULES}/{name}", 1)]})

    def test_wildcard_key_values(self):
        self.refuse(
            "UNIMPLEMENTED",
            "Invalid key value * wild card is not supported for SET key value",
            update=[(route("*"), "x")],
        )
        self.refuse("INVALID_ARGUMENT", "Invalid key value  ...", update=[(route("..."), "x")])
        self.refuse(
            "INVALID_ARGUMENT",
            "Invalid key value %s regex style wildcard not supported inside of a string eth*",
            update=[(route("eth*"), "x")],
        )

    def test_key_names(self):
        self.refuse(
            "INVALID_ARGUMENT",
            "Invalid path element key/name: *",
            update=[(path_of(("test-rules:rules", {}), ("route", {"*": "a"})), {})],
        )

    def test_identifiers(self):
        self.refuse(
            "INVALID_ARGUMENT",
            "Invalid PathElement.name xmlns Cannot start with 'xml'",
            update=[(path_of(("test-rules:rules", {}), ("xmlns", {})), 1)],
        )
        self.refuse(
            "INVALID_ARGUMENT",
            "Invalid PathElement.name 1abc char 1 is invalid",
            update=[(path_of(("test-rules:rules", {}), ("1abc", {})), 1)],
        )
        self.refuse(
            "INVALID_ARGUMENT",
            "Invalid PathElement.name a/b char / is invalid",
            update=[(path_of(("test-rules:rules", {}), ("a/b", {})), 1)],
        )

    def test_union_replace(self):
        update = gnmi.Update(
            path=paths.parse(RULES + "/level"), val=gnmi.TypedValue(json_ietf_val=b"1")
        )
        self.refuse_request(
            "UNIMPLEMENTED", "Operation union_replace not supported", union_replace=[update]
        )

    def test_encodings_of_values(self):
        for value, name in (
            (gnmi.TypedValue(ascii_val="1"), "ASCII"),
            (gnmi.TypedValue(proto_bytes=b"1"), "PROTO"),
        ):
            with self.subTest(encoding=name):
                self.refuse(
                    "UNIMPLEMENTED",
                    f'Requested encoding "{name}" not supported',
                    update=[(RULES + "/level", value)],
                )

    def test_paths_in_the_old_form(self):
        old = gnmi.Path(element=["test-rules:rules"])
        text = 'Path field "element" is deprecated and not supported, use "elem"'
        self.refuse_request("UNIMPLEMENTED", text, delete=[old])
        self.refuse_request("UNIMPLEMENTED", text, prefix=old)


class Values(RulesCase):
    """Values against the schema: the text names operation, path, value and rule."""

    def refuse(self, code, words, **operations):
        self.rules({"level": 3})
        before = self.stored()
        with self.refused(code) as caught:
            self.client.set(**operations)
        for word in words:
            self.assertIn(word, caught.exception.details())
        self.assertEqual(self.stored(), before)
        return caught.exception

    def test_out_of_range(self):
        self.refuse(
            "INVALID_ARGUMENT",
            ["update[1]", "level", "101"],
            update=[(RULES + "/low", 1), (RULES + "/level", 101)],
        )

    def test_wrong_type(self):
        self.refuse("INVALID_ARGUMENT", ["update[0]", "level"], update=[(RULES + "/level", "high")])

    def test_an_enumeration_without_that_name(self):
        self.refuse(
            "INVALID_ARGUMENT",
            ["replace[0]", "mode", "sometimes"],
            replace=[(RULES + "/mode", "sometimes")],
        )

    def test_broken_json(self):
        for text in (b"", b"{", b"1 2", b"01", b'"\xff"', b'{"level": 1} x'):
            with self.subTest(text=text):
                self.refuse(
                    "INVALID_ARGUMENT",
                    ["update[0]"],
                    update=[(RULES + "/level", gnmi.TypedValue(json_ietf_val=text))],
                )

    def test_unknown_member(self):
        self.refuse("INVALID_ARGUMENT", ["colour"], update=[(RULES, {"low": 1, "colour": 1})])

    def test_key_that_contradicts_the_path(self):
        self.refuse(
            "INVALID_ARGUMENT",
            ["name"],
            update=[(RULES + "/group[name=a]", {"name": "b", "note": "x"})],
        )

    def test_missing_and_unknown_keys(self):
        self.refuse("INVALID_ARGUMENT", ["metric"], update=[(RULES + "/route[prefix=a]/via", "x")])
        self.refuse(
            "INVALID_ARGUMENT", ["size"], update=[(RULES + "/group[name=a][size=1]/note", "x")]
        )

    def test_null_and_empty_object_at_a_keyed_entry(self):
        for value in (b"{}", b"null"):
            for kind in ("update", "replace"):
                with self.subTest(value=value, kind=kind):
                    self.refuse(
                        "INVALID_ARGUMENT",
                        [f"{kind}[0]"],
                        **{
                            kind: [(RULES + "/group[name=a]", gnmi.TypedValue(json_ietf_val=value))]
                        },
                    )

    def test_read_only_and_unknown_origin(self):
        path = paths.parse(RULES + "/level", origin="cli")
        self.refuse("UNIMPLEMENTED", ["origin", "cli"], update=[(path, 1)])

    def test_details_name_the_operation_and_the_path(self):
        error = self.refuse("INVALID_ARGUMENT", [], update=[(RULES + "/level", 101)])
        status = self.details(error)
        self.assertIsNotNone(status, "no grpc-status-details-bin trailer")
        self.assertEqual(status.code, 3)
        self.assertEqual(status.message, error.details())
        self.assertGreater(len(status.details), 0)


class Constraints(RulesCase):
    """YANG constraints of the result."""

    def refuse(self, words, **operations):
        before = self.stored()
        with self.refused("FAILED_PRECONDITION") as caught:
            self.client.set(**operations)
        for word in words:
            self.assertIn(word, caught.exception.details())
        self.assertEqual(self.stored(), before)

    def test_must(self):
        self.rules({"low": 10, "high": 20})
        self.refuse(["high is below low", "high"], update=[(RULES + "/high", 5)])

    def test_must_of_another_node(self):
        self.rules({"low": 10, "high": 20})
        self.refuse(["high is below low"], update=[(RULES + "/low", 30)])

    def test_when(self):
        self.refuse(["when", "rate"], update=[(RULES + "/rate", 5)])

    def test_leafref_without_target(self):
        self.refuse(
            ["group", "nobody"],
            update=[(RULES + "/user[name=u]", {"name": "u", "role": "r", "group": "nobody"})],
        )

    def test_target_of_a_leafref_taken_away(self):
        self.rules({"group": [{"name": "g"}], "user": [{"name": "u", "role": "r", "group": "g"}]})
        self.refuse(["g"], delete=[RULES + "/group[name=g]"])

    def test_mandatory(self):
        self.refuse(["role"], update=[(RULES + "/user[name=u]/uid", 4)])

    def test_mandatory_taken_away(self):
        self.rules({"user": [{"name": "u", "role": "r"}]})
        self.refuse(["role"], delete=[RULES + "/user[name=u]/role"])

    def test_unique(self):
        self.rules({"user": [{"name": "u", "role": "r", "uid": 4}]})
        self.refuse(
            ["uid"], update=[(RULES + "/user[name=v]", {"name": "v", "role": "r", "uid": 4})]
        )


if __name__ == "__main__":
    report.main()
