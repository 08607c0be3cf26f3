"""The health service, and reflection when it is asked for."""

from kit import raw, report
from kit.case import ServerCase


class Health(ServerCase):
    def test_the_server_is_serving(self):
        self.assertEqual(raw.health(self.client.channel), raw.SERVING)

    def test_the_gnmi_service_is_serving(self):
        self.assertEqual(raw.health(self.client.channel, "gnmi.gNMI"), raw.SERVING)

    def test_the_store_is_serving(self):
        self.assertEqual(raw.health(self.client.channel, "nexa.store"), raw.SERVING)

    def test_an_unknown_service_is_not_found(self):
        with self.refused("NOT_FOUND"):
            raw.health(self.client.channel, "no.such.Service")

    def test_there_is_no_reflection_unless_asked_for(self):
        with self.refused("UNIMPLEMENTED"):
            raw.reflected_services(self.client.channel)

    def test_an_unknown_method_is_unimplemented(self):
        with self.refused("UNIMPLEMENTED"):
            raw.call(self.client.channel, "/gnmi.gNMI/Destroy")


class Watch(ServerCase):
    def test_a_watcher_learns_that_the_server_stops(self):
        stream = raw.watch_health(self.client.channel)
        answers = iter(stream)
        self.assertEqual(next(answers), raw.SERVING)
        self.server.signal(15)
        seen = []
        try:
            for answer in answers:
                seen.append(answer)
        except (
            Exception
        ):  # noqa: BLE001 - the stream may end with any status once the server is gone
            pass
        self.assertIn(raw.NOT_SERVING, seen)
        self.assertEqual(self.server.process.wait(20), 0)


class Reflection(ServerCase):
    flags = ["--insecure", "--reflection"]

    def test_lists_the_services(self):
        services = raw.reflected_services(self.client.channel)
        self.assertIn(b"gnmi.gNMI", services)
        self.assertIn(b"grpc.health.v1.Health", services)


if __name__ == "__main__":
    report.main()
