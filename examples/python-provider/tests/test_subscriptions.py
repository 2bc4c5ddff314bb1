import os
import tempfile
import unittest

from store import ROOT, TRASH, Store
from subscriptions import Subscriptions


class Recorder:
    def __init__(self):
        self.sent = []

    def notify(self, method, params):
        self.sent.append((method, params))

    def take(self):
        sent, self.sent = self.sent, []
        return {params["subscription"]: (method, params) for method, params in sent}


class SubscriptionsTest(unittest.TestCase):
    def test_each_scope_hears_of_joins_departures_and_its_container_going_away(self):
        with tempfile.TemporaryDirectory() as directory:
            store = Store(os.path.join(directory, "drive"), syncing=False)
            connection = Recorder()
            subscriptions = Subscriptions(store, connection)
            a = store.create_folder(ROOT, "A")
            b = store.create_folder(ROOT, "B")
            child = store.create_folder(a.identifier, "child")
            store.set_favorite_ranks([a.identifier, child.identifier], [1, 2])
            self.assertEqual([i["itemIdentifier"] for i in subscriptions.subscribe(1, {
                "kind": "container", "container": a.identifier})], [child.identifier])
            self.assertEqual(len(subscriptions.subscribe(2, {"kind": "workingSet"})), 2)
            subscriptions.subscribe(3, {"kind": "container", "container": b.identifier})

            store.move([child.identifier], b.identifier)
            sent = connection.take()
            self.assertEqual(sent[1][1]["deleted"], [child.identifier])
            self.assertEqual(sent[1][1]["observedItem"]["childItemCount"], 0)
            moved = [i for i in sent[2][1]["updated"] if i["itemIdentifier"] == child.identifier]
            self.assertEqual(moved[0]["parentItemIdentifier"], b.identifier)
            self.assertEqual(sent[3][1]["updated"][0]["itemIdentifier"], child.identifier)

            store.move([child.identifier], a.identifier)
            connection.take()
            self.assertEqual(subscriptions.subscribe(4, {"kind": "container", "container": TRASH}), [])
            store.trash([a.identifier])
            sent = connection.take()
            self.assertEqual(sent[2][1]["deleted"], [child.identifier])  # the trashed folder stays
            self.assertEqual([i["trashed"] for i in sent[2][1]["updated"]], [True])
            self.assertEqual([i["itemIdentifier"] for i in sent[4][1]["updated"]], [a.identifier])
            self.assertNotIn(3, sent)  # nothing changed in B

            store.delete([a.identifier])
            sent = connection.take()
            self.assertEqual(sent[1][0], "collections.failed")
            self.assertEqual(sent[4][1]["deleted"], [a.identifier])
            store.create_folder(ROOT, "A")
            self.assertEqual(connection.take(), {})  # the failed subscription is over
            store.close()


if __name__ == "__main__":
    unittest.main()
