"""A small client of `tovra lsp`: messages over its standard streams, with what is asked of documents."""
import json
import select
import subprocess
import time
from pathlib import Path


class Client:
    def __init__(self, program, *options, cwd=None):
        self.process = subprocess.Popen([program, "lsp", *options], cwd=cwd, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, bufsize=0)
        self.bytes, self.inbox, self.number, self.texts = b"", [], 0, {}

    # ---- Messages

    def raw(self, data):
        self.process.stdin.write(data)

    def send(self, **message):
        body = json.dumps({"jsonrpc": "2.0", **message}).encode()
        self.raw(b"Content-Length: %d\r\n\r\n%s" % (len(body), body))

    def notify(self, method, **params):
        self.send(method=method, params=params)

    def request(self, method, **params):
        """Sends a request; gives its answer's result, or its error as an Exception."""
        self.number += 1
        self.send(id=self.number, method=method, params=params)
        answer = self.wait(lambda message: message.get("id") == self.number)
        return answer["result"] if "result" in answer else Exception(f"{answer['error']['code']} {answer['error']['message']}")

    def read(self, seconds=20):
        """The next message; none when the server ends, or says nothing for that long."""
        end = time.monotonic() + seconds
        while True:
            head, found, rest = self.bytes.partition(b"\r\n\r\n")
            length = int(head.split(b":")[1]) if found else None
            if found and len(rest) >= length:
                self.bytes = rest[length:]
                return json.loads(rest[:length])
            if not select.select([self.process.stdout], [], [], max(0, end - time.monotonic()))[0]:
                return None
            piece = self.process.stdout.read(1 << 16)
            if not piece:
                return None
            self.bytes += piece

    def wait(self, wanted, seconds=20):
        """The first message that is wanted; others are kept for later."""
        for message in self.inbox:
            if wanted(message):
                self.inbox.remove(message)
                return message
        while message := self.read(seconds):
            if wanted(message):
                return message
            self.inbox.append(message)
        raise AssertionError(f"no such message; there were {self.inbox}")

    # ---- A session

    def initialize(self, root, **options):
        return self.request("initialize", processId=None, rootUri=Path(root).as_uri(), capabilities={},
                            initializationOptions=options)

    def open(self, path, text=None):
        path = Path(path)
        self.texts[path] = path.read_bytes().decode() if text is None else text
        self.notify("textDocument/didOpen", textDocument={"uri": path.as_uri(), "languageId": "tvr", "version": 1,
                                                          "text": self.texts[path]})

    def change(self, path, text, version=2):
        self.texts[Path(path)] = text
        self.notify("textDocument/didChange", textDocument={"uri": Path(path).as_uri(), "version": version},
                    contentChanges=[{"text": text}])

    def at(self, path, line, character):
        return {"textDocument": {"uri": Path(path).as_uri()}, "position": {"line": line, "character": character}}

    def findings(self, path, version=None):
        """What is told of a file next, or with that version, as `LINE ID`, from 1."""
        def wanted(message):
            params = message.get("params", {})
            return (message.get("method") == "textDocument/publishDiagnostics" and params["uri"] == Path(path).as_uri()
                    and version in (None, params.get("version")))
        told = self.wait(wanted)["params"]["diagnostics"]
        return [f"{one['range']['start']['line'] + 1} {one['code']}" for one in told]

    def end(self):
        """Shuts down; gives the exit status and standard error."""
        self.request("shutdown")
        self.notify("exit")
        status = self.process.wait(20)
        return status, self.process.stderr.read().decode()
