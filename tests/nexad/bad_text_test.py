"""Whatever text a client sends, standard error holds lines of the log and nothing else: no library
writes there by itself, no line can be forged, and nothing of it is longer than a line of the log may be.
"""

import json
import os
import re

import grpc

from gnmilib.client import gnmi
from kit import raw, report
from kit.case import ServerCase

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
MODULE = """module texts {
  yang-version 1.1;
  namespace "urn:test:texts";
  prefix tx;
  revision 2026-01-01;
  identity base-kind;
  container texts {
    leaf plain { type string; }
    leaf short { type string { length "1..3"; } }
    leaf shaped { type string { pattern "[a-z]+"; } }
    leaf number { type uint8; }
    leaf either { type union { type int8; type enumeration { enum on; } } }
    leaf kind { type identityref { base base-kind; } }
    leaf ref { type leafref { path "../list/name"; } }
    leaf place { type instance-identifier; }
    leaf blob { type binary; }
    leaf judged { type string; must "number(.) > 1" { error-message "too little"; } }
    anydata data;
    anyxml free;
    leaf-list many { type string; }
    list list { key name; leaf name { type string; } leaf value { type string; } }
  }
}
"""
TOP = "/texts:texts"
LEAFS = "plain short shaped number either kind ref place blob judged data free many list".split()
LINE = re.compile(r"[-\d]{10}T[:.\d]{12}Z (debug|info|warning|error) (nexad|library|audit): ")
LONGEST = 9000  # 8 KiB of a line's text, its head and its tail

# As JSON texts, byte by byte.
VALUES = [
    b'"\xff\xfe"',
    b'"\xc3"',
    b'"\xed\xa0\x80"',
    b'"\xf5\x80\x80\x80"',
    b'"\\ud800"',
    b'"\\udc00\\ud800"',
    b'"\\u0000"',
    b'"\\u0001\\u001f"',
    b'"\x00"',
    b'"\x1b[31mred"',
    b'"\\ufffe\\uffff"',
    b'"\\ufdd0"',
    b'"]]>"',
    b'"<config/>"',
    b'"&amp;&lt;&#0;&bogus;"',
    b'"<!DOCTYPE a [<!ENTITY b SYSTEM \\"file:///etc/passwd\\">]>"',
    b'"/tx:texts/tx:nothing[\'"',
    b'"/nowhere:x[y=\\"\\u0001\\"]"',
    b'"tx:base-kind:more"',
    b'"%s%n%d"',
    b'"line\\nerror nexad: forged"',
    b'"' + b"x" * 100000 + b'"',
    b'"' + "\u00fc".encode() * 50000 + b'"',
    b"1e999999",
    b"-",
    b"",
    b" ",
    b"\xef\xbb\xbf1",
    b"nul",
    b"{",
    b'{"',
    b'{"a":',
    b"[" * 5000,
    b'{"a":' * 900 + b"1" + b"}" * 900,
    b'{"\xff":1}',
    b'{"\\u0000":1}',
    b'{"a b":1,"<x>":2,":":3,"tx:":4}',
    b'{"texts:list":[{"name":"\\u0007"}]}',
    b'[{"name":"\xff"}]',
    b'{"@":{"\x01":1}}',
]
TEXTS = [
    "",
    " ",
    "\x00",
    "\x01\x1f\x7f",
    "\x1b]0;title\x07",
    "\ufffe",
    "\ufdd0",
    "line\nerror nexad: forged",
    "]]>",
    "<a>&b;",
    "'\"",
    "[a='b'",
    "%s%n",
    "*",
    "..",
    "a:b:c",
    "\u00fc" * 5000,
    "x" * 100000,
]
BROKEN = [b"\xff\xfe", b"\xc3", b"\xed\xa0\x80", b"a\x00\xf5"]


def elem(name, keys=None):
    return gnmi.PathElem(name=name, key=keys)


def typed_values(text):
    """The text in each kind of value that holds one."""
    data = text.encode("utf-8", "surrogatepass")
    yield gnmi.TypedValue(string_val=text)
    yield gnmi.TypedValue(ascii_val=text)
    yield gnmi.TypedValue(bytes_val=data)
    yield gnmi.TypedValue(proto_bytes=data)
    yield gnmi.TypedValue(json_ietf_val=json.dumps(text).encode())
    yield gnmi.TypedValue(json_val=data)
    yield gnmi.TypedValue(leaflist_val={"element": [{"string_val": text}, {"int_val": 1}]})


def paths_with(text):
    """The text at each place of a path."""
    top = elem("texts:texts")
    yield gnmi.Path(elem=[elem(text)])
    yield gnmi.Path(elem=[top, elem(text)])
    yield gnmi.Path(elem=[elem("texts:" + text)])
    yield gnmi.Path(elem=[top, elem("list", {"name": text})])
    yield gnmi.Path(elem=[top, elem("list", {text: "x"})])
    yield gnmi.Path(elem=[top, elem("plain", {"name": text})])
    yield gnmi.Path(elem=[top], origin=text)
    yield gnmi.Path(elem=[top], target=text)
    yield gnmi.Path(elem=[top], element=[text])


class BadText(ServerCase):
    @classmethod
    def prepare(cls):
        cls.write("texts.yang", MODULE)
        cls.schema = ["--yang-dir", cls.folder, "--yang-dir", os.path.join(TREE, "models")]

    def ask(self, method, request):
        """True when the request was taken; a refusal has a text."""
        try:
            method(request, timeout=20)
        except grpc.RpcError as error:
            self.assertTrue(error.details(), (error.code(), str(request)[:300]))
            self.assertNotIn(error.code().name, ("INTERNAL", "UNKNOWN", "DEADLINE_EXCEEDED"), error)
            return False
        return True

    def set(self, path, value, replace=False):
        update = gnmi.Update(path=path, val=value)
        kind = "replace" if replace else "update"
        return self.ask(self.client.stub.Set, gnmi.SetRequest(**{kind: [update]}))

    def tearDown(self):
        """Holds for all that the server has written so far."""
        self.assertTrue(self.server.running(), self.server.log()[-3000:])
        text = self.server.log()
        self.assertTrue(text.endswith("\n"))
        lines = text[:-1].split("\n")
        strangers = [line[:300] for line in lines if not LINE.match(line)]
        self.assertEqual(strangers, [])
        self.assertEqual([line[:300] for line in lines if len(line) > LONGEST], [])
        self.assertEqual(re.findall(r"[\x00-\x09\x0b-\x1f\x7f]", text), [])
        self.assertEqual([line for line in lines if "Z error nexad: " in line], [])

    def test_values_as_json(self):
        taken = 0
        for leaf in LEAFS:
            for value in VALUES:
                path = gnmi.Path(elem=[elem("texts:texts"), elem(leaf)])
                taken += self.set(path, gnmi.TypedValue(json_ietf_val=value), len(value) % 2 == 0)
        self.assertGreater(taken, 0)
        for value in VALUES:
            whole = b'{"texts:texts":{"plain":' + value + b"}}"
            self.set(gnmi.Path(), gnmi.TypedValue(json_ietf_val=whole))
            entry = b'{"plain":"x","list":[{"name":' + value + b"}]}"
            self.set(gnmi.Path(elem=[elem("texts:texts")]), gnmi.TypedValue(json_ietf_val=entry))

    def test_values_of_each_kind(self):
        for leaf in LEAFS:
            for text in TEXTS:
                for value in typed_values(text):
                    self.set(gnmi.Path(elem=[elem("texts:texts"), elem(leaf)]), value)

    def test_paths(self):
        for text in TEXTS:
            for path in paths_with(text):
                self.set(path, gnmi.TypedValue(json_ietf_val=b'"x"'))
                self.ask(self.client.stub.Set, gnmi.SetRequest(delete=[path]))
                self.ask(self.client.stub.Set, gnmi.SetRequest(prefix=path, delete=[gnmi.Path()]))
                get = gnmi.GetRequest(path=[path], encoding=gnmi.JSON_IETF)
                self.ask(self.client.stub.Get, get)
                self.subscribe(path)

    def subscribe(self, path):
        subscription = gnmi.Subscription(path=path, mode=gnmi.SAMPLE, sample_interval=10**9)
        wanted = gnmi.SubscriptionList(subscription=[subscription], encoding=gnmi.JSON_IETF)
        stream = self.client.stub.Subscribe(iter([gnmi.SubscribeRequest(subscribe=wanted)]))
        try:
            for answer in stream:
                if answer.sync_response:
                    stream.cancel()
        except grpc.RpcError as error:
            self.assertTrue(error.details(), str(path)[:300])

    def test_texts_that_protobuf_does_not_take(self):
        """Messages byte by byte: the generated code sends no such text."""
        for bad in BROKEN:
            name = raw.field(3, raw.field(1, bad))  # Path.elem.name
            for method, request in (
                ("Get", raw.field(2, name)),
                ("Get", raw.field(1, raw.field(2, bad))),  # prefix.origin
                ("Set", raw.field(2, name)),
                ("Set", raw.field(4, raw.field(1, name))),
                ("Capabilities", b"\x0a\xff"),  # a field that is cut short
            ):
                with self.refused("INVALID_ARGUMENT") as caught:
                    raw.call(self.client.channel, "/gnmi.gNMI/" + method, request)
                self.assertIn("cannot be read", caught.exception.details())
            stream = self.client.channel.stream_stream("/gnmi.gNMI/Subscribe")
            with self.assertRaises(grpc.RpcError) as caught:
                list(stream(iter([raw.field(1, raw.field(1, name))]), timeout=10))
            self.assertTrue(caught.exception.details())

    def test_answers_to_odd_texts_that_are_stored(self):
        """What is text in YANG comes back, and is quoted in no line as it is."""
        for text in ("]]>", "<a>&amp;", "line\nerror nexad: forged", "\t\r\n", "\u2028\u202e", "\U0010fffd"):
            with self.subTest(text=text):
                self.client.set(update=[(TOP + "/plain", text)])
                self.assertEqual(self.client.value(TOP + "/plain"), text)

    def test_user_names(self):
        for name in (b"\xff", b"\x80" * 5000, b"a:b"):
            self.ask(
                lambda request, timeout, name=name: self.client.stub.Get(
                    request, timeout=timeout, metadata=[("username-bin", name), ("username", "x" * 5000)]
                ),
                gnmi.GetRequest(path=[gnmi.Path()], encoding=gnmi.JSON_IETF),
            )


class BadTextTraced(BadText):
    """At this level the library tells what it walks through."""

    flags = ["--insecure", "--log-level", "debug"]


if __name__ == "__main__":
    report.main()
