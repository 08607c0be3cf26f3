"""The generated gNMI messages and service for Python.

A build leaves them in BUILD_DIR/python; NEXA_STUBS names another folder. Without either they are
generated once, with the protoc that is installed.
"""

import importlib.util
import os
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PROTO = os.path.join(ROOT, "proto")


def _generate(folder):
    plugin = shutil.which("grpc_python_plugin")
    if not shutil.which("protoc") or not plugin:
        sys.exit(
            "gnmi-client: protoc and grpc_python_plugin are needed "
            "(Debian: protobuf-compiler, protobuf-compiler-grpc)"
        )
    os.makedirs(folder, exist_ok=True)
    subprocess.run(
        [
            "protoc",
            f"-I{PROTO}",
            f"--python_out={folder}",
            f"--grpc_python_out={folder}",
            f"--plugin=protoc-gen-grpc_python={plugin}",
            "gnmi_ext.proto",
            "gnmi.proto",
        ],
        check=True,
        cwd=PROTO,
    )
    return folder


def _folder():
    given = os.environ.get("NEXA_STUBS")
    if given:
        return given
    for build in ("release", "dev"):
        folder = os.path.join(ROOT, "build", build, "python")
        if os.path.exists(os.path.join(folder, "gnmi_pb2_grpc.py")):
            return folder
    folder = os.path.join(ROOT, "build", "python")
    if not os.path.exists(os.path.join(folder, "gnmi_pb2_grpc.py")):
        _generate(folder)
    return folder


def load():
    """The modules gnmi_pb2 and gnmi_pb2_grpc."""
    folder = _folder()
    if folder not in sys.path:
        sys.path.insert(0, folder)
    if not importlib.util.find_spec("gnmi_pb2"):
        sys.exit(f"gnmi-client: no generated messages in {folder}")
    import gnmi_pb2
    import gnmi_pb2_grpc

    return gnmi_pb2, gnmi_pb2_grpc
