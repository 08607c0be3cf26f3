"""Capabilities: the models that are loaded, the encodings that are taken, the version."""

from gnmilib.client import gnmi
from kit import report
from kit.case import ServerCase
from kit.server import RULES, ietf_modules


class Capabilities(ServerCase):
    schema = ietf_modules() + RULES + ["--module", "test-rules"]

    def test_lists_each_module_with_organization_and_revision(self):
        models = {model.name: model for model in self.client.capabilities().supported_models}
        for name, version in (
            ("ietf-interfaces", "2018-02-20"),
            ("ietf-ip", "2018-02-22"),
            ("iana-if-type", "2014-05-08"),
            ("ietf-system", "2014-08-06"),
            ("test-rules", "2026-11-21"),
        ):
            with self.subTest(module=name):
                self.assertIn(name, models)
                self.assertEqual(models[name].version, version)
        self.assertEqual(models["test-rules"].organization, "Nexa tests")
        self.assertIn("IETF NETMOD", models["ietf-interfaces"].organization)

    def test_lists_no_module_twice(self):
        names = [model.name for model in self.client.capabilities().supported_models]
        self.assertEqual(len(names), len(set(names)))

    def test_encodings_are_those_that_get_and_subscribe_serve(self):
        encodings = self.client.capabilities().supported_encodings
        self.assertEqual(sorted(encodings), [gnmi.JSON, gnmi.PROTO, gnmi.JSON_IETF])

    def test_version_is_that_of_the_gnmi_service(self):
        self.assertEqual(self.client.capabilities().gNMI_version, "0.10.0")

    def test_is_answered_the_same_again(self):
        self.assertEqual(self.client.capabilities(), self.client.capabilities())


class CapabilitiesOfADevice(ServerCase):
    flags = ["--insecure", "--profile", "device"]

    def test_encodings_are_json_and_json_ietf(self):
        encodings = self.client.capabilities().supported_encodings
        self.assertEqual(sorted(encodings), [gnmi.JSON, gnmi.JSON_IETF])


if __name__ == "__main__":
    report.main()
