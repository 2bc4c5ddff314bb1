"""A provider that makes protocol mistakes: it passes every line between the host and a real
provider (the command after the mode) and spoils one answer, in one of these ways:

  mistyped    the first documentSize of the first subscription answer listing items becomes a string
  not-utf8    the first filename of that answer gets a byte that is not UTF-8
  root-count  the root's childItemCount in the first answer to items.root becomes a string
"""
import re
import subprocess
import sys
import threading

mode, command = sys.argv[1], sys.argv[2:]
provider = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)


def forward_requests():
    for line in sys.stdin.buffer:
        provider.stdin.write(line)
        provider.stdin.flush()
    provider.stdin.close()


threading.Thread(target=forward_requests, daemon=True).start()
spoiled = False
for line in provider.stdout:
    if mode == "root-count":
        if not spoiled and b'"result":{"item":{' in line and b'"childItemCount":' in line:
            spoiled = True
            line = re.sub(rb'"childItemCount":(\d+)', rb'"childItemCount":"\1"', line, count=1)
    elif not spoiled and b'"result":{"items":[{' in line:
        spoiled = True
        if mode == "mistyped":
            line = re.sub(rb'"documentSize":(\d+)', rb'"documentSize":"\1"', line, count=1)
        else:
            line = line.replace(b'"filename":"', b'"filename":"\xff', 1)
    sys.stdout.buffer.write(line)
    sys.stdout.buffer.flush()
