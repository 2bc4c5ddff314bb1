"""The requests of the provider protocol, answered from the item store.

Parameters missing or of the wrong type are protocol errors (-32602); an operation that
fails is a result with an `error` field.
"""

import base64
import json
import math

from jsonrpc import INVALID_PARAMS, METHOD_NOT_FOUND, UNSUPPORTED_VERSION, ProtocolError, log
from store import ROOT, Failure
from subscriptions import Subscriptions
import typetable

PROTOCOL_VERSION = 1
PROVIDER_IDENTIFIER = "org.example.python-drive"
VALIDATION_SERVICE = "com.kestrel.Vaultline.ValidationV1"
THUMBNAIL_FORMAT = "com.kestrel.thumbnail.undecorated"
THUMBNAIL_TYPES = ("public.jpeg", "public.png")  # what the host decodes


def _is_integer(value):
    return isinstance(value, int) and not isinstance(value, bool)


def _is_number(value):
    return (_is_integer(value) or isinstance(value, float)) and math.isfinite(value)


_CHECKS = {
    str: ("a string", lambda v: isinstance(v, str)),
    bool: ("a boolean", lambda v: isinstance(v, bool)),
    int: ("an integer", _is_integer),
    float: ("a number", _is_number),
    list: ("an array", lambda v: isinstance(v, list)),
    dict: ("an object", lambda v: isinstance(v, dict)),
}


def param(params, name, kind, optional=False):
    """params[name], checked to be of kind; None when optional and absent (or null)."""
    value = params.get(name)
    if value is None:
        if optional:
            return None
        raise ProtocolError(INVALID_PARAMS, "params.%s: missing" % name)
    words, check = _CHECKS[kind]
    if not check(value):
        raise ProtocolError(INVALID_PARAMS, "params.%s: expected %s, got %s" % (name, words, _show(value)))
    return value


def _show(value):
    return json.dumps(value)[:60]


def identifier_of(item, where):
    """The itemIdentifier of an item argument."""
    if not isinstance(item, dict) or not isinstance(item.get("itemIdentifier"), str):
        raise ProtocolError(INVALID_PARAMS, "params.%s: expected an item with an itemIdentifier" % where)
    return item["itemIdentifier"]


def item_identifiers(params, name="items"):
    return [identifier_of(item, "%s[%d]" % (name, i)) for i, item in enumerate(param(params, name, list))]


def tag_list(tags, where):
    if not isinstance(tags, list):
        raise ProtocolError(INVALID_PARAMS, "params.%s: expected an array of tags" % where)
    for i, tag in enumerate(tags):
        if (not isinstance(tag, dict) or not isinstance(tag.get("label"), str)
                or not _is_integer(tag.get("color"))):
            raise ProtocolError(INVALID_PARAMS, "params.%s[%d]: expected {label, color}" % (where, i))
    return [{"label": t["label"], "color": t["color"]} for t in tags]


class Handler:
    """Answers one session's requests."""

    def __init__(self, store, connection):
        self.store = store
        self.subscriptions = Subscriptions(store, connection)
        self._methods = {
            "initialize": self.initialize,
            "items.root": lambda p: self._item(self.store.get(ROOT)),
            "items.lookup": lambda p: self._item(self.store.get(param(p, "itemIdentifier", str))),
            "actions.fetchItem": lambda p: self._item(self.store.get(param(p, "itemIdentifier", str))),
            "items.byPath": lambda p: self._item(self.store.by_path(param(p, "path", str))),
            "items.url": self.url,
            "actions.copy": self.copy,
            "actions.createFolder": self.create_folder,
            "actions.rename": self.rename,
            "actions.move": self.move,
            "actions.trash": lambda p: self._outcome(self.store.trash(item_identifiers(p))),
            "actions.untrash": self.untrash,
            "actions.delete": lambda p: self._outcome(self.store.delete(item_identifiers(p))),
            "actions.setTags": self.set_tags,
            "actions.setFavoriteRanks": self.set_favorite_ranks,
            "actions.setLastUsedDate": self.set_last_used_date,
            "actions.download": self.download,
            "actions.evict": lambda p: self._outcome(self.store.evict(item_identifiers(p))),
            "collections.subscribe": self.subscribe,
            "thumbnails.fetch": self.thumbnail,
            "files.state": lambda p: {"state": self.store.file_state(param(p, "path", str))},
            "files.materialize": self.materialize,
            "files.services": self.services,
            "validation.allowValidation": self.allow_validation,
            "validation.evictDocument": lambda p: self._outcome(
                self.store.evict([param(p, "service", str)])),
            "validation.shareDocument": lambda p: self._outcome(
                self.store.share(param(p, "service", str))),
        }

    def close(self):
        self.subscriptions.close()

    def request(self, method, params):
        handle = self._methods.get(method)
        if handle is None:
            raise ProtocolError(METHOD_NOT_FOUND, "unknown method %s" % method)
        try:
            return handle(params)
        except Failure as failure:
            return {"error": self.store.error_json(failure)}

    def notification(self, method, params):
        if method == "collections.unsubscribe":
            self.subscriptions.unsubscribe(param(params, "subscription", int))
        else:
            log("ignoring the unknown notification %s" % method)

    def _item(self, record):
        return {"item": self.store.item_json(record)}

    def _outcome(self, failure, **fields):
        if failure is not None:
            fields["error"] = self.store.error_json(failure)
        return fields

    def initialize(self, params):
        version = param(params, "protocolVersion", int)
        if version != PROTOCOL_VERSION:
            raise ProtocolError(UNSUPPORTED_VERSION, "unsupported protocol version %d" % version,
                                {"supported": [PROTOCOL_VERSION]})
        return {"protocolVersion": PROTOCOL_VERSION,
                "provider": {"identifier": PROVIDER_IDENTIFIER, "providerIdentifier": PROVIDER_IDENTIFIER,
                             "domain": None},
                "deviceProperties": {"InternalBuild": False}}

    def url(self, params):
        record = self.store.get(identifier_of(param(params, "item", dict), "item"))
        path, is_directory = self.store.url(record, param(params, "creatingPlaceholderIfMissing", bool, True))
        return {"path": path, "isDirectory": is_directory}

    def copy(self, params):
        sources = []
        for i, source in enumerate(param(params, "sources", list)):
            if not isinstance(source, dict) or not isinstance(source.get("path"), str):
                raise ProtocolError(INVALID_PARAMS, "params.sources[%d]: expected {path, isDirectory}" % i)
            sources.append(source["path"])
        destination = identifier_of(param(params, "destination", dict), "destination")
        created, failed = self.store.copy(sources, destination)
        errors = {path: self.store.error_json(failure) for path, failure in failed.items()}
        first = next((failed[path] for path in sources if path in failed), None)
        return self._outcome(first, errorsByItem=errors,
                             transferResults={p: self.store.item_json(r) for p, r in created.items()})

    def create_folder(self, params):
        parent = identifier_of(param(params, "parent", dict), "parent")
        record = self.store.create_folder(parent, param(params, "name", str))
        return self._item(record)

    def rename(self, params):
        identifier = identifier_of(param(params, "item", dict), "item")
        self.store.rename(identifier, param(params, "newName", str))
        return {}

    def move(self, params):
        identifiers = item_identifiers(params)
        destination = identifier_of(param(params, "destination", dict), "destination")
        moved, failure = self.store.move(identifiers, destination)
        return self._outcome(failure, transferResults={i: self.store.item_json(r) for i, r in moved.items()})

    def untrash(self, params):
        restore = param(params, "restoreDirectory", dict, optional=True)
        restore_to = identifier_of(restore, "restoreDirectory") if restore is not None else None
        return self._outcome(self.store.untrash(item_identifiers(params), restore_to))

    def set_tags(self, params):
        lists = [tag_list(tags, "tagsLists[%d]" % i) for i, tags in enumerate(param(params, "tagsLists", list))]
        return self._outcome(self.store.set_tags(item_identifiers(params), lists))

    def set_favorite_ranks(self, params):
        ranks = param(params, "ranks", list)
        if not all(_is_integer(rank) for rank in ranks):
            raise ProtocolError(INVALID_PARAMS, "params.ranks: expected an array of integers")
        return self._outcome(self.store.set_favorite_ranks(item_identifiers(params), ranks))

    def set_last_used_date(self, params):
        date = param(params, "date", float)
        return self._outcome(self.store.set_last_used_date(item_identifiers(params), date))

    def download(self, params):
        records, failure = self.store.download(item_identifiers(params))
        return self._outcome(failure, items=[self.store.item_json(r) for r in records])

    def subscribe(self, params):
        number = param(params, "subscription", int)
        scope = param(params, "scope", dict)
        return {"items": self.subscriptions.subscribe(number, scope)}

    def thumbnail(self, params):
        record = self.store.get(identifier_of(param(params, "item", dict), "item"))
        for name in ("width", "height", "scale"):
            param(params, name, float)
        if record.kind != "file" or not any(typetable.conforms(record.type, t) for t in THUMBNAIL_TYPES):
            return {}
        # The image itself: the host scales whatever size it gets to the size it needs.
        return {"data": base64.b64encode(self.store.content(record)).decode(), "format": THUMBNAIL_FORMAT}

    def materialize(self, params):
        self.store.materialize(param(params, "path", str))
        return {}

    def services(self, params):
        record = self.store.by_path(param(params, "path", str))
        return {"services": [{"name": VALIDATION_SERVICE, "service": record.identifier}]}

    def allow_validation(self, params):
        param(params, "service", str)
        return {"allowed": True,
                "options": {"IsSyncingProvider": self.store.syncing, "HasNoWorkingSet": False}}
