"""How values are written in answers: each YANG type, each kind of node, the names of modules."""

import json
import os

from gnmilib import paths
from gnmilib.client import gnmi
from kit import report
from kit.case import ServerCase

MODELS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "models")
VALUES = "/test-values:values"


class ValuesCase(ServerCase):
    schema = ["--yang-dir", MODELS]

    def setUp(self):
        self.client.set(delete=["/"])

    def put(self, value):
        self.client.set(update=[(VALUES, value)])

    def raw(self, path, encoding="json_ietf", **how):
        """{path: JSON text} of the one notification."""
        answer = self.client.get(path, encoding=encoding, **how)
        self.assertEqual(len(answer.notification), 1)
        return {
            paths.text(update.path): getattr(update.val, encoding + "_val").decode()
            for update in answer.notification[0].update
        }

    def text(self, path, encoding="json_ietf"):
        values = self.raw(path, encoding)
        self.assertEqual(len(values), 1, values)
        return next(iter(values.values()))


class Types(ValuesCase):
    TEXTS = (  # leaf, what is sent, what is answered in JSON_IETF, and in JSON where that differs
        ("nothing", "[null]", "[null]", None),
        ("small", "-3", "-3", None),
        ("signed", '"-5"', '"-5"', None),
        ("unsigned", '"18446744073709551615"', '"18446744073709551615"', None),
        ("exact", '"1.500"', '"1.5"', None),
        ("flags", '"c a"', '"a c"', None),
        ("bytes", '"aGk="', '"aGk="', None),
        ("yes", "true", "true", None),
        ("animal", '"test-more:cat"', '"test-more:cat"', '"cat"'),
        ("animal", '"dog"', '"test-values:dog"', '"dog"'),
        ("choice", "5", "5", None),
        ("choice", '"unlimited"', '"unlimited"', None),
        ("choice", '"test-values:dog"', '"test-values:dog"', '"dog"'),
        ("numbers", '["2","1"]', '["2","1"]', None),
        ("animals", '["test-more:cat"]', '["test-more:cat"]', '["cat"]'),
    )

    def test_are_written_as_rfc_7951_says(self):
        for leaf, sent, ietf, plain in self.TEXTS:
            with self.subTest(leaf=leaf, sent=sent):
                path = f"{VALUES}/{leaf}"
                value = gnmi.TypedValue(json_ietf_val=sent.encode())
                self.client.set(replace=[(path, value)])
                self.assertEqual(self.text(path), ietf)
                self.assertEqual(self.text(path, "json"), plain or ietf)


class ScalarsOfADevice(ValuesCase):
    flags = ["--insecure", "--profile", "device"]

    def test_scalars_without_a_json_form_are_refused(self):
        for name, value in (
            ("PROTO", gnmi.TypedValue(double_val=1.5)),
            ("PROTO", gnmi.TypedValue(float_val=1.5)),
            ("PROTO", gnmi.TypedValue(decimal_val=gnmi.Decimal64(digits=15, precision=1))),
            ("BYTES", gnmi.TypedValue(bytes_val=b"hi")),
        ):
            with self.subTest(value=value.WhichOneof("value")):
                path = VALUES + "/exact"
                text = f'update[0] of {path}: Requested encoding "{name}" not supported'
                with self.refused("UNIMPLEMENTED", text):
                    self.client.set(update=[(path, value)])


class Nodes(ValuesCase):
    def test_names_carry_their_module_at_the_top_and_where_it_changes(self):
        self.put({"room": {"note": "n", "test-more:lamp": {"on": True}}})
        self.assertEqual(
            self.text(VALUES),
            '{"test-values:room":{"size":7,"note":"n","test-more:lamp":{"on":true}}}',
        )
        self.assertEqual(
            self.text(VALUES + "/room"),
            '{"test-values:size":7,"test-values:note":"n","test-more:lamp":{"on":true}}',
        )
        self.assertEqual(self.text(VALUES + "/room/test-more:lamp"), '{"test-more:on":true}')
        self.assertEqual(
            self.text(VALUES, "json"), '{"room":{"size":7,"note":"n","lamp":{"on":true}}}'
        )

    def test_two_names_alike_stay_apart_in_every_form(self):
        self.put({"room": {"size": 8, "test-more:size": 900}})
        room = VALUES + "/room"
        self.assertEqual(self.text(room), '{"test-values:size":8,"test-more:size":900}')
        self.assertEqual(self.text(room, "json"), '{"size":8,"test-more:size":900}')
        self.assertEqual(
            self.raw("/values/room/*"),
            {"/values/room/size": "8", "/values/room/test-more:size": "900"},
        )
        stream = self.client.subscribe("/values/room", interval=10, timeout=10)
        first = next(iter(stream)).update
        stream.cancel()
        self.assertEqual(
            [paths.text(update.path) for update in first.update],
            ["/values/room/size", "/values/room/test-more:size"],
        )

    def test_an_entry_is_an_object_and_a_list_one_for_each(self):
        self.put({"pet": [{"animal": "dog", "number": "1"}, {"animal": "dog", "number": "2"}]})
        one, two = (f"{VALUES}/pet[animal=test-values:dog][number={n}]" for n in (1, 2))
        entry = (
            '{"test-values:animal":"test-values:dog","test-values:number":"%d",'
            '"test-values:name":"none"}'
        )
        for asked in ("animal=dog][number=01", "animal=test-values:dog][number=1"):
            path = f"{VALUES}/pet[{asked}]"
            self.assertEqual(self.raw(path), {path: entry % 1})
        self.assertEqual(self.raw(f"{VALUES}/pet"), {one: entry % 1, two: entry % 2})
        inner = json.loads(self.text(VALUES))["test-values:pet"]
        self.assertEqual(inner[0], {"animal": "test-values:dog", "number": "1", "name": "none"})

    def test_a_replaced_list_has_the_entries_of_the_value_alone(self):
        self.put({"pet": [{"animal": "dog", "number": str(n), "name": "x"} for n in (1, 2)]})
        self.client.set(
            replace=[(VALUES + "/pet", [{"animal": "test-values:dog", "number": "2"}])]
        )
        self.assertEqual(
            list(self.raw(VALUES + "/pet/name").values()), ['"none"'], "a default comes back"
        )
        self.client.set(replace=[(VALUES + "/pet", [])])
        self.absent(VALUES + "/pet")

    def test_leaves_and_leaf_lists_at_the_top(self):
        self.client.set(update=[("/test-values:top", "x"), ("/test-values:tops", ["b", "a"])])
        self.assertEqual(self.raw("/top"), {"/top": '"x"'})
        self.assertEqual(self.raw("/tops"), {"/tops": '["b","a"]'})

    def test_entries_that_the_user_orders_have_any_key(self):
        names = ["a\"b'c", "x", "]", "[y", "p/q", "back\\slash", "k=v"]
        self.put({"rank": [{"name": name} for name in names]})
        self.client.set(replace=[(VALUES + "/rank", [{"name": name} for name in names[::-1]])])
        answer = self.client.get(VALUES + "/rank")
        keys = [update.path.elem[1].key["name"] for update in answer.notification[0].update]
        self.assertEqual(keys, names[::-1])


class PrefixOfTheAnswer(ValuesCase):
    """Origin and target where the request has them, in all three calls."""

    def setUp(self):
        super().setUp()
        self.put({"small": 1})

    def prefix(self):
        return paths.parse(VALUES, origin="openconfig", target="box")

    def check(self, prefix, path):
        self.assertEqual((prefix.origin, prefix.target), ("openconfig", "box"))
        self.assertEqual(paths.text(prefix), VALUES)
        self.assertEqual((path.origin, path.target, paths.text(path)), ("", "", "/small"))

    def test_get(self):
        notification = self.client.get("small", prefix=self.prefix()).notification[0]
        self.check(notification.prefix, notification.update[0].path)

    def test_set(self):
        answer = self.client.set(prefix=self.prefix(), update=[("small", 2)])
        self.check(answer.prefix, answer.response[0].path)

    def test_subscribe(self):
        stream = self.client.subscribe("small", prefix=self.prefix(), interval=10, timeout=10)
        notification = next(iter(stream)).update
        stream.cancel()
        self.check(notification.prefix, notification.update[0].path)

    def test_target_in_a_path_is_refused(self):
        path = paths.parse(VALUES + "/small", target="box")
        with self.refused("INVALID_ARGUMENT") as caught:
            self.client.get(path)
        self.assertIn("a target is taken in the prefix only", caught.exception.details())
        with self.refused("INVALID_ARGUMENT"):
            self.client.set(update=[(path, 2)])
        with self.refused("INVALID_ARGUMENT"):
            next(iter(self.client.subscribe(path, timeout=5)))


if __name__ == "__main__":
    report.main()
