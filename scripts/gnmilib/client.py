"""A gNMI server as a Python object: capabilities, get, set, subscribe. Errors: grpc.RpcError."""

import json
import queue

import grpc

from gnmilib import paths
from gnmilib.stubs import load

gnmi, gnmi_grpc = load()

ENCODINGS = {
    "json": gnmi.JSON,
    "json_ietf": gnmi.JSON_IETF,
    "bytes": gnmi.BYTES,
    "proto": gnmi.PROTO,
    "ascii": gnmi.ASCII,
}
STREAM_MODES = {
    "sample": gnmi.SAMPLE,
    "on-change": gnmi.ON_CHANGE,
    "target-defined": gnmi.TARGET_DEFINED,
}
TYPES = {name: number for name, number in gnmi.GetRequest.DataType.items()}


def as_path(path):
    return paths.parse(path) if isinstance(path, str) else path


def as_value(value):
    """A message stands for itself; anything else travels as JSON_IETF."""
    if isinstance(value, gnmi.TypedValue):
        return value
    return gnmi.TypedValue(json_ietf_val=json.dumps(value).encode())


def as_update(path, value):
    return gnmi.Update(path=as_path(path), val=as_value(value))


def python_value(typed):
    """A value as Python has it; JSON parsed."""
    kind = typed.WhichOneof("value")
    if kind in ("json_val", "json_ietf_val"):
        return json.loads(getattr(typed, kind))
    return getattr(typed, kind) if kind else None


def _read(name):
    if not name:
        return None
    with open(name, "rb") as file:
        return file.read()


class Client:
    """Every Client has a connection of its own. `credentials` are names of PEM files."""

    def __init__(
        self,
        address,
        *,
        insecure=False,
        ca=None,
        cert=None,
        key=None,
        server_name=None,
        user=None,
        password=None,
        timeout=20,
        options=(),
    ):
        options = [
            ("grpc.max_receive_message_length", -1),
            ("grpc.max_send_message_length", -1),
            ("grpc.use_local_subchannel_pool", 1),
            ("grpc.enable_http_proxy", 0),
            *options,
        ]
        if server_name:
            options.append(("grpc.ssl_target_name_override", server_name))
        if insecure:
            self.channel = grpc.insecure_channel(address, options)
        else:
            credentials = grpc.ssl_channel_credentials(_read(ca), _read(key), _read(cert))
            self.channel = grpc.secure_channel(address, credentials, options)
        self.stub = gnmi_grpc.gNMIStub(self.channel)
        self.timeout = timeout
        self.metadata = []
        if user is not None:
            self.metadata = [("username", user), ("password", password or "")]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.channel.close()

    def _ask(self, method, request):
        return method(request, timeout=self.timeout, metadata=self.metadata)

    def capabilities(self):
        return self._ask(self.stub.Capabilities, gnmi.CapabilityRequest())

    def get_request(self, request):
        return self._ask(self.stub.Get, request)

    def get(self, *wanted, type="ALL", encoding="json_ietf", prefix=None):
        request = gnmi.GetRequest(
            path=[as_path(path) for path in wanted], type=TYPES[type], encoding=ENCODINGS[encoding]
        )
        if prefix is not None:
            request.prefix.CopyFrom(as_path(prefix))
        return self.get_request(request)

    def value(self, path, **how):
        """The one value at `path`, as Python has it."""
        updates = [
            update
            for notification in self.get(path, **how).notification
            for update in notification.update
        ]
        if len(updates) != 1:
            raise LookupError(f"{len(updates)} values at {path}")
        return python_value(updates[0].val)

    def set_request(self, request):
        return self._ask(self.stub.Set, request)

    def set(self, *, update=(), replace=(), delete=(), prefix=None):
        """`update` and `replace`: pairs of path and value; `delete`: paths."""
        request = gnmi.SetRequest(
            delete=[as_path(path) for path in delete],
            replace=[as_update(*pair) for pair in replace],
            update=[as_update(*pair) for pair in update],
        )
        if prefix is not None:
            request.prefix.CopyFrom(as_path(prefix))
        return self.set_request(request)

    def subscribe(
        self,
        *wanted,
        mode="sample",
        interval=1.0,
        encoding="json_ietf",
        prefix=None,
        timeout=None,
    ):
        """A stream, or with mode "once" a single answer: a call that yields SubscribeResponse
        messages and can be cancelled. The interval is that of mode "sample".
        """
        subscriptions = [
            gnmi.Subscription(
                path=as_path(path),
                mode=STREAM_MODES.get(mode, gnmi.TARGET_DEFINED),
                sample_interval=int(interval * 1e9) if mode == "sample" else 0,
            )
            for path in wanted
        ]
        listed = gnmi.SubscriptionList(
            subscription=subscriptions,
            encoding=ENCODINGS[encoding],
            mode=gnmi.SubscriptionList.ONCE if mode == "once" else gnmi.SubscriptionList.STREAM,
        )
        if prefix is not None:
            listed.prefix.CopyFrom(as_path(prefix))
        return self.subscribe_requests([gnmi.SubscribeRequest(subscribe=listed)], timeout)

    def subscribe_requests(self, requests, timeout=None):
        """The requests, then an open stream: a closed one says that the client is done."""
        waiting = queue.SimpleQueue()
        for request in requests:
            waiting.put(request)
        call = self.stub.Subscribe(iter(waiting.get, None), timeout=timeout, metadata=self.metadata)
        call.add_callback(lambda: waiting.put(None))
        call.send = waiting.put
        return call
