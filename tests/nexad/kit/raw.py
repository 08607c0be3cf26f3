"""Calls of services without generated messages: health and reflection, byte by byte."""


def call(channel, method, request=b"", timeout=10):
    return channel.unary_unary(method, request_serializer=None, response_deserializer=None)(
        request, timeout=timeout
    )


def field(number, payload):
    """A length-delimited protobuf field of less than 128 bytes."""
    return bytes([number << 3 | 2, len(payload)]) + payload


SERVING, NOT_SERVING = b"\x08\x01", b"\x08\x02"


def health(channel, service=""):
    """The HealthCheckResponse's bytes."""
    request = field(1, service.encode()) if service else b""
    return call(channel, "/grpc.health.v1.Health/Check", request)


def watch_health(channel, timeout=30):
    """A stream of HealthCheckResponse bytes."""
    return channel.unary_stream(
        "/grpc.health.v1.Health/Watch", request_serializer=None, response_deserializer=None
    )(b"", timeout=timeout)


def reflected_services(channel):
    """The answer, as bytes, to "which services are there"."""
    method = channel.stream_stream(
        "/grpc.reflection.v1alpha.ServerReflection/ServerReflectionInfo",
        request_serializer=None,
        response_deserializer=None,
    )
    return next(iter(method(iter([field(7, b"*")]), timeout=10)))
