"""Get: what is returned under which path, data types, wildcards, prefixes, and what is refused."""

import json
import time

from gnmilib import paths
from gnmilib.client import gnmi, python_value
from kit import report
from kit.case import RulesCase, ServerCase
from kit.server import RULES as RULES_SCHEMA
from kit.server import ietf_modules

RULES = "/test-rules:rules"
CONTENT = {
    "level": 55,
    "low": 1,
    "group": [{"name": "a", "note": "first"}, {"name": "b"}],
    "route": [
        {"prefix": "p", "metric": 1, "via": "x"},
        {"prefix": "p", "metric": 2, "via": "y"},
        {"prefix": "q", "metric": 1, "via": "z"},
    ],
    "search": ["c", "a"],
}


def values(answer):
    return {
        paths.text(gnmi.Path(elem=[*notification.prefix.elem, *update.path.elem])): python_value(
            update.val
        )
        for notification in answer.notification
        for update in notification.update
    }


class Values(RulesCase):
    def setUp(self):
        super().setUp()
        self.rules(CONTENT)

    def test_of_a_leaf(self):
        self.assertEqual(values(self.client.get(RULES + "/level")), {RULES + "/level": 55})

    def test_of_a_container_with_the_defaults_in_use(self):
        self.assertEqual(self.tree(RULES), {**CONTENT, "mode": "manual"})

    def test_of_a_default(self):
        self.assertEqual(self.client.value(RULES + "/mode"), "manual")

    def test_of_a_leaf_list(self):
        self.assertEqual(self.client.value(RULES + "/search"), ["c", "a"])

    def test_of_an_entry(self):
        self.assertEqual(self.tree(RULES + "/group[name=a]"), {"name": "a", "note": "first"})

    def test_one_notification_for_each_path_in_order(self):
        answer = self.client.get(RULES + "/low", RULES + "/group[name=b]", RULES + "/level")
        self.assertEqual(
            [python_value(notification.update[0].val) for notification in answer.notification],
            [1, {"test-rules:name": "b"}, 55],
        )
        for notification in answer.notification:
            self.assertGreater(notification.timestamp, 10**18)

    def test_members_are_qualified_in_json_ietf_at_the_top_and_bare_in_json(self):
        answer = self.client.get(RULES + "/group[name=b]", encoding="json")
        typed = answer.notification[0].update[0].val
        self.assertEqual(typed.WhichOneof("value"), "json_val")
        self.assertEqual(json.loads(typed.json_val), {"name": "b"})

    def test_paths_without_modules_are_answered_in_the_same_form(self):
        self.assertEqual(values(self.client.get("/rules/level")), {"/rules/level": 55})

    def test_wildcard_keys(self):
        self.assertEqual(
            values(self.client.get(RULES + "/group[name=*]/note")),
            {RULES + "/group[name=a]/note": "first"},
        )
        self.assertEqual(
            set(values(self.client.get(RULES + "/route[prefix=p]"))),
            {RULES + "/route[metric=1][prefix=p]", RULES + "/route[metric=2][prefix=p]"},
        )
        self.assertEqual(len(values(self.client.get(RULES + "/route"))), 3)

    def test_wildcard_elements(self):
        self.assertEqual(set(values(self.client.get(RULES + "/*/via")).values()), {"x", "y", "z"})
        self.assertEqual(
            set(values(self.client.get("/test-rules:rules/.../note")).values()), {"first"}
        )

    def test_prefix_is_joined_and_shown(self):
        answer = self.client.get("note", prefix=RULES + "/group[name=a]")
        notification = answer.notification[0]
        self.assertEqual(paths.text(notification.prefix), RULES + "/group[name=a]")
        self.assertEqual(paths.text(notification.update[0].path), "/note")

    def test_target_of_the_prefix_comes_back(self):
        prefix = paths.parse(RULES, target="router-7")
        answer = self.client.get("level", prefix=prefix)
        self.assertEqual(answer.notification[0].prefix.target, "router-7")

    def test_origins_that_are_served(self):
        for origin in ("", "openconfig", "rfc7951"):
            with self.subTest(origin=origin):
                path = paths.parse("/test-rules:rules/level", origin=origin)
                self.assertEqual(self.client.value(path), 55)


class Refusals(RulesCase):
    flags = ["--insecure", "--profile", "device"]

    def refuse_request(self, code, text, **fields):
        with self.refused(code, text):
            self.client.get_request(gnmi.GetRequest(**fields))

    def test_operational(self):
        self.refuse_request(
            "UNIMPLEMENTED",
            'Requested data type "OPERATIONAL" not supported',
            path=[paths.parse(RULES)],
            type=gnmi.GetRequest.OPERATIONAL,
        )

    def test_encodings(self):
        for name in ("BYTES", "PROTO", "ASCII"):
            with self.subTest(encoding=name):
                self.refuse_request(
                    "UNIMPLEMENTED",
                    f'Requested encoding "{name}" not supported',
                    path=[paths.parse(RULES)],
                    encoding=gnmi.Encoding.Value(name),
                )
        self.refuse_request(
            "INVALID_ARGUMENT",
            "encoding: 7 is none of JSON, BYTES, PROTO, ASCII, JSON_IETF",
            path=[paths.parse(RULES)],
            encoding=7,
        )

    def test_models(self):
        self.refuse_request(
            "UNIMPLEMENTED",
            "Use of ModelData not currently supported.",
            path=[paths.parse(RULES)],
            use_models=[gnmi.ModelData(name="test-rules")],
        )

    def test_the_empty_path(self):
        text = (
            'Invalid argument.  Path with 0 elements (xpath = "/") is not supported for SET and '
            "GET requests"
        )
        self.refuse_request("INVALID_ARGUMENT", text, path=[gnmi.Path()])
        self.refuse_request("INVALID_ARGUMENT", text)

    def test_any_depth_as_a_key_value(self):
        path = gnmi.Path(
            elem=[
                gnmi.PathElem(name="test-rules:rules"),
                gnmi.PathElem(name="group", key={"name": "..."}),
            ]
        )
        self.refuse_request("INVALID_ARGUMENT", "Invalid key value ...", path=[path])

    def test_unknown_nodes(self):
        for path in ("/test-rules:rules/colour", "/no-module:rules", "/nothing"):
            with self.subTest(path=path), self.refused("NOT_FOUND") as caught:
                self.client.get(path)
            self.assertIn(path, caught.exception.details())

    def test_what_is_not_there(self):
        self.absent(RULES + "/script")
        self.absent(RULES + "/group[name=z]")

    def test_unknown_origin(self):
        with self.refused("UNIMPLEMENTED") as caught:
            self.client.get(paths.parse(RULES, origin="cli"))
        self.assertIn('origin "cli"', caught.exception.details())

    def test_key_that_the_list_does_not_have(self):
        with self.refused("INVALID_ARGUMENT") as caught:
            self.client.get(RULES + "/group[size=1]")
        self.assertIn("size", caught.exception.details())


class DataTypes(ServerCase):
    """Configuration and state of the same subtree, on the machine's own interfaces."""

    schema = ietf_modules() + RULES_SCHEMA + ["--module", "test-rules"]
    LO = "/ietf-interfaces:interfaces/interface[name=lo]"

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.client.set(
            update=[
                (
                    cls.LO,
                    {
                        "name": "lo",
                        "type": "iana-if-type:softwareLoopback",
                        "description": "the loopback",
                    },
                )
            ]
        )

    def test_config_has_no_state(self):
        self.assertEqual(
            self.tree(self.LO, "ietf-interfaces", type="CONFIG"),
            {
                "name": "lo",
                "type": "iana-if-type:softwareLoopback",
                "description": "the loopback",
                "enabled": True,
            },
        )

    def test_state_has_no_configuration(self):
        state = self.tree(self.LO, "ietf-interfaces", type="STATE")
        self.assertNotIn("description", state)
        self.assertIn("oper-status", state)
        self.assertIn("in-octets", state["statistics"])

    def test_all_has_both(self):
        everything = self.tree(self.LO, "ietf-interfaces")
        self.assertEqual(everything["description"], "the loopback")
        self.assertIn("in-octets", everything["statistics"])

    def test_counters_are_those_of_the_machine(self):
        with open("/sys/class/net/lo/statistics/rx_bytes", encoding="ascii") as file:
            before = int(file.read())
        time.sleep(0.2)  # reads within a few milliseconds share their data
        octets = int(self.client.value(self.LO + "/statistics/in-octets"))
        with open("/sys/class/net/lo/statistics/rx_bytes", encoding="ascii") as file:
            after = int(file.read())
        self.assertTrue(before <= octets <= after, (before, octets, after))

    def test_state_cannot_be_set(self):
        with self.refused("INVALID_ARGUMENT"):
            self.client.set(update=[(self.LO + "/oper-status", "down")])

    def test_members_carry_their_module_where_it_changes(self):
        entry = "/ietf-interfaces:interfaces/interface[name=eth9]"
        self.client.set(
            update=[(entry, {"type": "iana-if-type:ethernetCsmacd", "ietf-ip:ipv4": {"mtu": 1500}})]
        )
        self.assertEqual(self.client.value(entry + "/ietf-ip:ipv4/mtu"), 1500)
        self.assertIn("ietf-ip:ipv4", self.client.value(entry))
        answer = self.client.get(entry, encoding="json")
        self.assertIn("ipv4", python_value(answer.notification[0].update[0].val))

    def test_interfaces_wildcard(self):
        statuses = values(
            self.client.get("/ietf-interfaces:interfaces/interface[name=*]/oper-status")
        )
        self.assertIn(self.LO + "/oper-status", statuses)


if __name__ == "__main__":
    report.main()
