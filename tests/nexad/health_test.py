"""The health service, and reflection when it is asked for."""

import queue
import signal

from google.protobuf import descriptor_pool, message_factory

from kit import raw, report
from kit.case import ServerCase
from kit.server import Server
from kit.tls import TlsCase


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

    SERVICES = [
        "gnmi.gNMI",
        "grpc.health.v1.Health",
        "grpc.reflection.v1.ServerReflection",
        "grpc.reflection.v1alpha.ServerReflection",
    ]

    def test_lists_the_services(self):
        for version in raw.REFLECTION_VERSIONS:
            with self.subTest(version=version):
                answer = raw.reflected_services(self.client.channel, version=version)
                listed = dict(raw.fields(answer))[6]
                names = [dict(raw.fields(entry))[1] for _, entry in raw.fields(listed)]
                self.assertEqual([name.decode() for name in names], self.SERVICES)

    def test_describes_each_service_so_that_it_can_be_called(self):
        for version in raw.REFLECTION_VERSIONS:
            for name in self.SERVICES:
                with self.subTest(version=version, service=name):
                    files = raw.reflected_files(self.client.channel, name, version=version)
                    pool = descriptor_pool.DescriptorPool()
                    for file in reversed(files):
                        pool.AddSerializedFile(file)
                    service = pool.FindServiceByName(name)
                    self.assertGreater(len(service.methods), 0)

    def test_a_client_without_definitions_can_ask_for_health(self):
        channel = self.client.channel
        files = raw.reflected_files(channel, "grpc.health.v1.Health", version="v1")
        pool = descriptor_pool.DescriptorPool()
        for file in reversed(files):
            pool.AddSerializedFile(file)
        check = pool.FindServiceByName("grpc.health.v1.Health").FindMethodByName("Check")
        answer = message_factory.MessageFactory(pool).GetPrototype(check.output_type)()
        answer.ParseFromString(raw.health(channel))
        status = answer.DESCRIPTOR.fields_by_name["status"].enum_type
        self.assertEqual(status.values_by_number[answer.status].name, "SERVING")

    def test_other_unknown_methods_are_unimplemented(self):
        for method in ("/gnmi.gNMI/Destroy", "/grpc.reflection.v2.ServerReflection/Info"):
            with self.subTest(method=method), self.refused("UNIMPLEMENTED"):
                raw.call(self.client.channel, method)

    def test_an_open_stream_ends_with_the_server(self):
        server = Server(self.path("second"), self.schema, self.flags)
        self.addCleanup(server.kill)
        server.start()
        with server.client() as client:
            requests = queue.SimpleQueue()
            requests.put(raw.field(raw.LIST_SERVICES, b""))
            stream = client.channel.stream_stream(
                "/grpc.reflection.v1.ServerReflection/ServerReflectionInfo",
                request_serializer=None,
                response_deserializer=None,
            )(iter(requests.get, None), timeout=60)
            next(iter(stream))
            # Before the time is over that calls in hand have: they are cancelled then.
            server.signal(signal.SIGTERM)
            with self.refused("UNAVAILABLE", "The server is shutting down"):
                next(iter(stream))
            requests.put(None)
            self.assertEqual(server.process.wait(20), 0)


class ReflectionForUsers(TlsCase):
    users = [("alice", "read-only", "correct horse")]

    @classmethod
    def prepare(cls):
        super().prepare()
        cls.flags.append("--reflection")

    @classmethod
    def make_client(cls):
        return cls.as_client()

    def test_asks_for_credentials_as_every_call_does(self):
        for version in raw.REFLECTION_VERSIONS:
            with self.subTest(version=version):
                with self.refused("UNAUTHENTICATED"):
                    raw.reflected_services(self.client.channel, version=version)
                answer = raw.reflected_services(
                    self.client.channel,
                    version=version,
                    metadata=[("username", "alice"), ("password", "correct horse")],
                )
                self.assertIn(b"gnmi.gNMI", answer)
        self.assertIsNotNone(
            self.server.wait_log(r"(?m)audit: login user=\"\" .* method=ServerReflectionInfo ")
        )


if __name__ == "__main__":
    report.main()
