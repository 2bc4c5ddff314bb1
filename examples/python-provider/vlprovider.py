#!/usr/bin/env python3
"""A Vaultline storage provider in Python, speaking the provider protocol.

    python3 vlprovider.py DIRECTORY [--non-syncing] [--socket PATH] [--upload-delay SECONDS] [--trace]

Keeps its items as files and folders in DIRECTORY (created if missing, reused on the next
run). Without --socket it serves one session on standard input and output and exits when
standard input ends; with --socket it listens on that Unix socket, one session per
connection, until it is terminated.
"""

import argparse
import os
import signal
import socket
import sys
import threading

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from handlers import Handler  # noqa: E402
from jsonrpc import Connection, log  # noqa: E402
from store import Store  # noqa: E402


def serve_session(store, reader, writer, trace):
    """Runs one session to its end."""
    connection = Connection(reader, writer, trace)
    handler = Handler(store, connection)
    try:
        connection.serve(handler, store.lock)
    finally:
        handler.close()


def serve_socket(store, path, trace):
    """Accepts sessions on a Unix socket until SIGTERM or SIGINT."""
    if os.path.exists(path):
        os.unlink(path)
    listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    listener.bind(path)
    listener.listen()

    def stop(signum, frame):
        try:
            os.unlink(path)
        except OSError:
            pass  # someone else has removed or replaced it already
        os._exit(0)

    signal.signal(signal.SIGTERM, stop)
    signal.signal(signal.SIGINT, stop)
    log("listening on %s" % path)
    while True:
        peer, _ = listener.accept()

        def session(peer=peer):
            with peer, peer.makefile("rb") as reader, peer.makefile("wb") as writer:
                serve_session(store, reader, writer, trace)

        threading.Thread(target=session, daemon=True).start()


def main(arguments):
    parser = argparse.ArgumentParser(description="A Vaultline provider keeping its items in DIRECTORY.")
    parser.add_argument("directory", metavar="DIRECTORY", help="where the items live; created if missing")
    parser.add_argument("--non-syncing", action="store_true", help="keep everything local: no server, no eviction")
    parser.add_argument("--socket", metavar="PATH", help="serve sessions on this Unix socket instead of stdin/stdout")
    parser.add_argument("--upload-delay", metavar="SECONDS", type=float, default=0.3,
                        help="how long a new file waits before it is uploaded (default 0.3)")
    parser.add_argument("--trace", action="store_true", help="copy every message to standard error")
    options = parser.parse_args(arguments)
    store = Store(options.directory, syncing=not options.non_syncing, upload_delay=options.upload_delay)
    log("serving %s (%s)" % (store.directory, "non-syncing" if options.non_syncing else "syncing"))
    if options.socket:
        serve_socket(store, options.socket, options.trace)
    else:
        serve_session(store, sys.stdin.buffer, sys.stdout.buffer, options.trace)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
