"""What is configured shows in the containers "state" of OpenConfig, unless the device says more."""

import glob
import os
import unittest

from gnmilib import paths
from gnmilib.client import python_value
from kit import report
from kit.case import ServerCase

PUBLISHED = os.environ.get("NEXA_PUBLISHED_MODELS", "")
MODELS = os.path.join(PUBLISHED, "yang", "openconfig")
ETH7 = "/interfaces/interface[name=eth7]"
ETHERNET = "iana-if-type:ethernetCsmacd"
OC = "openconfig-interfaces:"
ENTRY = {
    "name": "eth7",
    "config": {"name": "eth7", "type": ETHERNET, "mtu": 1500, "description": "to the roof"},
}

needs_models = unittest.skipUnless(
    PUBLISHED and glob.glob(os.path.join(MODELS, "*.yang")),
    "no OpenConfig models (NEXA_PUBLISHED_MODELS names the folder with yang/openconfig in it)",
)


class MirrorCase(ServerCase):
    schema = ["--yang-dir", MODELS]

    def setUp(self):
        self.client.set(delete=["/interfaces", "/system"], update=[(ETH7, ENTRY)])

    def found(self, path, **how):
        """Path and value of each update of a Get."""
        return {
            paths.text(update.path): python_value(update.val)
            for update in self.client.get(path, **how).notification[0].update
        }


@needs_models
class Mirror(MirrorCase):
    def test_a_leaf_shows_what_is_configured(self):
        for type in ("ALL", "STATE"):
            self.assertEqual(self.client.value(ETH7 + "/state/mtu", type=type), 1500)
        self.client.set(update=[(ETH7 + "/config/mtu", 9000)])
        self.assertEqual(self.client.value(ETH7 + "/state/mtu"), 9000)
        self.client.set(delete=[ETH7 + "/config/mtu"])
        self.absent(ETH7 + "/state/mtu")

    def test_a_default_in_use_is_shown(self):
        self.assertIs(self.client.value(ETH7 + "/state/enabled"), True)
        self.client.set(update=[(ETH7 + "/config/enabled", False)])
        self.assertIs(self.client.value(ETH7 + "/state/enabled"), False)

    def test_the_container_has_what_is_configured(self):
        state = self.client.value(ETH7 + "/state")
        config = self.client.value(ETH7 + "/config")
        self.assertEqual(state, config)
        self.assertEqual(state[OC + "type"], ETHERNET)

    def test_ancestors_have_it_by_type(self):
        both = self.client.value(ETH7)
        self.assertEqual(both[OC + "state"], both[OC + "config"])
        only_state = self.client.value(ETH7, type="STATE")
        self.assertEqual(only_state[OC + "state"]["mtu"], 1500)
        self.assertEqual(only_state[OC + "name"], "eth7")
        self.assertNotIn(OC + "config", only_state)
        self.assertNotIn(OC + "state", self.client.value(ETH7, type="CONFIG"))
        entries = self.client.value("/interfaces", type="STATE")[OC + "interface"]
        entry = next(entry for entry in entries if entry["name"] == "eth7")
        self.assertEqual(entry["state"]["description"], "to the roof")

    def test_wildcards_find_it(self):
        at = ETH7 + "/state/mtu"
        self.assertEqual(self.found("/interfaces/interface[name=*]/state/description"), {
            ETH7 + "/state/description": "to the roof"})
        self.assertEqual(self.found("/interfaces/interface[name=eth7]/*/mtu", type="STATE"), {
            at: 1500})
        self.assertIn(at, self.found("/interfaces/.../mtu"))

    def test_leaf_lists_are_shown_whole(self):
        domains = ["b.example", "a.example"]
        self.client.set(update=[("/system/dns/config/search", domains)])
        self.assertEqual(self.client.value("/system/dns/state/search"), domains)
        state = self.client.value("/system/dns", type="STATE")["openconfig-system:state"]
        self.assertEqual(state, {"search": domains})

    def test_the_device_says_more_than_the_configuration(self):
        self.client.set(update=[("/system/config/hostname", "configured")])
        with open("/proc/sys/kernel/hostname", encoding="ascii") as file:
            hostname = file.read().strip()
        self.assertEqual(self.client.value("/system/state/hostname"), hostname)
        lo = "/interfaces/interface[name=lo]"
        loopback = {"name": "lo", "type": ETHERNET, "description": "mine"}
        self.client.set(update=[(lo, {"name": "lo", "config": loopback})])
        state = self.client.value(lo + "/state")
        self.assertEqual(state[OC + "type"], "iana-if-type:softwareLoopback")
        self.assertEqual(state[OC + "description"], "mine")
        self.assertIn(OC + "ifindex", state)

    def test_entries_that_only_the_device_has_show_no_configuration(self):
        state = self.client.value("/interfaces/interface[name=lo]/state")
        self.assertNotIn(OC + "enabled", state)

    def streamed(self, *wanted):
        """Path and value of each update before the sync."""
        stream = self.client.subscribe(*wanted, interval=10, timeout=20)
        seen = {}
        for answer in stream:
            if answer.sync_response:
                break
            for update in answer.update.update:
                seen[paths.text(update.path)] = python_value(update.val)
        stream.cancel()
        return seen

    def test_streams_give_it(self):
        seen = self.streamed(ETH7 + "/state")
        self.assertEqual(seen[ETH7 + "/state/mtu"], 1500)
        self.assertEqual(seen[ETH7 + "/state/name"], "eth7")
        seen = self.streamed("/")
        at = "/openconfig-interfaces:interfaces/interface[name=eth7]"
        self.assertEqual(seen[at + "/state/mtu"], seen[at + "/config/mtu"])

    def test_streams_follow_it(self):
        listener = self.server.client()
        self.addCleanup(listener.close)
        for mode in ("on-change", "target-defined"):
            for path in (ETH7, ETH7 + "/state", ETH7 + "/state/mtu"):
                with self.subTest(mode=mode, path=path):
                    self.follow_once(listener, mode, path)

    def follow_once(self, listener, mode, path):
        mtu = ETH7 + "/state/mtu"
        self.client.set(update=[(ETH7 + "/config/mtu", 1500)])
        stream = listener.subscribe(path, mode=mode, timeout=20)
        first = []
        for answer in stream:
            if answer.sync_response:
                break
            first += answer.update.update
        values = [python_value(one.val) for one in first if paths.text(one.path) == mtu]
        self.assertEqual(values, [1500])
        self.client.set(update=[(ETH7 + "/config/mtu", 9000)])
        self.assertEqual(self.next_of(stream, mtu), 9000)
        self.client.set(delete=[ETH7 + "/config/mtu"])
        self.assertEqual(self.next_of(stream, mtu), "gone")
        stream.cancel()

    def next_of(self, stream, wanted):
        """The next value of one path; "gone" for a delete."""
        for answer in stream:
            if wanted in [paths.text(path) for path in answer.update.delete]:
                return "gone"
            for update in answer.update.update:
                if paths.text(update.path) == wanted:
                    return python_value(update.val)
        return None

    def test_augmented_leaves_and_deeper_entries(self):
        address = {"ip": "10.0.0.1", "config": {"ip": "10.0.0.1", "prefix-length": 24}}
        below = ETH7 + "/subinterfaces/subinterface[index=0]"
        family = {"addresses": {"address": [address]}}
        value = {"index": 0, "config": {"index": 0}, "openconfig-if-ip:ipv4": family}
        self.client.set(update=[(below, value)])
        state = self.client.value(below + "/ipv4/addresses/address[ip=10.0.0.1]/state")
        self.assertEqual(state["openconfig-if-ip:prefix-length"], 24)
        self.assertEqual(state["openconfig-if-ip:type"], "PRIMARY")


@needs_models
class NoMirror(MirrorCase):
    flags = ["--insecure", "--mirror-state", "off"]

    def test_states_have_only_what_the_device_says(self):
        self.absent(ETH7 + "/state")
        self.assertNotIn(OC + "state", self.client.value(ETH7))


if __name__ == "__main__":
    report.main()
