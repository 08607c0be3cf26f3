"""What anydata and anyxml hold comes back as it was sent: types, names with their modules, nulls,
arrays in arrays.
"""

from gnmilib.client import gnmi
from kit import report
from kit.case import ServerCase

MODULE = """module holders {
  yang-version 1.1;
  namespace "urn:test:holders";
  prefix h;
  revision 2026-01-01;
  container holders {
    anydata data;
    anyxml free;
    leaf note { type string; }
  }
  container known { leaf small { type uint8; } leaf either { type union { type int8; type string; } } }
}
"""
TOP = "/holders:holders"

DATA = (
    "{}",
    '{"a":"b"}',
    '{"a":1,"b":-1.50,"c":true,"d":null,"e":[],"f":{},"g":""}',
    '{"a":[[1,[2]],[]]}',
    '{"a":["one"]}',
    '{"a":["one","two"],"b":["1",1]}',
    '{"holders:known":{"small":7}}',
    '{"holders:known":{"either":"7"}}',
    '{"known":{"small":"x"}}',
    '{"holders:x":{"holders:y":"z"}}',
    '{"other-module:x":{"y":"z"}}',
    '{"a":" blank ","b":"\\n","c":"<&\\">"}',
    '{"a":"ü","b":"\\\\"}',
)
FREE = ('"text"', '" "', "1", "1e3", "true", "null", "[]", '[1,"1",[null]]', '{"a":[1]}', '"<&"')


class Any(ServerCase):
    @classmethod
    def prepare(cls):
        cls.write("holders.yang", MODULE)
        cls.schema = ["--yang-dir", cls.folder]

    def put(self, leaf, text):
        value = gnmi.TypedValue(json_ietf_val=text.encode())
        self.client.set(replace=[(TOP + "/" + leaf, value)])

    def text(self, leaf, encoding="json_ietf"):
        answer = self.client.get(TOP + "/" + leaf, encoding=encoding)
        (update,) = answer.notification[0].update
        return getattr(update.val, encoding + "_val").decode()

    def restart(self):
        self.client.close()
        self.assertEqual(self.server.stop(), 0)
        self.server.start()
        type(self).client = self.server.client()

    def test_comes_back_as_sent(self):
        for leaf, texts in (("data", DATA), ("free", FREE)):
            for text in texts:
                with self.subTest(leaf=leaf, text=text):
                    self.put(leaf, text)
                    self.assertEqual(self.text(leaf), text)

    def test_survives_a_restart(self):
        for first, second in zip(DATA, FREE):
            with self.subTest(data=first, free=second):
                self.put("data", first)
                self.put("free", second)
                self.restart()
                self.assertEqual((self.text("data"), self.text("free")), (first, second))

    def test_survives_snapshots(self):
        self.put("data", DATA[3])
        for number in range(300):
            self.put("note", f'"{number}"')
        self.restart()
        self.assertEqual(self.text("data"), DATA[3])

    def test_blanks_between_tokens_are_not_kept(self):
        self.put("data", '{ "a" :\n[ 1 , "x y" ] }')
        self.assertEqual(self.text("data"), '{"a":[1,"x y"]}')

    def test_what_is_no_name_is_refused(self):
        for text, place in (('{"a b":1}', "a b"), ('{"a":{"1":2}}', "a/1")):
            with self.refused("INVALID_ARGUMENT") as caught:
                self.put("data", text)
            self.assertIn(
                f"member {place}: the name of a member of anydata is a YANG identifier",
                caught.exception.details(),
            )

    def test_anydata_is_an_object(self):
        for text in ("1", '"x"', "null", "[]", "true"):
            with self.refused("INVALID_ARGUMENT"):
                self.put("data", text)


if __name__ == "__main__":
    report.main()
