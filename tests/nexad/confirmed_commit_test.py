"""Commits that wait for their confirmation: the extension of gNMI from a client's side, and kill -9
at any moment of it.

NEXA_CONFIRM_KILLS says how many moments are tried (20).
"""

import os
import random
import threading
import time

import grpc
from gnmilib.client import as_update, gnmi

from kit import report
from kit.case import RulesCase, StartCase

import gnmi_ext_pb2 as gnmi_ext  # the client has made it importable

LEVEL = "/test-rules:rules/level"
NOTE = "/test-rules:rules/low"
KILLS = int(os.environ.get("NEXA_CONFIRM_KILLS") or (5 if os.environ.get("NEXA_SANITIZED") else 20))
SEED = int(os.environ.get("NEXA_CONFIRM_SEED") or 1)


def extended(commit, level=None):
    """A Set with the extension, of one leaf or of nothing."""
    request = gnmi.SetRequest()
    if level is not None:
        request.update.append(as_update(LEVEL, level))
    request.extension.add().commit.CopyFrom(commit)
    return request


def begin(name, seconds):
    commit = gnmi_ext.Commit(id=name)
    commit.commit.rollback_duration.FromMilliseconds(round(seconds * 1000))
    return commit


def confirm(name):
    commit = gnmi_ext.Commit(id=name)
    commit.confirm.SetInParent()
    return commit


def cancel(name):
    commit = gnmi_ext.Commit(id=name)
    commit.cancel.SetInParent()
    return commit


def wait_for(condition, seconds=10):
    ends = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > ends:
            return False
        time.sleep(0.02)
    return True


class ConfirmedCommit(RulesCase):
    def level(self):
        return self.client.value(LEVEL)

    def test_an_unconfirmed_commit_is_taken_back(self):
        self.rules({"level": 20})
        self.client.set_request(extended(begin("try", 0.3), 30))
        self.assertEqual(self.level(), 30)
        with self.refused("FAILED_PRECONDITION"):
            self.client.set(update=[(LEVEL, 31)])
        self.assertTrue(wait_for(lambda: self.level() == 20))
        self.assertTrue(self.server.wait_log(r'expiry id="try"'), self.server.log())
        self.client.set(update=[(LEVEL, 32)])

    def test_a_confirmed_commit_stays(self):
        self.rules({"level": 20})
        self.client.set_request(extended(begin("try", 0.3), 30))
        self.client.set_request(extended(confirm("try")))
        time.sleep(0.5)
        self.assertEqual(self.level(), 30)

    def test_a_cancelled_commit_is_taken_back_at_once(self):
        self.rules({"level": 20})
        self.client.set_request(extended(begin("try", 60), 30))
        self.client.set_request(extended(cancel("try")))
        self.assertEqual(self.level(), 20)
        with self.refused("FAILED_PRECONDITION", "no commit waits for a confirmation"):
            self.client.set_request(extended(cancel("try")))


class Restart(StartCase):
    def test_the_time_goes_on_while_no_server_runs(self):
        server = self.begin()
        with server.client() as client:
            client.set(update=[(LEVEL, 20)])
            client.set_request(extended(begin("try", 0.5), 30))
        server.kill()
        time.sleep(0.6)
        server.start()
        with server.client() as client:
            self.assertEqual(client.value(LEVEL), 20)
        self.assertIn('expiry id="try" unconfirmed=2 restored=1 commit=3', server.log())

    def test_kill_9_at_any_moment(self):
        dice = random.Random(SEED)
        server = self.begin()
        with server.client() as client:
            client.set(update=[(LEVEL, 1)])
        stands = 1
        for number in range(KILLS):
            with self.subTest(number=number, seed=SEED):
                stands = self.kill_once(server, dice, number, stands)

    def kill_once(self, server, dice, number, stands):
        """The value that stands at the end; `stands` did before."""
        tried = 2 + number % 90
        done = []
        with server.client(timeout=5) as client:

            def work():
                try:
                    client.set_request(extended(begin("try", 0.4), tried))
                    done.append("commit")
                    time.sleep(dice.uniform(0, 0.02))
                    if number % 2 == 0:
                        client.set_request(extended(confirm("try")))
                        done.append("confirm")
                except grpc.RpcError:
                    pass

            worker = threading.Thread(target=work)
            worker.start()
            time.sleep(dice.uniform(0, 0.06))
            server.kill()
            worker.join()
        server.start()
        with server.client() as client:
            found = client.value(LEVEL)
            self.assertIn(found, (stands, tried))
            if "confirm" in done:
                self.assertEqual(found, tried)
                client.set(update=[(NOTE, number % 9)])
                return tried
            if number % 2 == 1 and "commit" in done:
                # Nobody confirms: what stood before comes back, at its time.
                self.assertTrue(wait_for(lambda: client.value(LEVEL) == stands), done)
            # Whatever it was, it ends, and the server takes changes again.
            self.assertTrue(wait_for(lambda: self.takes_changes(client, number)))
            found = client.value(LEVEL)
            self.assertIn(found, (stands, tried))
            if number % 2 == 1:
                self.assertEqual(found, stands)
            return found

    def takes_changes(self, client, number):
        try:
            client.set(update=[(NOTE, number % 9)])
        except grpc.RpcError as error:
            self.assertEqual(error.code().name, "FAILED_PRECONDITION", error.details())
            return False
        return True


if __name__ == "__main__":
    report.main()
