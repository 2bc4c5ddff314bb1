"""The item store: the provider's items as real files and folders in one directory.

DIRECTORY/local   the local copies, a tree mirroring the items (the root is this folder)
DIRECTORY/trash   trashed items, each under a folder named by its identifier
DIRECTORY/server  the "server": uploaded content, one entry per item identifier
DIRECTORY/state.json  what the file system cannot hold: identifiers, tags, ranks, dates,
                  transfer states; rewritten after every change, so identifiers survive a restart

Every public method takes the store's lock. A method that changes items gathers the
identifiers it touched and, before it returns, saves the state and tells every observer
once (one batch of changes per action).
"""

import base64
import errno
import functools
import heapq
import json
import os
import shutil
import threading
import time
from dataclasses import asdict, dataclass, field

import typetable
from jsonrpc import log

ROOT = "KsVaultlineRootContainerItemIdentifier"
WORKING_SET = "KsVaultlineWorkingSetContainerItemIdentifier"
# The parent that trashed items report: they leave their folder while in the trash.
TRASH = "trash"

ERROR_DOMAIN = "KsVaultlineErrorDomain"
POSIX_DOMAIN = "VLPOSIXErrorDomain"
COLLISION = -1001
NO_SUCH_ITEM = -1005
NOT_SUPPORTED = -1006

# Reading, adding sub-items, enumerating, writing, reparenting, renaming, trashing, deleting.
FOLDER_CAPABILITIES = 1 | 2 | 4 | 8 | 16 | 32 | 64 | 128
FILE_CAPABILITIES = FOLDER_CAPABILITIES & ~(2 | 4)
ROOT_CAPABILITIES = 1 | 2 | 4


class Failure(Exception):
    """Why an operation failed; it becomes the `error` of the operation's result."""

    def __init__(self, domain, code, description, item=None):
        super().__init__(description)
        self.domain = domain
        self.code = code
        self.item = item  # for collisions: the record that already has the name


def no_such_item(identifier):
    return Failure(ERROR_DOMAIN, NO_SUCH_ITEM, 'The item "%s" doesn\'t exist.' % identifier)


def posix(code, description):
    return Failure(POSIX_DOMAIN, code, description)


def not_supported(description):
    return Failure(ERROR_DOMAIN, NOT_SUPPORTED, description)


@dataclass
class Record:
    """One item as the store keeps it."""

    identifier: str
    parent: str
    name: str
    kind: str  # "root", "folder", "file" or "package"
    type: str
    created: float
    modified: float
    size: int = 0
    tags: list = field(default_factory=list)
    rank: int | None = None
    last_used: float | None = None
    trashed_from: str | None = None  # set while trashed: the folder to restore it to
    uploaded: bool = True
    downloaded: bool = True
    version: int = 1
    shared: bool = False

    @property
    def is_container(self):
        return self.kind in ("root", "folder")

    @property
    def has_content(self):
        return self.kind in ("file", "package")

    @property
    def trashed(self):
        return self.trashed_from is not None


def _changes(method):
    """Runs a changing method under the lock and publishes what it touched."""

    @functools.wraps(method)
    def wrapper(self, *args, **kwargs):
        with self.lock:
            try:
                return method(self, *args, **kwargs)
            finally:
                self._commit()

    return wrapper


def placeholder_path(path):
    """Where the placeholder of the item whose local copy belongs at path is kept."""
    folder, name = os.path.split(path)
    return os.path.join(folder, "." + name + ".placeholder")


def _tree_size(path):
    if not os.path.isdir(path):
        return os.path.getsize(path)
    return sum(os.path.getsize(os.path.join(folder, name))
               for folder, _, names in os.walk(path) for name in names)


def _remove(path):
    if os.path.isdir(path) and not os.path.islink(path):
        shutil.rmtree(path)
    elif os.path.lexists(path):
        os.unlink(path)


def _copy(source, target):
    if os.path.isdir(source):
        shutil.copytree(source, target, symlinks=True)
    else:
        shutil.copyfile(source, target)


class Store:
    """The items of one provider directory, shared by every session."""

    def __init__(self, directory, syncing=True, upload_delay=0.3):
        self.lock = threading.RLock()  # owns everything below, and the observers' state
        self.syncing = syncing
        self.upload_delay = upload_delay
        self.directory = os.path.abspath(directory)
        self.local_root = os.path.join(self.directory, "local")
        self.trash_root = os.path.join(self.directory, "trash")
        self.server_root = os.path.join(self.directory, "server")
        self._state_path = os.path.join(self.directory, "state.json")
        for folder in (self.local_root, self.trash_root, self.server_root):
            os.makedirs(folder, exist_ok=True)
        self.items = {}
        self.children = {}  # parent identifier -> identifiers of the items inside it
        self._next_number = 1
        self._touched = set()
        self.observers = []  # callables(touched identifiers), called under the lock
        self._uploads = []  # heap of (due time, identifier, version)
        self._wake = threading.Condition(self.lock)
        self._closed = False
        self._load()
        if syncing:
            with self.lock:
                for record in self.items.values():
                    if record.has_content and record.downloaded and not record.uploaded:
                        self._schedule_upload(record)
            threading.Thread(target=self._upload_loop, name="uploader", daemon=True).start()

    # Persistence

    def _load(self):
        try:
            with open(self._state_path, encoding="utf-8") as state:
                saved = json.load(state)
        except FileNotFoundError:
            now = time.time()
            self._add(Record(ROOT, ROOT, "Python Drive", "root", typetable.FOLDER, now, now))
            self._save()
            return
        self._next_number = saved["nextNumber"]
        for fields in saved["items"]:
            self._add(Record(**fields))

    def _save(self):
        state = {"nextNumber": self._next_number, "items": [asdict(r) for r in self.items.values()]}
        temporary = self._state_path + ".new"
        with open(temporary, "w", encoding="utf-8") as out:
            json.dump(state, out)
        os.replace(temporary, self._state_path)

    def _commit(self):
        if not self._touched:
            return
        touched, self._touched = self._touched, set()
        self._save()
        for observer in list(self.observers):
            observer(touched)

    def _add(self, record):
        self.items[record.identifier] = record
        if record.identifier != ROOT:
            self.children.setdefault(record.parent, set()).add(record.identifier)
        self._touched.add(record.identifier)

    def _new_record(self, parent, name, kind, type_identifier, size=0):
        identifier = "item-%d" % self._next_number
        self._next_number += 1
        now = time.time()
        return Record(identifier, parent, name, kind, type_identifier, now, now, size,
                      uploaded=not (self.syncing and kind in ("file", "package")))

    def _touch(self, *records):
        for record in records:
            self._touched.add(record.identifier)

    # Look-ups

    def get(self, identifier):
        """The record with that identifier; Failure -1005 when there is none."""
        with self.lock:
            record = self.items.get(identifier)
            if record is None:
                raise no_such_item(identifier)
            return record

    def _container(self, identifier):
        record = self.get(identifier)
        if not record.is_container:
            raise posix(errno.ENOTDIR, '"%s" is not a folder.' % record.name)
        return record

    def child_records(self, identifier):
        """The items whose parent is identifier (trashed ones are not in their folder)."""
        with self.lock:
            return [self.items[i] for i in self.children.get(identifier, ())]

    def descendants(self, record):
        """Every item inside record, at any depth."""
        found, pending = [], [record.identifier]
        while pending:
            for child in self.child_records(pending.pop()):
                found.append(child)
                pending.append(child.identifier)
        return found

    def in_trashed_folder(self, record):
        """Whether one of record's folders is in the trash."""
        while record.identifier != ROOT and not record.trashed:
            record = self.items[record.parent]
            if record.trashed:
                return True
        return False

    def in_working_set(self, record):
        return (record.identifier != ROOT and bool(record.tags or record.rank is not None
                or record.last_used is not None) and not self.in_trashed_folder(record))

    def _named(self, parent, name):
        folded = name.casefold()
        for child in self.child_records(parent):
            if child.name.casefold() == folded:
                return child
        return None

    def _check_name(self, parent, name, moving=None):
        """Refuses a name that is not valid, or taken in parent by another item (names that
        differ only in letter case are the same name)."""
        if not isinstance(name, str) or name in ("", ".", "..") or "/" in name or "\0" in name:
            raise posix(errno.EINVAL, "%r is not a valid file name." % (name,))
        existing = self._named(parent, name) if parent != TRASH else None
        if existing is not None and existing is not moving:
            raise Failure(ERROR_DOMAIN, COLLISION,
                          'An item named "%s" already exists in this location.' % existing.name,
                          existing)

    # Paths

    def path_of(self, record):
        """Where record's local copy (or placeholder, or folder) belongs."""
        if record.identifier == ROOT:
            return self.local_root
        if record.trashed:
            return os.path.join(self.trash_root, record.identifier, record.name)
        return os.path.join(self.path_of(self.items[record.parent]), record.name)

    def by_path(self, path):
        """The record whose local copy belongs at path; no-such-item Failure when none does
        (a path outside this provider's directories included)."""
        with self.lock:
            path = os.path.normpath(os.path.abspath(path))
            record, parts = self._start_of(path)
            for part in parts:
                record = self._named(record.identifier, part) if record else None
                if record is not None and record.name != part:
                    record = None
            if record is None:
                raise Failure(ERROR_DOMAIN, NO_SUCH_ITEM, "No item of this provider is at %s." % path)
            return record

    def _start_of(self, path):
        for base, in_trash in ((self.local_root, False), (self.trash_root, True)):
            if path == base or path.startswith(base + os.sep):
                parts = [p for p in path[len(base):].split(os.sep) if p]
                if not in_trash:
                    return self.items[ROOT], parts
                if len(parts) >= 2:
                    record = self.items.get(parts[0])
                    if record is not None and record.trashed and record.name == parts[1]:
                        return record, parts[2:]
        return None, []

    def url(self, record, creating_placeholder=None):
        """(path, is directory) of record's local copy. False: only if the content or a
        placeholder is there; True: write a placeholder first when neither is."""
        with self.lock:
            path = self.path_of(record)
            there = os.path.lexists(path) or os.path.lexists(placeholder_path(path))
            if creating_placeholder is False and not there:
                raise posix(errno.ENOENT, "Nothing is at %s." % path)
            if creating_placeholder and not there and record.has_content:
                open(placeholder_path(path), "wb").close()
            return path, record.kind != "file"

    def file_state(self, path):
        """"materialized", "placeholder" or "absent"."""
        path = os.path.normpath(path)
        if os.path.lexists(path):
            return "materialized"
        return "placeholder" if os.path.lexists(placeholder_path(path)) else "absent"

    # Actions

    @_changes
    def copy(self, sources, destination):
        """Imports each (path, is directory); returns ({path: record}, {path: Failure})."""
        folder = self._container(destination)
        created, failed = {}, {}
        for path in sources:
            try:
                created[path] = self._import(path, folder)
            except Failure as failure:
                failed[path] = failure
        return created, failed

    def _import(self, source, folder):
        source = os.path.normpath(source)
        name = os.path.basename(source)
        self._check_name(folder.identifier, name)
        if not os.path.lexists(source):
            raise posix(errno.ENOENT, "There is nothing to import at %s." % source)
        if os.path.isdir(source):
            type_identifier, is_package = typetable.type_for_directory(name)
            kind = "package" if is_package else "folder"
        else:
            type_identifier, kind = typetable.type_for_file(name), "file"
        record = self._new_record(folder.identifier, name, kind, type_identifier)
        target = os.path.join(self.path_of(folder), name)
        try:
            if kind == "folder":
                os.mkdir(target)
            else:
                _copy(source, target)
                record.size = _tree_size(target)
        except OSError as error:
            raise posix(error.errno or errno.EIO, "Cannot import %s: %s" % (source, error.strerror))
        self._add(record)
        self._touch(folder)
        folder.modified = time.time()
        if kind == "folder":
            for child in sorted(os.listdir(source)):
                self._import(os.path.join(source, child), record)
        else:
            self._schedule_upload(record)
        return record

    @_changes
    def create_folder(self, parent, name):
        folder = self._container(parent)
        self._check_name(folder.identifier, name)
        record = self._new_record(folder.identifier, name, "folder", typetable.FOLDER)
        try:
            os.mkdir(os.path.join(self.path_of(folder), name))
        except OSError as error:
            raise posix(error.errno or errno.EIO, "Cannot create %s: %s" % (name, error.strerror))
        self._add(record)
        folder.modified = record.created
        self._touch(folder)
        return record

    def _relocate(self, record, change):
        """Applies change() to record's name or place and moves its local copy along."""
        before = self.path_of(record)
        change()
        after = self.path_of(record)
        if before == after:
            return
        os.makedirs(os.path.dirname(after), exist_ok=True)
        for old, new in ((before, after), (placeholder_path(before), placeholder_path(after))):
            if os.path.lexists(old):
                os.rename(old, new)
        if os.path.dirname(os.path.dirname(before)) == self.trash_root:
            os.rmdir(os.path.dirname(before))  # the trashed item's own folder in the trash
        self._touch(record, *self.descendants(record))

    @_changes
    def rename(self, identifier, new_name):
        record = self.get(identifier)
        if record.kind == "root":
            raise not_supported("The root folder cannot be renamed.")
        self._check_name(record.parent, new_name, moving=record)

        def change():
            record.name = new_name
            if record.kind == "file":
                record.type = typetable.type_for_file(new_name)

        self._relocate(record, change)
        self._touch(record)

    @_changes
    def move(self, identifiers, destination):
        """Moves each item into destination; returns ({identifier: record}, first Failure)."""
        folder = self._container(destination)
        moved, first = {}, None
        for identifier in identifiers:
            try:
                record = self.get(identifier)
                self._move(record, folder)
                moved[identifier] = record
            except Failure as failure:
                first = first or failure
        return moved, first

    def _move(self, record, folder):
        if record.kind == "root":
            raise not_supported("The root folder cannot be moved.")
        if folder is record or folder in self.descendants(record):
            raise posix(errno.EINVAL, 'Cannot move "%s" into itself.' % record.name)
        self._check_name(folder.identifier, record.name, moving=record)
        old_parent = self.items.get(record.parent)

        def change():
            self._reparent(record, folder.identifier)
            record.trashed_from = None  # moving an item out of the trash restores it

        self._relocate(record, change)
        folder.modified = time.time()
        self._touch(record, folder)
        if old_parent is not None:
            old_parent.modified = folder.modified
            self._touch(old_parent)

    def _reparent(self, record, parent):
        self.children.get(record.parent, set()).discard(record.identifier)
        record.parent = parent
        self.children.setdefault(parent, set()).add(record.identifier)

    def _each(self, identifiers, operation):
        """Attempts operation on every item; returns the first Failure, or None."""
        first = None
        for identifier in identifiers:
            try:
                operation(self.get(identifier))
            except Failure as failure:
                first = first or failure
        return first

    @_changes
    def trash(self, identifiers):
        return self._each(identifiers, self._trash)

    def _trash(self, record):
        if record.kind == "root":
            raise not_supported("The root folder cannot be trashed.")
        if record.trashed:
            return
        parent = self.items[record.parent]

        def change():
            self._reparent(record, TRASH)
            record.trashed_from = parent.identifier

        self._relocate(record, change)
        parent.modified = time.time()
        self._touch(parent)

    @_changes
    def untrash(self, identifiers, restore_to=None):
        return self._each(identifiers, lambda record: self._untrash(record, restore_to))

    def _untrash(self, record, restore_to):
        if not record.trashed:
            return  # already out of the trash: nothing to do
        target = self.items.get(restore_to or record.trashed_from)
        if target is None or not target.is_container or target.trashed or self.in_trashed_folder(target):
            target = self.items[ROOT]
        self._move(record, target)

    @_changes
    def delete(self, identifiers):
        return self._each(identifiers, self._delete)

    def _delete(self, record):
        if record.kind == "root":
            raise not_supported("The root folder cannot be deleted.")
        path = self.path_of(record)
        _remove(path)
        _remove(placeholder_path(path))
        if record.trashed:
            shutil.rmtree(os.path.dirname(path), ignore_errors=True)
        else:
            self.items[record.parent].modified = time.time()
            self._touch(self.items[record.parent])
        for gone in [record] + self.descendants(record):
            _remove(os.path.join(self.server_root, gone.identifier))
            self.children.get(gone.parent, set()).discard(gone.identifier)
            self.children.pop(gone.identifier, None)
            del self.items[gone.identifier]
            self._touched.add(gone.identifier)

    def _set_each(self, identifiers, values, setter):
        if len(identifiers) != len(values):
            return posix(errno.EINVAL, "%d items but %d values." % (len(identifiers), len(values)))
        first = None
        for identifier, value in zip(identifiers, values):
            first = first or self._each([identifier], lambda record: setter(record, value))
        return first

    def _set(self, record, attribute, value):
        setattr(record, attribute, value)
        self._touch(record)

    @_changes
    def set_tags(self, identifiers, tag_lists):
        return self._set_each(identifiers, tag_lists, lambda r, v: self._set(r, "tags", v))

    @_changes
    def set_favorite_ranks(self, identifiers, ranks):
        return self._set_each(identifiers, ranks, lambda r, v: self._set(r, "rank", v))

    @_changes
    def set_last_used_date(self, identifiers, date):
        return self._each(identifiers, lambda r: self._set(r, "last_used", date))

    @_changes
    def share(self, identifier):
        self._set(self.get(identifier), "shared", True)

    # Transfers

    @_changes
    def download(self, identifiers):
        """Makes the items' content local; returns (records, first Failure)."""
        records = []

        def download(record):
            for inner in [record] + self.descendants(record):
                self._download(inner)
            records.append(record)

        return records, self._each(identifiers, download)

    def _download(self, record):
        if not record.has_content or record.downloaded:
            return
        path = self.path_of(record)
        try:
            _copy(os.path.join(self.server_root, record.identifier), path)
        except OSError as error:
            raise posix(error.errno or errno.EIO, "Cannot download %s: %s" % (record.name, error.strerror))
        _remove(placeholder_path(path))
        record.downloaded = True
        self._touch(record)

    @_changes
    def evict(self, identifiers):
        if not self.syncing:
            return not_supported("This provider keeps everything on this machine.")
        return self._each(identifiers, self._evict_tree)

    def _evict_tree(self, record):
        """Evicts record and every file inside it; a file still uploading stays, and the
        first of those is the failure, once the others are evicted."""
        busy = None
        for inner in [record] + self.descendants(record):
            try:
                self._evict(inner)
            except Failure as failure:
                busy = busy or failure
        if busy is not None:
            raise busy

    def _evict(self, record):
        if not record.has_content or not record.downloaded:
            return
        if not record.uploaded:
            raise posix(errno.EBUSY, '"%s" is not uploaded yet: its local copy is the only one.'
                        % record.name)
        path = self.path_of(record)
        _remove(path)
        open(placeholder_path(path), "wb").close()
        record.downloaded = False
        self._touch(record)

    @_changes
    def materialize(self, path):
        """Downloads the evicted item whose local copy belongs at path, if there is one."""
        try:
            record = self.by_path(path)
        except Failure:
            return
        self._download(record)

    def content(self, record):
        """The bytes of a file, from its local copy or else from the server."""
        with self.lock:
            path = self.path_of(record) if record.downloaded else os.path.join(
                self.server_root, record.identifier)
            with open(path, "rb") as data:
                return data.read()

    def _schedule_upload(self, record):
        if not self.syncing or not record.has_content:
            return
        record.uploaded = False
        heapq.heappush(self._uploads, (time.monotonic() + self.upload_delay,
                                       record.identifier, record.version))
        self._wake.notify()

    def close(self):
        """Stops uploading; uploads still waiting resume when the directory is opened again."""
        with self.lock:
            self._closed = True
            self._wake.notify()

    def _upload_loop(self):
        with self.lock:
            while not self._closed:
                if not self._uploads:
                    self._wake.wait()
                    continue
                due, identifier, version = self._uploads[0]
                if due > time.monotonic():
                    self._wake.wait(due - time.monotonic())
                    continue
                heapq.heappop(self._uploads)
                record = self.items.get(identifier)
                if record is None or record.version != version or record.uploaded:
                    continue
                try:
                    self._upload(record)
                except OSError as error:  # the local copy went away under us: it stays not uploaded
                    log("cannot upload %s: %s" % (record.name, error))
                finally:
                    self._commit()

    def _upload(self, record):
        target = os.path.join(self.server_root, record.identifier)
        incoming = target + ".incoming"
        _remove(incoming)
        _copy(self.path_of(record), incoming)
        _remove(target)
        os.rename(incoming, target)
        record.uploaded = True
        self._touch(record)

    # What items look like on the wire

    def item_json(self, record):
        """The protocol's item object for record."""
        item = {
            "itemIdentifier": record.identifier,
            "parentItemIdentifier": record.parent,
            "filename": record.name,
            "typeIdentifier": record.type,
            "creationDate": record.created,
            "contentModificationDate": record.modified,
            "tags": record.tags,
            "versionIdentifier": base64.b64encode(str(record.version).encode()).decode(),
        }
        if record.is_container:
            item.update(isFolder=True, isContainer=True,
                        childItemCount=len(self.children.get(record.identifier, ())),
                        capabilities=ROOT_CAPABILITIES if record.kind == "root" else FOLDER_CAPABILITIES)
        else:
            item.update(documentSize=record.size, capabilities=FILE_CAPABILITIES)
        item.update(downloaded=record.downloaded, mostRecentVersionDownloaded=record.downloaded)
        if self.syncing:
            item.update(isCloudItem=True, uploaded=record.uploaded, uploading=not record.uploaded)
        if record.trashed:
            item["trashed"] = True
        if record.rank is not None:
            item["favoriteRank"] = record.rank
        if record.last_used is not None:
            item["lastUsedDate"] = record.last_used
        if record.shared:
            item.update(shared=True, sharedByCurrentUser=True)
        return item

    def error_json(self, failure):
        """The protocol's error object for failure."""
        error = {"domain": failure.domain, "code": failure.code, "description": str(failure)}
        if failure.item is not None:
            error["item"] = self.item_json(failure.item)
        return error
