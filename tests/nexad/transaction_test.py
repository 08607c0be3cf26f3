"""One Set is one transaction: its order, all or nothing, visible at once and only when it is
durable.
"""

import threading

import grpc

from kit import report
from kit.case import RulesCase

RULES = "/test-rules:rules"
PAIR = "/test-rules:pair"


class Order(RulesCase):
    def test_deletes_go_before_updates(self):
        self.rules({"level": 20, "low": 1})
        self.client.set(delete=[RULES + "/level"], update=[(RULES + "/level", 30)])
        self.assertEqual(self.client.value(RULES + "/level"), 30)

    def test_replaces_go_before_updates(self):
        self.rules({"group": [{"name": "old"}]})
        self.client.set(
            update=[(RULES + "/group[name=new]/note", "kept")], replace=[(RULES, {"low": 2})]
        )
        self.assertEqual(
            self.stored(),
            {"low": 2, "group": [{"name": "new", "note": "kept"}], "level": 10, "mode": "manual"},
        )

    def test_deletes_go_before_replaces(self):
        self.client.set(delete=[RULES], replace=[(RULES + "/low", 3)])
        self.assertEqual(self.client.value(RULES + "/low"), 3)

    def test_updates_apply_in_their_order(self):
        self.client.set(
            update=[(RULES + "/level", 1), (RULES + "/level", 2), (RULES + "/level", 3)]
        )
        self.assertEqual(self.client.value(RULES + "/level"), 3)

    def test_replaces_apply_in_their_order(self):
        self.client.set(replace=[(RULES, {"low": 1}), (RULES, {"low": 2, "high": 4})])
        self.assertEqual(self.stored(), {"low": 2, "high": 4, "level": 10, "mode": "manual"})

    def test_constraints_are_judged_on_the_result(self):
        self.client.set(
            update=[
                (RULES + "/user[name=u]", {"name": "u", "role": "r", "group": "g"}),
                (RULES + "/group[name=g]", {"name": "g"}),
            ]
        )
        self.assertEqual(self.client.value(RULES + "/user[name=u]/group"), "g")


class AllOrNothing(RulesCase):
    def assert_unchanged_by(self, code, **operations):
        self.rules({"level": 20, "low": 5, "high": 6, "tag": ["t"]})
        before = self.stored()
        with self.refused(code) as caught:
            self.client.set(**operations)
        self.assertEqual(self.stored(), before)
        self.client.set(update=[(RULES + "/level", 21)])  # and the next one works
        self.assertEqual(self.client.value(RULES + "/level"), 21)
        return caught.exception

    def test_a_bad_value_at_the_end_undoes_everything(self):
        self.assert_unchanged_by(
            "INVALID_ARGUMENT",
            delete=[RULES + "/tag"],
            replace=[(RULES + "/low", 1)],
            update=[(RULES + "/group[name=new]", {"name": "new"}), (RULES + "/level", 101)],
        )

    def test_an_unknown_node_undoes_everything(self):
        self.assert_unchanged_by(
            "NOT_FOUND",
            delete=[RULES + "/tag"],
            update=[(RULES + "/level", 1), (RULES + "/colour", 1)],
        )

    def test_a_broken_must_undoes_everything(self):
        error = self.assert_unchanged_by(
            "FAILED_PRECONDITION", delete=[RULES + "/tag"], update=[(RULES + "/low", 50)]
        )
        self.assertIn("high is below low", error.details())

    def test_a_refused_operation_kind_undoes_everything(self):
        self.assert_unchanged_by(
            "UNIMPLEMENTED",
            delete=[RULES],
            update=[(RULES + "/route[prefix=*][metric=1]/via", "x")],
        )


class Visibility(RulesCase):
    def test_readers_see_both_leaves_of_a_set_or_neither(self):
        self.client.set(update=[(PAIR, {"left": "0", "right": "0"})])
        done = threading.Event()
        torn, reads = [], [0]

        def read():
            with self.server.client() as client:
                while not done.is_set():
                    pair = client.value(PAIR)
                    reads[0] += 1
                    if pair["test-rules:left"] != pair["test-rules:right"]:
                        torn.append(pair)

        readers = [threading.Thread(target=read) for _ in range(3)]
        for reader in readers:
            reader.start()
        try:
            for number in range(1, 201):
                self.client.set(
                    update=[(PAIR + "/left", str(number)), (PAIR + "/right", str(number))]
                )
        finally:
            done.set()
            for reader in readers:
                reader.join()
        self.assertEqual(torn, [])
        self.assertGreater(reads[0], 20)

    def test_a_set_is_visible_when_it_is_answered(self):
        with self.server.client() as other:
            for number in range(100):
                self.client.set(update=[(PAIR + "/left", str(number))])
                self.assertEqual(other.value(PAIR + "/left"), str(number))

    def test_sets_of_many_clients_all_arrive(self):
        failures = []

        def write(number):
            try:
                with self.server.client() as client:
                    for index in range(25):
                        name = f"{number}-{index}"
                        client.set(update=[(f"{PAIR}/entry[name={name}]/left", "1")])
            except grpc.RpcError as error:
                failures.append(error)

        writers = [threading.Thread(target=write, args=(number,)) for number in range(8)]
        for writer in writers:
            writer.start()
        for writer in writers:
            writer.join()
        self.assertEqual(failures, [])
        self.assertEqual(len(self.tree(PAIR)["entry"]), 200)


if __name__ == "__main__":
    report.main()
