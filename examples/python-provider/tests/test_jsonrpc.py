import io
import json
import threading
import unittest

from jsonrpc import Connection, ProtocolError


class Echo:
    def request(self, method, params):
        if method != "echo":
            raise ProtocolError(-32601, "unknown method %s" % method)
        return params

    def notification(self, method, params):
        pass


class ConnectionTest(unittest.TestCase):
    def test_lines_it_cannot_process_get_the_documented_errors_and_the_session_goes_on(self):
        lines = [
            (b"not json", None, -32700),
            (b"\xff\xfe", None, -32700),
            (b"[" * 100000, None, -32700),  # deeper than the parser's own stack
            (b'{"jsonrpc":"2.0","id":1,"method":"echo","params":{"a":' + b"[" * 63 + b"]" * 63 + b"}}", None, -32700),
            (b"[]", None, -32600),
            (b'"text"', None, -32600),
            (b'{"jsonrpc":"1.0","id":2,"method":"echo","params":{}}', 2, -32600),
            (b'{"jsonrpc":"1.0","method":"echo"}', None, -32600),
            (b'{"jsonrpc":"2.0","id":[3],"method":"echo"}', None, -32600),
            (b'{"jsonrpc":"2.0","id":null,"method":"echo","params":{}}', None, -32600),
            (b'{"jsonrpc":"2.0","id":4,"method":7}', 4, -32600),
            (b'{"jsonrpc":"2.0","id":8}', 8, -32600),
            (b'{"jsonrpc":"2.0","id":5,"method":"echo","params":[]}', 5, -32602),
            (b'{"jsonrpc":"2.0","id":6,"method":"nope","params":{}}', 6, -32601),
            (b"x" * (16 * 1024 * 1024 + 10), None, -32700),
        ]
        # An empty line, a notification and a stray answer: none of them is answered.
        sent = [b"", b'{"jsonrpc":"2.0","method":"echo","params":{}}', b'{"jsonrpc":"2.0","id":7,"result":{}}']
        sent += [line for line, _, _ in lines] + [b'{"jsonrpc":"2.0","id":9,"method":"echo","params":{"b":1}}']
        output = io.BytesIO()
        Connection(io.BytesIO(b"\n".join(sent) + b"\n"), output).serve(Echo(), threading.Lock())

        answers = [json.loads(line) for line in output.getvalue().splitlines()]
        self.assertEqual([(a["id"], a["error"]["code"]) for a in answers[:-1]],
                         [(identifier, code) for _, identifier, code in lines])
        self.assertEqual(answers[-1], {"jsonrpc": "2.0", "id": 9, "result": {"b": 1}})


if __name__ == "__main__":
    unittest.main()
