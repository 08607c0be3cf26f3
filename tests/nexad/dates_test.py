"""Dates of any year are stored as they are, on every machine: as leaf, as key, in a union, by a
reference.
"""

from gnmilib.client import gnmi
from kit import report
from kit.case import ServerCase
from kit.server import IETF

MODULE = """module dates {
  yang-version 1.1;
  namespace "urn:test:dates";
  prefix d;
  import ietf-yang-types { prefix yang; }
  revision 2026-01-01;
  container dates {
    leaf at { type yang:date-and-time; }
    leaf either { type union { type uint8; type yang:date-and-time; } }
    leaf-list all { type yang:date-and-time; }
    list entry {
      key "from";
      unique "until";
      leaf from { type yang:date-and-time; }
      leaf until { type yang:date-and-time; }
    }
    leaf which { type leafref { path "../entry/from"; } }
    leaf late {
      when "../at = '2100-03-01T00:00:00+00:00'";
      type string;
    }
  }
}
"""
TOP = "/dates:dates"
FAR = [
    ("2038-01-19T03:14:07Z", "2038-01-19T03:14:07+00:00"),
    ("2038-01-19T03:14:08Z", "2038-01-19T03:14:08+00:00"),
    ("2045-06-01T00:00:00.5+02:00", "2045-05-31T22:00:00.5+00:00"),
    ("2100-03-01T00:00:00-00:00", "2100-03-01T00:00:00-00:00"),
    ("1900-01-01T00:00:00Z", "1900-01-01T00:00:00+00:00"),
    ("9999-12-31T23:59:59Z", "9999-12-31T23:59:59+00:00"),
]


class Dates(ServerCase):
    environment = {"TZ": "UTC"}

    @classmethod
    def prepare(cls):
        cls.write("dates.yang", MODULE)
        cls.schema = ["--yang-dir", cls.folder, *IETF, "--module", "dates"]

    def setUp(self):
        self.client.set(delete=[TOP])

    def value(self, path):
        return self.client.value(TOP + path, type="CONFIG")

    def test_a_leaf_and_a_member_of_a_union(self):
        for text, stored in FAR:
            self.client.set(update=[(TOP + "/at", text), (TOP + "/either", text)])
            self.assertEqual((self.value("/at"), self.value("/either")), (stored, stored))

    def test_values_that_differ_are_different_values(self):
        self.client.set(update=[(TOP + "/all", [text for text, _ in FAR])])
        self.assertEqual(self.value("/all"), [stored for _, stored in FAR])
        entries = [{"from": text, "until": text} for text, _ in FAR]
        self.client.set(update=[(TOP, {"entry": entries})])
        for _, stored in FAR:
            self.assertEqual(self.value(f"/entry[from={stored}]/until"), stored)
        with self.refused("FAILED_PRECONDITION"):
            self.client.set(
                update=[(TOP, {"entry": [{"from": "2050-01-01T00:00:00Z", "until": FAR[2][0]}]})]
            )
        self.client.set(update=[(TOP + "/which", FAR[4][0])])
        self.assertEqual(self.value("/which"), FAR[4][1])
        with self.refused("FAILED_PRECONDITION"):
            self.client.set(update=[(TOP + "/which", "2051-01-01T00:00:00Z")])

    def test_a_rule_compares_the_date(self):
        self.client.set(update=[(TOP, {"at": "2100-03-01T00:00:00Z", "late": "x"})])
        with self.refused("FAILED_PRECONDITION"):
            self.client.set(delete=[TOP], update=[(TOP, {"at": "2100-03-02T00:00:00Z", "late": "x"})])

    def test_what_is_no_date_is_refused(self):
        for text in ("2045-06-01", "2045-06-01T00:00:00", "soon"):
            with self.refused("INVALID_ARGUMENT"):
                self.client.set(update=[(TOP + "/at", text)])

    def test_a_restart_keeps_them(self):
        self.client.set(update=[(TOP + "/all", [text for text, _ in FAR])])
        self.client.close()
        self.server.kill()
        self.server.start()
        type(self).client = self.server.client()
        self.assertEqual(self.value("/all"), [stored for _, stored in FAR])

    def test_a_time_beyond_2038_is_in_the_future(self):
        request = gnmi.SubscribeRequest()
        request.subscribe.mode = gnmi.SubscriptionList.ONCE
        request.subscribe.encoding = gnmi.JSON_IETF
        request.subscribe.subscription.add().path.elem.add(name="dates:dates")
        request.extension.add().history.snapshot_time = 4_102_444_800 * 10**9
        text = "Extension history: times in the future are not waited for"
        with self.refused("UNIMPLEMENTED", text):
            list(self.client.stub.Subscribe(iter([request]), timeout=20))


if __name__ == "__main__":
    report.main()
