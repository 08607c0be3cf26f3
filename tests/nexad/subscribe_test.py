"""Subscribe: SAMPLE streams over the machine's own counters, their rhythm, and what is refused."""

import socket
import subprocess
import threading
import time

import grpc
from google.protobuf import text_format

from gnmilib import paths
from gnmilib.client import gnmi, python_value
from kit import report
from kit.case import ServerCase
from kit.server import RULES, ietf_modules, program

LO = "/ietf-interfaces:interfaces/interface[name=lo]"
LEAVES = "/test-rules:rules"


class StreamCase(ServerCase):
    schema = ietf_modules() + RULES + ["--module", "test-rules"]

    def first_round(self, stream):
        """The updates before sync_response, by path."""
        leaves = {}
        for answer in stream:
            if answer.sync_response:
                return leaves
            for update in answer.update.update:
                path = gnmi.Path(elem=[*answer.update.prefix.elem, *update.path.elem])
                leaves[paths.text(path)] = python_value(update.val)
        self.fail("the stream ended before sync_response")


class Samples(StreamCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.client.set(update=[(LEAVES, {"level": 5, "tag": ["a", "b"], "group": [{"name": "g"}]})])

    def test_first_round_has_one_leaf_for_each_update_and_then_sync(self):
        stream = self.client.subscribe(LEAVES, interval=10)
        self.assertEqual(
            self.first_round(stream),
            {
                LEAVES + "/level": 5,
                LEAVES + "/mode": "manual",
                LEAVES + "/tag": ["a", "b"],
                LEAVES + "/group[name=g]/name": "g",
            },
        )
        stream.cancel()

    def test_sync_response_comes_once(self):
        stream = self.client.subscribe(LEAVES + "/level", interval=0.1, timeout=1)
        syncs = 0
        with self.assertRaises(grpc.RpcError):
            for answer in stream:
                syncs += answer.sync_response
        self.assertEqual(syncs, 1)

    def test_sync_response_comes_also_when_nothing_is_there(self):
        stream = self.client.subscribe(LEAVES + "/script", interval=10, timeout=5)
        self.assertEqual(self.first_round(stream), {})
        stream.cancel()

    def test_rounds_keep_the_interval(self):
        stream = self.client.subscribe(LEAVES + "/level", interval=0.2, timeout=3)
        self.first_round(stream)
        times = []
        for answer in stream:
            times.append(time.monotonic())
            if len(times) == 8:
                break
        stream.cancel()
        # Seven steps of 0.2 s: a late round does not shift the ones after it.
        self.assertAlmostEqual(times[-1] - times[0], 1.4, delta=0.25)

    def test_interval_zero_is_the_fastest_of_the_server(self):
        stream = self.client.subscribe(LEAVES + "/level", interval=0, timeout=1)
        rounds = 0
        with self.assertRaises(grpc.RpcError):
            for _ in stream:
                rounds += 1
        self.assertTrue(8 <= rounds <= 40, rounds)

    def test_each_subscription_has_its_own_interval(self):
        listed = gnmi.SubscriptionList(
            encoding=gnmi.JSON_IETF,
            subscription=[
                gnmi.Subscription(
                    path=paths.parse(LEAVES + "/level"),
                    mode=gnmi.SAMPLE,
                    sample_interval=100_000_000,
                ),
                gnmi.Subscription(
                    path=paths.parse(LEAVES + "/mode"),
                    mode=gnmi.SAMPLE,
                    sample_interval=500_000_000,
                ),
            ],
        )
        stream = self.client.subscribe_requests(
            [gnmi.SubscribeRequest(subscribe=listed)], timeout=2
        )
        counts = {"level": 0, "mode": 0}
        with self.assertRaises(grpc.RpcError):
            for answer in stream:
                for update in answer.update.update:
                    counts[update.path.elem[-1].name] += 1
        self.assertTrue(12 <= counts["level"] <= 23, counts)
        self.assertTrue(3 <= counts["mode"] <= 6, counts)

    def test_a_change_shows_in_the_next_round(self):
        stream = self.client.subscribe(LEAVES + "/low", interval=0.1, timeout=10)
        self.first_round(stream)
        self.addCleanup(self.client.set, delete=[LEAVES + "/low"])
        self.client.set(update=[(LEAVES + "/low", 77)])
        for answer in stream:
            if answer.update.update and python_value(answer.update.update[0].val) == 77:
                break
        else:
            self.fail("the new value did not come")
        stream.cancel()

    def test_counters_of_lo_are_live(self):
        stream = self.client.subscribe(LO + "/statistics/in-octets", interval=0.2, timeout=10)
        octets = []
        for answer in stream:
            octets += [int(python_value(update.val)) for update in answer.update.update]
            if len(octets) >= 5:
                break
        stream.cancel()
        self.assertEqual(octets, sorted(octets))
        self.assertGreater(octets[-1], octets[0])

    def test_timestamps_are_nanoseconds_and_grow(self):
        stream = self.client.subscribe(LEAVES + "/level", interval=0.1, timeout=5)
        stamps = []
        for answer in stream:
            if answer.HasField("update"):
                stamps.append(answer.update.timestamp)
            if len(stamps) == 4:
                break
        stream.cancel()
        self.assertLess(abs(stamps[0] - time.time_ns()), 5 * 10**9)
        self.assertEqual(stamps, sorted(set(stamps)))

    def test_prefix_stands_before_the_paths(self):
        stream = self.client.subscribe("level", prefix=LEAVES, interval=10)
        self.assertEqual(self.first_round(stream), {LEAVES + "/level": 5})
        stream.cancel()

    def test_a_marking_of_zero_is_none(self):
        for marking in (gnmi.QOSMarking(marking=0), gnmi.QOSMarking()):
            request = gnmi.SubscribeRequest(
                subscribe=gnmi.SubscriptionList(
                    encoding=gnmi.JSON_IETF,
                    qos=marking,
                    subscription=[
                        gnmi.Subscription(path=paths.parse(LEAVES + "/level"), mode=gnmi.SAMPLE)
                    ],
                )
            )
            stream = self.client.subscribe_requests([request], timeout=10)
            self.assertEqual(self.first_round(stream), {LEAVES + "/level": 5})
            stream.cancel()

    def test_json_values_on_request(self):
        stream = self.client.subscribe(LEAVES + "/level", interval=10, encoding="json")
        kinds = [update.val.WhichOneof("value") for update in next(iter(stream)).update.update]
        stream.cancel()
        self.assertEqual(kinds, ["json_val"])


class Refusals(StreamCase):
    flags = ["--insecure", "--profile", "device"]

    def refuse(self, code, text, *requests):
        with self.refused(code, text):
            for _ in self.client.subscribe_requests(requests, timeout=5):
                pass

    def refuse_list(self, text, code="INVALID_ARGUMENT", subscription=None, **fields):
        if subscription is None:
            subscription = [gnmi.Subscription(path=paths.parse(LEAVES), mode=gnmi.SAMPLE)]
        fields.setdefault("encoding", gnmi.JSON_IETF)
        self.refuse(
            code,
            text,
            gnmi.SubscribeRequest(
                subscribe=gnmi.SubscriptionList(subscription=subscription, **fields)
            ),
        )

    def test_options_of_the_list(self):
        modes = gnmi.SubscriptionList
        for option, fields in (
            ("mode selection [ ONCE ]", {"mode": modes.ONCE}),
            ("mode selection [ POLL ]", {"mode": modes.POLL}),
            ("use_aliases selection [ true ]", {"use_aliases": True}),
            ("qos selection", {"qos": gnmi.QOSMarking(marking=1)}),
            ("allow_aggregation selection [ true ]", {"allow_aggregation": True}),
            ("use_models selection", {"use_models": [gnmi.ModelData(name="m")]}),
            ("updates_only selection [ true ]", {"updates_only": True}),
        ):
            with self.subTest(option=option):
                self.refuse_list("Unsupported subscription list " + option, **fields)

    def test_numbers_that_no_enumeration_has(self):
        self.refuse_text("subscribe.mode: 9 is none of STREAM, ONCE, POLL", mode=9)
        self.refuse_text(
            "subscribe.encoding: 9 is none of JSON, BYTES, PROTO, ASCII, JSON_IETF", encoding=9
        )
        self.refuse_text(
            "subscribe.subscription[0].mode: 9 is none of TARGET_DEFINED, ON_CHANGE, SAMPLE",
            subscription=[gnmi.Subscription(path=paths.parse(LEAVES), mode=9)],
        )

    def refuse_text(self, text, **fields):
        self.refuse_list(text, **fields)
        fields.setdefault(
            "subscription", [gnmi.Subscription(path=paths.parse(LEAVES), mode=gnmi.SAMPLE)]
        )
        request = gnmi.SubscribeRequest(subscribe=gnmi.SubscriptionList(**fields))
        ran = subprocess.run(
            [program("nexa", "NEXA"), "check", "--profile", "device", "--request", "-", "--type", "subscribe"],
            input=text_format.MessageToString(request),
            capture_output=True,
            text=True,
            timeout=60,
        )
        self.assertEqual(ran.stderr, f"INVALID_ARGUMENT: {text}\n")

    def test_options_of_a_subscription(self):
        good = gnmi.Subscription(path=paths.parse(LEAVES), mode=gnmi.SAMPLE)
        for option, fields in (
            ("mode selection [ ON_CHANGE", {"mode": gnmi.ON_CHANGE}),
            ("mode selection [ TARGET_DEFINED", {"mode": gnmi.TARGET_DEFINED}),
            (
                "suppress_redundant selection [ true",
                {"mode": gnmi.SAMPLE, "suppress_redundant": True},
            ),
            ("heartbeat_interval selection [ 10", {"mode": gnmi.SAMPLE, "heartbeat_interval": 10}),
        ):
            with self.subTest(option=option):
                bad = gnmi.Subscription(path=paths.parse(LEAVES), **fields)
                self.refuse_list(
                    f"Unsupported subscription {option} on sub index [ 1 ]]",
                    subscription=[good, bad],
                )

    def test_an_empty_list(self):
        self.refuse_list("Empty subscription list", subscription=[])

    def test_encodings(self):
        self.refuse_list(
            'Requested encoding "PROTO" not supported', code="UNIMPLEMENTED", encoding=gnmi.PROTO
        )

    def test_a_first_message_that_is_no_subscription(self):
        text = "Unsupported method[ %s ] provided on initial subscribe request"
        self.refuse("INVALID_ARGUMENT", text % "Poll", gnmi.SubscribeRequest(poll=gnmi.Poll()))
        self.refuse(
            "INVALID_ARGUMENT", text % "Aliases", gnmi.SubscribeRequest(aliases=gnmi.AliasList())
        )
        self.refuse("INVALID_ARGUMENT", text % "Aliases", gnmi.SubscribeRequest())

    def test_any_second_message(self):
        text = (
            "Unsupported subscribeRequest::method on active stream "
            "[ poll/aliases/change of subscriptionList ]"
        )
        first = gnmi.SubscribeRequest(
            subscribe=gnmi.SubscriptionList(
                encoding=gnmi.JSON_IETF,
                subscription=[
                    gnmi.Subscription(
                        path=paths.parse(LEAVES), mode=gnmi.SAMPLE, sample_interval=10**10
                    )
                ],
            )
        )
        for second in (
            gnmi.SubscribeRequest(poll=gnmi.Poll()),
            first,
            gnmi.SubscribeRequest(aliases=gnmi.AliasList()),
        ):
            with self.subTest(second=second.WhichOneof("request")):
                self.refuse("INVALID_ARGUMENT", text, first, second)

    def test_unknown_paths(self):
        with self.refused("NOT_FOUND") as caught:
            for _ in self.client.subscribe(LEAVES + "/colour", timeout=5):
                pass
        self.assertIn("colour", caught.exception.details())

    def test_intervals_below_the_fastest(self):
        with self.refused("INVALID_ARGUMENT"):
            for _ in self.client.subscribe(LEAVES, interval=0.001, timeout=5):
                pass


class SlowReader(StreamCase):
    """A client that opens a stream and stops reading its socket."""

    flags = ["--insecure", "--stream-queue-bytes", "2000000"]

    def test_is_ended_and_the_others_never_notice(self):
        self.client.set(update=[(LEAVES + "/script", "x" * 400000)])
        relay = Relay(self.server.address)
        self.addCleanup(relay.close)
        with self.server.client() as fast, type(fast)(relay.address, insecure=True) as slow:
            stalled = slow.subscribe(LEAVES, interval=0, timeout=60)
            next(iter(stalled))
            relay.stalled.set()
            rounds, worst, last, ends = 0, 0.0, time.monotonic(), time.monotonic() + 4
            for _ in fast.subscribe(LEAVES + "/level", interval=0.1, timeout=30):
                now = time.monotonic()
                worst, last, rounds = max(worst, now - last), now, rounds + 1
                if now > ends:
                    break
            self.assertGreater(rounds, 25)
            self.assertLess(worst, 1.5)
            relay.stalled.clear()
            with self.refused(
                "RESOURCE_EXHAUSTED",
                "The client does not read fast enough, the stream's queue is full",
            ):
                for _ in stalled:
                    pass
        self.assertEqual(self.client.value(LEAVES + "/level"), 10)


class Relay:
    """Passes one connection on until `stalled` is set; then nothing is read from the server."""

    def __init__(self, address):
        host, _, port = address.rpartition(":")
        self.stalled = threading.Event()
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.address = "127.0.0.1:%d" % self.listener.getsockname()[1]
        self.sockets = []
        self.thread = threading.Thread(target=self._serve, args=((host, int(port)),), daemon=True)
        self.thread.start()

    def _serve(self, server):
        client, _ = self.listener.accept()
        upstream = socket.create_connection(server)
        upstream.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 65536)
        self.sockets = [client, upstream]
        threading.Thread(target=self._copy, args=(client, upstream, None), daemon=True).start()
        self._copy(upstream, client, self.stalled)

    def _copy(self, source, sink, stalled):
        try:
            while True:
                while stalled is not None and stalled.is_set():
                    time.sleep(0.02)
                data = source.recv(65536)
                if not data:
                    break
                sink.sendall(data)
        except OSError:
            pass

    def close(self):
        for each in [self.listener, *self.sockets]:
            each.close()


if __name__ == "__main__":
    report.main()
