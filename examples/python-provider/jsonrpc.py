"""JSON-RPC 2.0 messages, one per line, over a pair of byte streams.

A Connection reads the host's messages and hands requests to a handler; it answers each
request once, and lets any thread send notifications. Every message goes out as one whole
line under a lock and is flushed at once.
"""

import json
import sys
import threading
import traceback

MAX_LINE = 16 * 1024 * 1024
MAX_DEPTH = 64

PARSE_ERROR = -32700
INVALID_REQUEST = -32600
METHOD_NOT_FOUND = -32601
INVALID_PARAMS = -32602
INTERNAL_ERROR = -32603
UNSUPPORTED_VERSION = -32001


class ProtocolError(Exception):
    """A message that cannot be processed at all: answered with a JSON-RPC error member."""

    def __init__(self, code, message, data=None):
        super().__init__(message)
        self.code = code
        self.data = data

    def to_json(self):
        error = {"code": self.code, "message": str(self)}
        if self.data is not None:
            error["data"] = self.data
        return error


def log(text):
    """One line of diagnostics on standard error, which the host copies into its log."""
    sys.stderr.write(text + "\n")
    sys.stderr.flush()


_TOO_DEEP = object()


def _depth(value):
    """How deeply value nests arrays and objects (a scalar is 0), without recursing."""
    deepest, pending = 0, [(value, 1)]
    while pending:
        value, level = pending.pop()
        children = value.values() if isinstance(value, dict) else value if isinstance(value, list) else None
        if children is not None:
            deepest = max(deepest, level)
            pending.extend((child, level + 1) for child in children)
    return deepest


class Connection:
    """One session's stream of lines: reader and writer are binary file objects."""

    def __init__(self, reader, writer, trace=False):
        self._reader = reader
        self._writer = writer
        self._trace = trace
        self._write_lock = threading.Lock()  # one whole line at a time, from any thread
        self.closed = False

    def send(self, message):
        """Writes one message as one line and flushes it; a closed peer is not an error."""
        line = json.dumps(message, separators=(",", ":"), ensure_ascii=False)
        with self._write_lock:
            if self.closed:
                return
            if self._trace:
                log("<- " + line)
            try:
                self._writer.write(line.encode("utf-8") + b"\n")
                self._writer.flush()
            except (BrokenPipeError, ConnectionError, ValueError, OSError):
                self.closed = True

    def notify(self, method, params):
        """Sends a notification (no id, no answer)."""
        self.send({"jsonrpc": "2.0", "method": method, "params": params})

    def serve(self, handler, guard):
        """Reads messages until end of file. Each request is handled and answered while
        `guard` (a lock) is held, so nothing else is sent between the handling of a request
        and its answer; handler.request(method, params) returns the result object or raises
        ProtocolError, and handler.notification(method, params) takes notifications."""
        while True:
            line = self._reader.readline(MAX_LINE + 2)
            if not line:
                break
            if not line.endswith(b"\n") and len(line) > MAX_LINE:
                self._skip_rest_of_line()
                self._answer_error(None, ProtocolError(PARSE_ERROR, "line longer than 16 MiB"))
                continue
            line = line.rstrip(b"\r\n")
            if not line.strip():
                continue
            if self._trace:
                log("-> " + line.decode("utf-8", "replace"))
            self._process(line, handler, guard)
        with self._write_lock:
            self.closed = True

    def _skip_rest_of_line(self):
        while True:
            chunk = self._reader.readline(MAX_LINE)
            if not chunk or chunk.endswith(b"\n"):
                return

    def _answer_error(self, identifier, error):
        self.send({"jsonrpc": "2.0", "id": identifier, "error": error.to_json()})

    def _process(self, line, handler, guard):
        try:
            message = json.loads(line.decode("utf-8"))
        except (UnicodeDecodeError, ValueError) as failure:
            self._answer_error(None, ProtocolError(PARSE_ERROR, "not JSON: %s" % failure))
            return
        except RecursionError:
            message = _TOO_DEEP  # far deeper than allowed: refused below
        if message is _TOO_DEEP or _depth(message) > MAX_DEPTH:
            self._answer_error(None, ProtocolError(PARSE_ERROR, "JSON nested more than %d levels deep" % MAX_DEPTH))
            return
        if not isinstance(message, dict):
            self._answer_error(None, ProtocolError(INVALID_REQUEST, "a message must be a JSON object"))
            return
        identifier = message.get("id")
        method = message.get("method")
        if method is None and ("result" in message or "error" in message):
            log("ignoring an answer (id %r): this provider sends no requests" % (identifier,))
            return
        # Only a message without an "id" member is a notification: "id": null is an invalid request.
        is_request = "id" in message
        if is_request and (isinstance(identifier, bool) or not isinstance(identifier, (int, float, str))):
            self._answer_error(None, ProtocolError(INVALID_REQUEST, "id must be a number or a string"))
            return
        if message.get("jsonrpc") != "2.0":
            self._answer_error(identifier, ProtocolError(INVALID_REQUEST, 'jsonrpc must be "2.0"'))
            return
        if method is None:
            self._answer_error(identifier, ProtocolError(INVALID_REQUEST, "a request needs a method"))
            return
        params = message.get("params")
        if params is None:
            params = {}
        with guard:
            try:
                if not isinstance(method, str):
                    raise ProtocolError(INVALID_REQUEST, "method must be a string")
                if not isinstance(params, dict):
                    raise ProtocolError(INVALID_PARAMS, "params must be an object")
                if not is_request:
                    handler.notification(method, params)
                    return
                answer = {"jsonrpc": "2.0", "id": identifier, "result": handler.request(method, params)}
            except ProtocolError as error:
                if not is_request:
                    log("ignoring notification %s: %s" % (method, error))
                    return
                answer = {"jsonrpc": "2.0", "id": identifier, "error": error.to_json()}
            except Exception as error:  # a bug here must not end the session
                log(traceback.format_exc().rstrip())
                if not is_request:
                    return
                answer = {"jsonrpc": "2.0", "id": identifier,
                          "error": ProtocolError(INTERNAL_ERROR, "%s failed: %r" % (method, error)).to_json()}
            self.send(answer)
