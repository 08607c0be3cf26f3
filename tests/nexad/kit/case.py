"""The base of the tests: one server for all tests of a class, and ways to say what a refusal must
be.
"""

import contextlib
import os
import shutil
import tempfile
import unittest

import grpc

from kit.server import RULES, Server
from kit.status import status_details


class ServerCase(unittest.TestCase):
    """Starts nexad once for the class. `schema` and `flags` are what a class changes."""

    schema = RULES
    flags = ["--insecure"]
    environment = {}
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="nexad-test-")
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.prepare()
        cls.server = Server(cls.folder, cls.schema, cls.flags, environment=cls.environment)
        cls.addClassCleanup(cls.server.kill)
        cls.server.start()
        cls.client = cls.make_client()
        cls.addClassCleanup(lambda: cls.client.close())

    @classmethod
    def prepare(cls):
        """What must lie in `cls.folder` before the server starts."""

    @classmethod
    def make_client(cls):
        return cls.server.client()

    @classmethod
    def path(cls, *names):
        return os.path.join(cls.folder, *names)

    @classmethod
    def write(cls, name, text, mode=0o644):
        path = cls.path(name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(path, mode)
        return path

    @contextlib.contextmanager
    def refused(self, code, text=None):
        """The block ends in a refusal with this code and, when given, exactly this text."""
        with self.assertRaises(grpc.RpcError) as caught:
            yield caught
        error = caught.exception
        self.assertEqual(
            (error.code().name, error.details() if text else None), (code, text), error.details()
        )

    def tree(self, path, module="test-rules", **how):
        """The one value at `path`; the outermost members without their module."""
        value = self.client.value(path, **how)
        return {name.removeprefix(module + ":"): member for name, member in value.items()}

    def absent(self, path, **how):
        """Nothing is at `path`."""
        with self.refused("NOT_FOUND") as caught:
            self.client.get(path, **how)
        self.assertIn("no data", caught.exception.details())

    def details(self, error):
        return status_details(error)


class RulesCase(ServerCase):
    """Each test begins with an empty configuration of test-rules."""

    def setUp(self):
        self.client.set(delete=["/test-rules:rules", "/test-rules:pair"])

    def rules(self, value):
        """Puts `value` at /test-rules:rules."""
        return self.client.set(update=[("/test-rules:rules", value)])

    def stored(self):
        """The configuration of /test-rules:rules, with the defaults in use."""
        return self.tree("/test-rules:rules", type="CONFIG")


class StartCase(ServerCase):
    """A folder for each test, which starts its servers itself."""

    @classmethod
    def setUpClass(cls):
        pass

    def setUp(self):
        type(self).folder = tempfile.mkdtemp(prefix="nexad-test-")
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def begin(self, *flags, environment=None, schema=None):
        server = Server(
            self.folder, schema or self.schema, ["--insecure", *flags], environment=environment
        )
        self.addCleanup(server.kill)
        return server.start()
