"""All OpenConfig models at once, used as their clients do: names without modules, JSON_IETF."""

import glob
import os
import unittest

from gnmilib import paths
from gnmilib.client import gnmi, python_value
from kit import report
from kit.case import ServerCase

PUBLISHED = os.environ.get("NEXA_PUBLISHED_MODELS", "")
MODELS = os.path.join(PUBLISHED, "yang", "openconfig")
ETH0 = "/interfaces/interface[name=eth0]"
ETHERNET = "iana-if-type:ethernetCsmacd"


@unittest.skipUnless(
    PUBLISHED and glob.glob(os.path.join(MODELS, "*.yang")),
    "no OpenConfig models (NEXA_PUBLISHED_MODELS names the folder with yang/openconfig in it)",
)
class OpenConfig(ServerCase):
    schema = ["--yang-dir", MODELS]

    def setUp(self):
        self.client.set(
            delete=["/interfaces"],
            update=[
                (ETH0, {"name": "eth0", "config": {"name": "eth0", "type": ETHERNET, "mtu": 1500}})
            ],
        )

    def test_bare_names_are_those_of_openconfig(self):
        # ietf-interfaces is loaded too, for what OpenConfig takes from it.
        for origin in ("", "openconfig"):
            with self.subTest(origin=origin):
                path = paths.parse(ETH0 + "/config/mtu", origin=origin)
                self.assertEqual(self.client.value(path), 1500)
        self.assertEqual(
            self.client.value("/openconfig-interfaces:interfaces/interface[name=eth0]/config/mtu"),
            1500,
        )
        self.absent("/ietf-interfaces:interfaces", type="CONFIG")

    def test_answers_keep_the_paths_of_the_request(self):
        answer = self.client.get("/interfaces/interface[name=*]/config/mtu")
        found = [paths.text(update.path) for update in answer.notification[0].update]
        self.assertEqual(found, [ETH0 + "/config/mtu"])
        stream = self.client.subscribe(ETH0 + "/config/type", interval=10, timeout=10)
        update = next(iter(stream)).update.update[0]
        stream.cancel()
        self.assertEqual(paths.text(update.path), ETH0 + "/config/type")
        self.assertEqual(python_value(update.val), ETHERNET)

    def test_augmented_nodes_carry_their_module(self):
        address = {"ip": "10.0.0.1", "config": {"ip": "10.0.0.1", "prefix-length": 24}}
        self.client.set(
            update=[
                (
                    ETH0 + "/subinterfaces/subinterface[index=0]",
                    {
                        "index": 0,
                        "config": {"index": 0},
                        "openconfig-if-ip:ipv4": {"addresses": {"address": [address]}},
                    },
                )
            ]
        )
        entry = self.client.value(ETH0 + "/subinterfaces/subinterface[index=0]")
        self.assertEqual(entry["openconfig-interfaces:index"], 0)
        self.assertEqual(
            entry["openconfig-if-ip:ipv4"]["addresses"]["address"][0]["ip"], "10.0.0.1"
        )
        length = "ipv4/addresses/address[ip=10.0.0.1]/config/prefix-length"
        self.assertEqual(
            self.client.value(f"{ETH0}/subinterfaces/subinterface[index=0]/{length}"), 24
        )

    def test_replace_of_the_config_container_restores_defaults(self):
        self.client.set(update=[(ETH0 + "/config/enabled", False)])
        self.client.set(replace=[(ETH0 + "/config", {"name": "eth0", "type": ETHERNET})])
        config = self.client.value(ETH0 + "/config")
        self.assertNotIn("openconfig-interfaces:mtu", config)
        self.assertIs(config["openconfig-interfaces:enabled"], True)

    def test_a_key_and_its_leafref_have_to_agree(self):
        with self.refused("FAILED_PRECONDITION") as caught:
            self.client.set(update=[(ETH0 + "/config/name", "eth1")])
        self.assertIn("leafref", caught.exception.details())
        self.assertEqual(self.client.value(ETH0 + "/config/name"), "eth0")

    def test_deletes_expand_wildcards(self):
        self.client.set(delete=["/interfaces/interface[name=*]/config/mtu"])
        self.absent(ETH0 + "/config/mtu")

    def test_capabilities_carry_semantic_versions(self):
        models = {model.name: model for model in self.client.capabilities().supported_models}
        self.assertRegex(models["openconfig-interfaces"].version, r"^\d+\.\d+\.\d+$")
        self.assertEqual(models["openconfig-interfaces"].organization, "OpenConfig working group")

    def test_a_stream_of_the_whole_tree_gives_every_leaf_once(self):
        stream = self.client.subscribe(gnmi.Path(), interval=10, timeout=20)
        seen = []
        for answer in stream:
            if answer.sync_response:
                break
            seen += [paths.text(update.path) for update in answer.update.update]
        stream.cancel()
        self.assertEqual(len(seen), len(set(seen)))
        self.assertIn(
            "/openconfig-interfaces:interfaces/interface[name=eth0]/config/mtu", seen
        )

    def test_the_module_of_another_owner_is_named_in_full(self):
        with self.refused("NOT_FOUND"):
            self.client.set(update=[("/interfaces/interface[name=eth0]/type", ETHERNET)])
        ietf = "/ietf-interfaces:interfaces/interface[name=eth0]/type"
        self.addCleanup(self.client.set, delete=["/ietf-interfaces:interfaces"])
        self.client.set(update=[(ietf, ETHERNET)])
        self.assertEqual(self.client.value(ietf), ETHERNET)


if __name__ == "__main__":
    report.main()
