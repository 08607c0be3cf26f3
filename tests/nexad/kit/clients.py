"""Other people's gNMI clients: from PATH, or made ready in the build directory.

A function below returns what runs a block of docs/clients.md: of its language, its text and a folder
it makes the words of a command and the environment.
"""

import functools
import os
import shutil
import subprocess
import sys
import unittest

MODULES = {
    "gnmic": "github.com/openconfig/gnmic@v0.38.2",
    "gnmi_cli": "github.com/openconfig/gnmi/cmd/gnmi_cli@v0.14.1",
    "grpcurl": "github.com/fullstorydev/grpcurl/cmd/grpcurl@v1.9.4",
}
PYGNMI = "pygnmi==0.8.15"
GRPC_JS = ["@grpc/grpc-js@1.13.4", "@grpc/proto-loader@0.7.15"]


def _folder():
    """One for all builds of the tree: what is in it does not depend on the build."""
    return os.path.join(os.path.dirname(os.environ["NEXA_BUILD_DIR"]), "clients")


def _run(words, what, seconds, **how):
    """Runs a preparation, or skips with its reason."""
    try:
        ran = subprocess.run(words, capture_output=True, text=True, timeout=seconds, **how)
    except subprocess.TimeoutExpired:
        raise unittest.SkipTest(f"{what} could not be had: it took too long") from None
    if ran.returncode != 0:
        reason = " ".join((ran.stderr or ran.stdout).split())[-300:]
        raise unittest.SkipTest(f"{what} could not be had: {reason}")


@functools.lru_cache
def find_go_program(name):
    """The program, or SkipTest with the reason."""
    folder = os.path.join(_folder(), "bin")
    found = shutil.which(name) or shutil.which(name, path=folder)
    if found:
        return found
    go = shutil.which("go") or shutil.which("go", path="/usr/local/go/bin")
    if not go:
        raise unittest.SkipTest(f"{name} is not in PATH, and there is no go to build it")
    environment = {**os.environ, "GOBIN": folder, "GOFLAGS": "-modcacherw"}
    _run([go, "install", MODULES[name]], name, 240, env=environment)
    return os.path.join(folder, name)


def go_program(name):
    folder = os.path.dirname(find_go_program(name))

    def runner(language, text, _):
        if language != "bash":
            raise ValueError(f"{name} is run by lines of a shell, not by {language}")
        return ["bash", "-c", text], {**os.environ, "PATH": os.environ["PATH"] + ":" + folder}

    return runner


@functools.lru_cache
def _pygnmi_python():
    try:
        import pygnmi.client  # noqa: F401

        return sys.executable
    except ImportError:
        pass
    folder = os.path.join(_folder(), "pygnmi")
    python = os.path.join(folder, "bin", "python")
    if not os.path.exists(python) or subprocess.run([python, "-c", "import pygnmi"]).returncode:
        _run([sys.executable, "-m", "venv", "--clear", folder], "pygnmi", 120)
        _run([python, "-m", "pip", "install", "-q", PYGNMI], "pygnmi", 240)
    return python


def pygnmi():
    python = _pygnmi_python()
    environment = {name: value for name, value in os.environ.items() if name != "PYTHONPATH"}

    def runner(language, text, _):
        if language != "python":
            raise ValueError(f"pygnmi is run by Python, not by {language}")
        return [python, "-c", text], environment

    return runner


@functools.lru_cache
def _node_modules():
    node, npm = shutil.which("node"), shutil.which("npm")
    if not node or not npm:
        raise unittest.SkipTest("grpc-js needs node and npm, and they are not in PATH")
    folder = os.path.join(_folder(), "grpc-js")
    modules = os.path.join(folder, "node_modules")
    if not os.path.isdir(os.path.join(modules, "@grpc", "proto-loader")):
        os.makedirs(folder, exist_ok=True)
        words = [npm, "install", "--no-audit", "--no-fund", "--prefix", folder, *GRPC_JS]
        _run(words, "grpc-js", 240)
    return node, modules


def grpc_js():
    node, modules = _node_modules()

    def runner(language, text, _):
        if language != "javascript":
            raise ValueError(f"grpc-js is run by Node.js, not by {language}")
        # Like a person's, the script ends when nothing is left to wait for.
        return [node, "-e", text], {**os.environ, "NODE_PATH": modules}

    return runner


def telegraf(program):
    def runner(_, text, folder):
        path = os.path.join(folder, "telegraf.conf")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return [program, "--config", path], dict(os.environ)

    return runner
