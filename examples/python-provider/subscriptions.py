"""One session's collection subscriptions and the change reports sent for them.

Each subscription remembers every member as last reported. After each change the store
names the items it touched; a touched item that is in scope and looks different is sent
as updated, one that left the scope as deleted, and a watched container that changed as
the observed item: one collections.changed per subscription and change.
"""

from jsonrpc import INVALID_PARAMS, ProtocolError
from store import ERROR_DOMAIN, NO_SUCH_ITEM, ROOT, TRASH, Failure


class Subscription:
    def __init__(self, scope, container=None):
        self.scope = scope  # "container", "workingSet" or "provider"
        self.container = container
        self.members = {}  # identifier -> item object as last reported
        self.observed = None  # the container's item object as last reported


class Subscriptions:
    """The open subscriptions of one session; all state is owned by the store's lock."""

    def __init__(self, store, connection):
        self._store = store
        self._connection = connection
        self._open = {}  # subscription number -> Subscription
        store.observers.append(self._changed)

    def close(self):
        """Forgets every subscription (the session has ended)."""
        with self._store.lock:
            self._store.observers.remove(self._changed)
            self._open.clear()

    def subscribe(self, number, scope):
        """Opens subscription `number`; returns its current members or raises Failure."""
        if number in self._open:
            raise ProtocolError(INVALID_PARAMS, "subscription %d is already open" % number)
        kind = scope.get("kind")
        store = self._store
        if kind == "container":
            container = scope.get("container")
            if not isinstance(container, str):
                raise ProtocolError(INVALID_PARAMS, "scope.container: expected a string")
            subscription = Subscription(kind, container)
            if container != TRASH:  # the trash is watched like a folder, but it is no item
                folder = store.get(container)
                if not folder.is_container:  # a file or a package: no container of that identifier
                    raise Failure(ERROR_DOMAIN, NO_SUCH_ITEM,
                                  '"%s" is not a folder, so it has no contents to watch.' % folder.name)
                subscription.observed = store.item_json(folder)
            candidates = store.child_records(container)
        elif kind in ("workingSet", "provider"):
            subscription = Subscription(kind)
            candidates = store.items.values()
        else:
            raise ProtocolError(INVALID_PARAMS, "scope.kind: unknown kind %r" % (kind,))
        for record in candidates:
            if self._contains(subscription, record):
                subscription.members[record.identifier] = store.item_json(record)
        self._open[number] = subscription
        return list(subscription.members.values())

    def unsubscribe(self, number):
        self._open.pop(number, None)

    def _contains(self, subscription, record):
        store = self._store
        if subscription.scope == "container":
            return record.parent == subscription.container and record.identifier != ROOT
        if subscription.scope == "workingSet":
            return store.in_working_set(record)
        return record.identifier != ROOT and not store.in_trashed_folder(record)

    def _changed(self, touched):
        store = self._store
        cache = {}

        def item(record):
            if record.identifier not in cache:
                cache[record.identifier] = store.item_json(record)
            return cache[record.identifier]

        for number, subscription in list(self._open.items()):
            updated, deleted, change = [], [], {"subscription": number}
            for identifier in sorted(touched):
                record = store.items.get(identifier)
                if record is not None and self._contains(subscription, record):
                    now = item(record)
                    if subscription.members.get(identifier) != now:
                        subscription.members[identifier] = now
                        updated.append(now)
                elif subscription.members.pop(identifier, None) is not None:
                    deleted.append(identifier)
            if subscription.container in touched:
                container = store.items.get(subscription.container)
                if container is None:
                    del self._open[number]
                    self._connection.notify("collections.failed", {
                        "subscription": number,
                        "error": store.error_json(Failure(
                            ERROR_DOMAIN, NO_SUCH_ITEM,
                            'The folder "%s" was deleted.' % subscription.container))})
                    continue
                if item(container) != subscription.observed:
                    subscription.observed = change["observedItem"] = item(container)
            if deleted:
                change["deleted"] = deleted
            if updated:
                change["updated"] = updated
            if len(change) > 1:
                self._connection.notify("collections.changed", change)
