import os
import tempfile
import threading
import unittest

from store import COLLISION, ROOT, TRASH, Failure, Store


class StoreTest(unittest.TestCase):
    def setUp(self):
        self._temporary = tempfile.TemporaryDirectory()
        self.addCleanup(self._temporary.cleanup)
        self.directory = os.path.join(self._temporary.name, "drive")
        self.sources = os.path.join(self._temporary.name, "sources")
        os.makedirs(self.sources)
        self.stores = []

    def open(self, upload_delay=0, **options):
        for earlier in self.stores:
            earlier.close()
        store = Store(self.directory, upload_delay=upload_delay, **options)
        self.stores.append(store)
        self.addCleanup(store.close)
        return store

    def source(self, name, data=b"Hello"):
        path = os.path.join(self.sources, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as out:
            out.write(data)
        return path

    def imported(self, store, name, parent=ROOT):
        created, failed = store.copy([self.source(name)], parent)
        self.assertEqual(failed, {})
        return next(iter(created.values()))

    def wait_uploaded(self, store, record):
        uploaded = threading.Event()
        with store.lock:
            store.observers.append(lambda touched: record.uploaded and uploaded.set())
            if record.uploaded:
                uploaded.set()
        self.assertTrue(uploaded.wait(10))

    def assertCollides(self, existing, action):
        with self.assertRaises(Failure) as caught:
            action()
        self.assertEqual(caught.exception.code, COLLISION)
        self.assertIs(caught.exception.item, existing)

    def test_names_collide_without_regard_to_case_and_name_the_existing_item(self):
        store = self.open()
        report = self.imported(store, "Report.txt")
        folder = store.create_folder(ROOT, "Folder")
        other = self.imported(store, "other.txt", folder.identifier)

        created, failed = store.copy([self.source("lower/report.TXT")], ROOT)
        self.assertEqual(created, {})
        self.assertIs(failed[os.path.join(self.sources, "lower/report.TXT")].item, report)
        self.assertCollides(report, lambda: store.create_folder(ROOT, "REPORT.txt"))
        self.assertCollides(folder, lambda: store.rename(report.identifier, "folder"))
        twin = self.imported(store, "lower/report.TXT", folder.identifier)
        moved, failure = store.move([twin.identifier, other.identifier], ROOT)
        self.assertEqual(list(moved), [other.identifier])  # every item is attempted
        self.assertIs(failure.item, report)
        self.assertCollides(report, lambda: store.rename(other.identifier, "report.txt"))

        store.rename(report.identifier, "REPORT.TXT")  # its own name in other letters
        self.assertEqual(store.by_path(os.path.join(store.local_root, "REPORT.TXT")), report)

    def test_identifiers_and_attributes_survive_a_restart(self):
        store = self.open(upload_delay=600)
        folder = store.create_folder(ROOT, "Folder")
        file = self.imported(store, "a.txt", folder.identifier)
        store.set_tags([file.identifier], [[{"label": "Red", "color": 7}]])
        store.set_favorite_ranks([folder.identifier], [12345])
        store.trash([folder.identifier])

        again = self.open()
        self.assertEqual(again.get(file.identifier).tags, [{"label": "Red", "color": 7}])
        self.assertEqual(again.get(folder.identifier).parent, TRASH)
        again.untrash([folder.identifier])
        self.assertEqual(again.by_path(os.path.join(again.local_root, "Folder", "a.txt")).identifier,
                         file.identifier)
        self.assertEqual(again.get(folder.identifier).rank, 12345)
        self.assertTrue(again.create_folder(ROOT, "New").identifier not in (file.identifier, folder.identifier))
        self.wait_uploaded(again, again.get(file.identifier))  # an upload cut short resumes

    def test_trash_takes_the_children_out_of_the_working_set_and_untrash_restores_them(self):
        store = self.open()
        folder = store.create_folder(ROOT, "Folder")
        child = self.imported(store, "child.txt", folder.identifier)
        store.set_last_used_date([child.identifier], 1732183200.5)
        store.set_favorite_ranks([folder.identifier], [1])
        store.trash([folder.identifier])
        self.assertTrue(store.in_working_set(folder))
        self.assertFalse(store.in_working_set(child))
        self.assertFalse(os.path.exists(os.path.join(store.local_root, "Folder")))
        store.create_folder(ROOT, "Folder")  # its name is free while it is in the trash
        self.assertEqual(store.untrash([folder.identifier]).code, COLLISION)
        store.untrash([folder.identifier], restore_to=store.create_folder(ROOT, "Elsewhere").identifier)
        self.assertEqual(store.by_path(os.path.join(store.local_root, "Elsewhere", "Folder", "child.txt")),
                         child)
        self.assertTrue(store.in_working_set(child))
        self.assertIsNone(store.untrash([child.identifier]))  # not in the trash: nothing to do
        self.assertEqual(child.parent, folder.identifier)

    def test_eviction_leaves_a_placeholder_and_download_brings_the_content_back(self):
        store = self.open()
        with store.lock:  # holds the uploader off until the first eviction has been refused
            file = self.imported(store, "big.dat", ROOT)
            self.assertEqual(store.evict([file.identifier]).code, 16)  # not uploaded yet
        path = store.path_of(file)
        self.wait_uploaded(store, file)
        self.assertIsNone(store.evict([file.identifier]))
        self.assertEqual((file.downloaded, store.file_state(path)), (False, "placeholder"))
        self.assertEqual(store.content(file), b"Hello")
        store.materialize(path)
        self.assertEqual((file.downloaded, store.file_state(path)), (True, "materialized"))
        with open(path, "rb") as data:
            self.assertEqual(data.read(), b"Hello")

        # A folder: every uploaded file inside is evicted; one still uploading stays and is the failure.
        folder = store.create_folder(ROOT, "Folder")
        done = self.imported(store, "done.txt", folder.identifier)
        self.wait_uploaded(store, done)
        with store.lock:
            busy = self.imported(store, "busy.txt", folder.identifier)
            self.assertEqual(store.evict([folder.identifier]).code, 16)
            self.assertEqual((done.downloaded, busy.downloaded), (False, True))

        local = self.open(syncing=False)
        self.assertEqual(local.evict([file.identifier]).code, -1006)


if __name__ == "__main__":
    unittest.main()
