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


REFLECTION_VERSIONS = ("v1", "v1alpha")
LIST_SERVICES, FILE_OF_SYMBOL = 7, 4


def reflect(channel, *requests, version="v1alpha", metadata=None):
    """The answers, as bytes, of one reflection stream to requests as bytes."""
    method = channel.stream_stream(
        f"/grpc.reflection.{version}.ServerReflection/ServerReflectionInfo",
        request_serializer=None,
        response_deserializer=None,
    )
    return list(method(iter(requests), timeout=10, metadata=metadata))


def reflected_services(channel, **how):
    """The answer, as bytes, to "which services are there"."""
    return reflect(channel, field(LIST_SERVICES, b"*"), **how)[0]


def fields(message):
    """The (number, payload) of the length-delimited fields of a message; others are passed over."""
    at = 0

    def varint():
        nonlocal at
        value = shift = 0
        while True:
            byte = message[at]
            at += 1
            value |= (byte & 0x7F) << shift
            shift += 7
            if byte < 0x80:
                return value

    found = []
    while at < len(message):
        key = varint()
        if key & 7 == 2:
            size = varint()
            found.append((key >> 3, message[at : at + size]))
            at += size
        elif key & 7 == 0:
            varint()
        else:
            raise ValueError(f"wire type {key & 7}")
    return found


def reflected_files(channel, symbol, **how):
    """The serialised FileDescriptorProtos of a symbol's file and of what it imports."""
    answer = reflect(channel, field(FILE_OF_SYMBOL, symbol.encode()), **how)[0]
    files = [payload for number, payload in fields(answer) if number == 4]
    return [payload for number, payload in fields(files[0]) if number == 1] if files else []
