"""The google.rpc.Status that travels beside a refusal, in the trailer grpc-status-details-bin."""

import importlib.util
import os

TRAILER = "grpc-status-details-bin"


def _load():
    # By file name: the package `google` already belongs to protobuf's own installation.
    name = os.path.join(os.environ["NEXA_STUBS"], "google", "rpc", "status_pb2.py")
    spec = importlib.util.spec_from_file_location("nexa_status_pb2", name)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


def status_details(error):
    """The google.rpc.Status of an RpcError, or None."""
    for name, value in error.trailing_metadata() or ():
        if name == TRAILER:
            return _load().Status.FromString(value)
    return None
