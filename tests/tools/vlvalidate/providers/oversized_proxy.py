"""A provider that answers with more than anyone should keep: it passes every line between
the host and a real provider (the command after the mode and its argument) and replaces the
answers to one kind of request.

  error-text METHOD BYTES   every answer to METHOD becomes an error whose description is
                            BYTES long
  thumbnail FILE            every answer to thumbnails.fetch carries the bytes of FILE as an
                            undecorated thumbnail
"""
import base64
import json
import subprocess
import sys
import threading

mode = sys.argv[1]
if mode == "thumbnail":
    method, command = "thumbnails.fetch", sys.argv[3:]
    with open(sys.argv[2], "rb") as f:
        replacement = {"data": base64.b64encode(f.read()).decode("ascii"),
                       "format": "com.kestrel.thumbnail.undecorated"}
else:
    method, command = sys.argv[2], sys.argv[4:]
    replacement = {"error": {"domain": "KsVaultlineErrorDomain", "code": -1000,
                             "description": "x" * int(sys.argv[3])}}

provider = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
lock = threading.Lock()
watched = set()  # ids of the host's requests whose answers are replaced


def forward_requests():
    for line in sys.stdin.buffer:
        try:
            message = json.loads(line)
            if message.get("method") == method and "id" in message:
                with lock:
                    watched.add(message["id"])
        except ValueError:
            pass
        provider.stdin.write(line)
        provider.stdin.flush()
    provider.stdin.close()


threading.Thread(target=forward_requests, daemon=True).start()
for line in provider.stdout:
    if b'"result"' in line:
        message = json.loads(line)
        with lock:
            replace = message.get("id") in watched
            watched.discard(message.get("id"))
        if replace:
            message["result"] = replacement
            line = (json.dumps(message, separators=(",", ":")) + "\n").encode("utf-8")
    sys.stdout.buffer.write(line)
    sys.stdout.buffer.flush()
