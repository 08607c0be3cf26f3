"""HTTP/2 by hand, for what no client library sends: frames as bytes on a socket of one's own."""

import socket
import struct

PREFACE = b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n"

DATA, HEADERS, RST_STREAM, SETTINGS, PING, GOAWAY, WINDOW_UPDATE, CONTINUATION = (
    0,
    1,
    3,
    4,
    6,
    7,
    8,
    9,
)
END_STREAM, END_HEADERS = 0x1, 0x4
INITIAL_WINDOW_SIZE = 4
MOST_OF_A_FRAME = 16384


def frame(kind, flags=0, stream=0, payload=b""):
    return struct.pack(">I", len(payload))[1:] + struct.pack(">BBI", kind, flags, stream) + payload


def literal(name, value):
    """A header that enters no table, its texts without Huffman's code."""

    def text(word):
        assert len(word) < 127
        return bytes([len(word)]) + word

    return b"\x00" + text(name.encode()) + text(value.encode())


def call_headers(method, **metadata):
    fields = {
        ":method": "POST",
        ":scheme": "http",
        ":path": method,
        ":authority": "test",
        "te": "trailers",
        "content-type": "application/grpc",
        **metadata,
    }
    return b"".join(literal(name, value) for name, value in fields.items())


def message(payload):
    """A gRPC message as the data of frames."""
    return b"\0" + struct.pack(">I", len(payload)) + payload


class Connection:
    """A connection that reads nothing unless told to. `window`: bytes that each stream may get."""

    def __init__(self, address, *, window=65535, context=None, source=None):
        host, _, port = address.rpartition(":")
        self.socket = socket.create_connection(
            (host, int(port)), timeout=30, source_address=(source, 0) if source else None
        )
        if context is not None:
            self.socket = context.wrap_socket(self.socket, server_hostname="localhost")
        self.send(
            PREFACE + frame(SETTINGS, payload=struct.pack(">HI", INITIAL_WINDOW_SIZE, window))
        )
        self.next_stream = 1

    def send(self, data):
        self.socket.sendall(data)

    def begin_call(self, method, *, flags=END_HEADERS, **metadata):
        """The stream of a call whose headers were sent."""
        stream = self.next_stream
        self.next_stream += 2
        self.send(frame(HEADERS, flags, stream, call_headers(method, **metadata)))
        return stream

    def send_message(self, stream, payload, end=True):
        data = message(payload)
        parts = [data[at : at + MOST_OF_A_FRAME] for at in range(0, len(data), MOST_OF_A_FRAME)]
        for part in parts[:-1]:
            self.send(frame(DATA, 0, stream, part))
        self.send(frame(DATA, END_STREAM if end else 0, stream, parts[-1]))

    def is_closed(self, timeout):
        """Whether the server closes the connection within so many seconds; what it sends is read."""
        self.socket.settimeout(timeout)
        try:
            while self.socket.recv(65536):
                pass
        except TimeoutError:
            return False
        except OSError:
            pass
        return True

    def close(self):
        self.socket.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
