"""Values of unions keep the JSON type that they were sent with: through the log, snapshots, restarts,
rollbacks and answers.
"""

import json
import os
import subprocess

from gnmilib.client import gnmi
from kit import report
from kit.case import ServerCase
from kit.server import program

MODULE = """module unions {
  yang-version 1.1;
  namespace "urn:test:unions";
  prefix u;
  revision 2026-01-01;
  typedef any-number { type union { type int32; type string; } }
  container u {
    leaf number { type any-number; }
    leaf text { type union { type string; type int32; } }
    leaf flag { type union { type boolean; type string; } }
    leaf late-flag { type union { type string; type boolean; } }
    leaf gap { type union { type empty; type string; } }
    leaf late-gap { type union { type int8; type string; type empty; } }
    leaf limit { type union { type uint32; type enumeration { enum none; enum "7"; } } }
    leaf exact { type union { type decimal64 { fraction-digits 2; } type int32; } }
    leaf where {
      type union { type int32; type instance-identifier { require-instance false; } type string; }
    }
    leaf-list many { type any-number; }
    leaf-list ranked { type any-number; ordered-by user; }
    list item {
      key "id";
      leaf id { type any-number; }
      leaf note { type string; }
    }
    list step {
      key "id";
      ordered-by user;
      leaf id { type any-number; }
    }
    leaf peer { type leafref { path "../item/id"; } }
  }
}
"""
TOP = "/unions:u"

# Leaf, what is sent and answered.
KEPT = (
    ("number", "5"),
    ("number", '"5"'),
    ("number", '"007"'),
    ("number", '" 5"'),
    ("number", '"+5"'),
    ("number", '"5 "'),
    ("number", '"x"'),
    ("number", '""'),
    ("text", "5"),
    ("text", '"5"'),
    ("text", '"-0"'),
    ("flag", "true"),
    ("flag", '"true"'),
    ("late-flag", "false"),
    ("late-flag", '"false"'),
    ("gap", "[null]"),
    ("gap", '""'),
    ("late-gap", "[null]"),
    ("late-gap", '""'),
    ("late-gap", "4"),
    ("limit", "7"),
    ("limit", '"7"'),
    ("exact", "5"),
    ("exact", '"5.0"'),
    ("where", "5"),
    ("where", '"05"'),
    ("where", '"/unions:u/unions:number"'),
    ("many", '[5,"007"," 5","x"]'),
    ("ranked", '["9",1,"01"]'),
)


class UnionCase(ServerCase):
    @classmethod
    def prepare(cls):
        cls.write("unions.yang", MODULE)
        cls.schema = ["--yang-dir", cls.folder]

    def setUp(self):
        self.client.set(delete=["/"])

    def sent(self, path, text):
        return TOP + path, gnmi.TypedValue(json_ietf_val=text.encode())

    def text(self, path):
        answer = self.client.get(TOP + path)
        (update,) = answer.notification[0].update
        return update.val.json_ietf_val.decode()

    def put(self, path, text):
        self.client.set(replace=[self.sent(path, text)])

    def restart(self):
        self.client.close()
        self.assertEqual(self.server.stop(), 0)
        self.server.start()
        type(self).client = self.server.client()

    def run_tool(self, *words):
        return subprocess.run(
            [program("nexa", "NEXA"), *words], capture_output=True, text=True, timeout=60
        )

    def newest_commit(self):
        ran = self.run_tool("history", "--data", self.server.data, "--json")
        return max(commit["number"] for commit in json.loads(ran.stdout))

    def verify(self):
        ran = self.run_tool("verify", *self.schema, "--data", self.server.data)
        self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)


class Leaves(UnionCase):
    def test_are_answered_as_they_were_sent(self):
        for leaf, text in KEPT:
            with self.subTest(leaf=leaf, text=text):
                self.put("/" + leaf, text)
                self.assertEqual(self.text("/" + leaf), text)

    def test_change_their_type_and_nothing_else(self):
        for text in ("5", '"5"', "5"):
            self.put("/number", text)
            self.assertEqual(self.text("/number"), text)

    def test_survive_a_restart_from_the_log_and_are_verified(self):
        for round_number in range(2):
            wanted = {}
            for leaf, text in KEPT[round_number::2]:
                self.put("/" + leaf, text)
                wanted[leaf] = text
            self.restart()
            for leaf, text in wanted.items():
                with self.subTest(leaf=leaf, text=text):
                    self.assertEqual(self.text("/" + leaf), text)
            self.verify()

    def test_survive_snapshots(self):
        self.put("/number", '"007"')
        self.put("/many", '["5",6]')
        for number in range(300):
            self.put("/limit", str(number))
        self.restart()
        self.assertEqual(self.text("/number"), '"007"')
        self.assertEqual(self.text("/many"), '["5",6]')

    def test_scalars_say_their_type(self):
        for value, text in (
            (gnmi.TypedValue(string_val="5"), '"5"'),
            (gnmi.TypedValue(int_val=5), "5"),
            (gnmi.TypedValue(uint_val=6), "6"),
        ):
            self.client.set(update=[(TOP + "/number", value)])
            self.assertEqual(self.text("/number"), text)
        self.client.set(update=[(TOP + "/flag", gnmi.TypedValue(bool_val=True))])
        self.assertEqual(self.text("/flag"), "true")
        self.client.set(update=[(TOP + "/flag", gnmi.TypedValue(string_val="true"))])
        self.assertEqual(self.text("/flag"), '"true"')

    def test_come_back_in_a_rollback(self):
        self.put("", '{"number":"007","gap":"","many":["5"],"item":[{"id":"8"}]}')
        before = self.text("")
        number = self.newest_commit()
        self.put("", '{"number":7,"gap":[null],"many":[5],"item":[{"id":8}]}')
        self.client.close()
        self.assertEqual(self.server.stop(), 0)
        ran = self.run_tool(
            "rollback", *self.schema, "--data", self.server.data, "--to", str(number)
        )
        self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)
        self.server.start()
        type(self).client = self.server.client()
        self.assertEqual(self.text(""), before)
        self.verify()

    def test_defaults_and_rules_see_the_text(self):
        self.client.set(update=[(TOP, {"item": [{"id": "007"}, {"id": 7}], "peer": "007"})])
        self.assertEqual(self.text("/peer"), '"007"')
        with self.refused("FAILED_PRECONDITION"):
            self.client.set(update=[(TOP + "/peer", "08")])
        self.client.set(update=[(TOP + "/peer", 7)])
        with self.refused("FAILED_PRECONDITION"):
            self.client.set(delete=[TOP + "/item[id=7]"])


class Entries(UnionCase):
    def test_keep_the_types_of_their_keys(self):
        self.put("", '{"item":[{"id":"5"},{"id":6},{"id":"07"}]}')
        self.assertEqual(
            json.loads(self.text(""))["unions:item"], [{"id": "5"}, {"id": 6}, {"id": "07"}]
        )
        self.restart()
        self.assertEqual(
            json.loads(self.text(""))["unions:item"], [{"id": "5"}, {"id": 6}, {"id": "07"}]
        )
        self.verify()

    def test_a_path_names_them_by_text(self):
        self.put("", '{"item":[{"id":"5"}]}')
        self.client.set(update=[(TOP + "/item[id=5]/note", "n")])
        self.assertEqual(json.loads(self.text(""))["unions:item"], [{"id": "5", "note": "n"}])
        self.client.set(replace=[(TOP + "/item[id=5]", {"note": "m"})])
        self.assertEqual(json.loads(self.text(""))["unions:item"], [{"id": "5", "note": "m"}])
        self.client.set(delete=[TOP + "/item[id=5]"])
        self.absent(TOP + "/item[id=5]")

    def test_an_update_that_gives_the_key_another_type_is_refused(self):
        for first, second, words in (
            ('"5"', "5", "the entry's key is a JSON string, and the value names it as a number"),
            ("5", '"5"', "the entry's key is a JSON number, and the value names it as a string"),
        ):
            self.put("", '{"item":[{"id":%s}]}' % first)
            with self.refused(
                "INVALID_ARGUMENT",
                f'update[0] of {TOP}: value {{"item":[{{"id":{second}}}]}}: {words}'
                " at /unions:u/item[id='5']/id",
            ):
                self.client.set(update=[self.sent("", '{"item":[{"id":%s}]}' % second)])
            self.client.set(replace=[self.sent("", '{"item":[{"id":%s}]}' % second)])
            self.assertEqual(self.text("/item[id=5]/id"), second)
        self.restart()
        self.assertEqual(self.text("/item[id=5]/id"), '"5"')
        self.verify()

    def test_one_text_is_one_entry(self):
        for value in ('{"many":[5,"5"]}', '{"many":["5",5]}', '{"item":[{"id":5},{"id":"5"}]}'):
            with self.refused("INVALID_ARGUMENT"):
                self.client.set(update=[self.sent("", value)])

    def test_those_of_leaf_lists_take_the_type_sent_last(self):
        self.put("/many", "[5]")
        self.client.set(update=[self.sent("/many", '["5"]')])
        self.assertEqual(self.text("/many"), '["5"]')
        self.client.set(update=[self.sent("/many", "[5]")])
        self.assertEqual(self.text("/many"), "[5]")

    def test_an_order_is_kept(self):
        self.put("", '{"step":[{"id":"2"},{"id":1},{"id":"01"}]}')
        self.put("", '{"step":[{"id":"01"},{"id":"2"},{"id":1}]}')
        self.restart()
        self.assertEqual(
            json.loads(self.text(""))["unions:step"], [{"id": "01"}, {"id": "2"}, {"id": 1}]
        )
        self.verify()


if __name__ == "__main__":
    report.main()
