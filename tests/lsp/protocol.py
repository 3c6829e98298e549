#!/usr/bin/env python3
"""protocol.py TOVRA: holds `tovra lsp` to tables of what a client asks and what it has to get.

A place is written as a line of a file with `^` in it: the first line that is the same without it, and the character
before which it stands.
"""
import json
import os
import sys
import tempfile
from pathlib import Path

from client import Client

SITE = """\
TvrLangVersion: 1

Cmd: config
Op: no_op

Cmd: system
Parent Cmd: config
Op: get_one
Uri: /sys

Cmd: hostname
Parent Cmd: system
Op: print_if
Fmt: hostname %s 🖧 é %s
Props: /sys hostname:0 speed:1
Newline:
"""
PORTS = """\
# the ports
Cmd: ports
Parent Cmd: config
Op: get_collection
Uri: /sys?port
Query: name=$name
Orderby: speed

Cmd: port
Parent Cmd: ports
Op: print_if
Fmt: port %s
Props: /sys?port name:0 speed:1
Cond: (ne $tvr1 5)
Newline:

Cmd: into-port
Parent Cmd: port
Op: push_mode
Dest: port-mode

Cmd: port-mode
Op: no_op

Cmd: speed
Parent Cmd: port-mode
Op: print_if
Fmt: speed %s
Props: /sys?port speed:0
Newline:

Cmd: addresses
Parent Cmd: port-mode
Op: get_collection
Uri: /sys/port;name=$?address
"""
DATA = {"records": {"/sys": {"hostname": "edge1", "speed": 1},
                    "/sys/port;name=1": {"speed": 100}, "/sys/port;name=2": {"speed": 1000},
                    "/sys/port;name=1/address;ip=10.0.0.1": {"mask": 24}}}

failures = 0


def check(what, got, wanted):
    global failures
    if got != wanted:
        failures += 1
        print(f"{what}:\n  got    {got}\n  wanted {wanted}")


def place(text, marked):
    lines, character = text.split("\n"), marked.index("^")
    line = lines.index(marked.replace("^", ""))
    return line, len(lines[line][:character].encode("utf-16-le")) // 2


class Workspace:
    """A folder with templates and data, and a client that has opened the templates."""

    def __init__(self, program, folder, site=SITE, ports=PORTS, **options):
        self.root = Path(folder)
        self.files = {"site": self.root / "t/site.tvr", "ports": self.root / "t/ports.tvr"}
        (self.root / "t").mkdir(exist_ok=True)
        self.files["site"].write_text(site)
        self.files["ports"].write_text(ports)
        (self.root / "data.json").write_text(json.dumps(DATA))
        self.client = Client(program)
        self.client.initialize(self.root, **(options or {"templates": "t", "data": "data.json"}))
        self.client.notify("initialized")
        for path in self.files.values():
            self.client.open(path)

    def ask(self, method, file, marked, **params):
        path = self.files[file]
        return self.client.request("textDocument/" + method, **self.client.at(path, *place(self.client.texts[path], marked)),
                                   **params)

    def shown(self, location):
        """`FILE LINE TEXT`, the text of the range."""
        path = next(path for path in self.files.values() if path.as_uri() == location["uri"])
        start, end = location["range"]["start"], location["range"]["end"]
        line = self.client.texts[path].split("\n")[start["line"]].encode("utf-16-le")
        return f"{path.stem} {start['line'] + 1} {line[2 * start['character']:2 * end['character']].decode('utf-16-le')}"


# A line of a file, with the place; where the definition is, and the references with it.
LINKS = [
    ("ports", "Parent Cmd: con^fig", ["site 3 config"], ["ports 3 config", "site 3 config", "site 7 config"]),
    ("ports", "Cmd: port-mo^de", ["ports 22 port-mode"],
     ["ports 20 port-mode", "ports 22 port-mode", "ports 26 port-mode", "ports 33 port-mode"]),
    ("ports", "Dest: ^port-mode", ["ports 22 port-mode"], None),
    ("ports", "Props: /sys?po^rt speed:0", ["ports 2 ports"], []),
    ("ports", "Props: /sys?port spe^ed:0", ["ports 2 ports"], []),
    ("site", "Props: /sys^ hostname:0 speed:1", ["site 6 system"], []),
    ("ports", "Fmt: speed ^%s", [], []),
    ("ports", "# the ^ports", [], []),
]

# A file, a line and what is written instead of it, with the place and, after `<`, the word that is replaced; what is offered
# first, and what is not.
COMPLETIONS = [
    ("ports", "Fmt: speed %s", "^", ["Cmd:", "Parent Cmd:", "Op:"], []),
    ("ports", "Fmt: speed %s", "  Pr^", ["Cmd:", "Parent Cmd:", "Op:", "Fmt:", "Props:"], []),
    ("ports", "Op: no_op", "Op: ^", ["no_op", "push_mode", "get_collection", "get_one", "print_if", "iter"], []),
    ("ports", "Dest: port-mode", "Dest: p^", ["ports", "port", "into-port", "port-mode"], []),
    ("ports", "Parent Cmd: port", "Parent Cmd: ^", ["ports", "port"], []),
    ("ports", "Dest: port-mode", "Dest: <port mo^", ["ports", "port"], []),
    ("ports", "Uri: /sys?port", "Uri: ^", ["/sys", "/sys?port", "/sys/port;name=$?address"], []),
    ("ports", "Query: name=$name", "Query: ^", ["name=$name", "speed=$speed"], []),
    ("ports", "Orderby: speed", "Orderby: ^", ["name", "speed"], []),
    ("ports", "Props: /sys?port speed:0", "Props: ^", ["/sys?port"], ["/sys"]),
    ("ports", "Props: /sys?port speed:0", "Props: /sys?port <n^", ["name:0", "speed:0"], ["mask:0"]),
    ("ports", "Props: /sys?port speed:0", "Props: /sys?port speed:0 ^", ["name:1", "speed:1"], []),
    ("ports", "Props: /sys?port speed:0", "Location: /sys?port ^", ["name:DEFAULT", "speed:DEFAULT", "name:SLOT"], []),
    ("ports", "Props: /sys?port speed:0", "Location: /sys?port speed:SLOT ^", [":0", "rack:0", "slot:0"], []),
    ("ports", "Cond: (ne $tvr1 5)", "Cond: (ne <$^", ["$tvr0", "$tvr1"], ["$tvr2"]),
    ("ports", "Newline:", "Newline: ^", [], []),
    ("ports", "# the ports", "# C^", [], []),
]

# A place, words that are shown there, and words that are not.
HOVERS = [
    ("ports", "Ord^erby: speed", ["Sorts the records", "Read in: get_collection"], ["In scope"]),
    ("ports", "Op: push_m^ode", ["Walks another node"], []),
    ("ports", "Fmt: sp^eed %s", ["```\n speed 100\n speed 1000\n```", "a record of `/sys?port`, by `ports` (ports.tvr:2)"], []),
    ("ports", "Dest: port^-mode", ["**port-mode** `no_op`, ports.tvr:22"], []),
    ("ports", "Props: /sy^s?port speed:0", ["**/sys/port** 2 records", "Read by `ports`"], []),
    ("ports", "Props: /sys?port spe^ed:0", ["**speed** of `/sys/port`"], ["does not have"]),
    ("ports", "Uri: /sys/port;na^me=$?address", ["**/sys/port/address** 1 record"], []),
    ("site", "Fmt: host^name %s 🖧 é %s", ["hostname edge1 🖧 é 1", "the record `/sys`, by `system` (site.tvr:6)"], []),
    ("ports", "# th^e ports", None, []),
]

MISTAKES = [
    ("nothing", "Fmt: speed %s", "Fmt: speed %s", []),
    ("a misspelt op", "Op: get_collection", "Op: get_colection", ["4 refused"]),
    ("a wrong property", "Props: /sys?port speed:0", "Props: /sys?port sped:0", ["29 unknown-property"]),
    ("half a line", "Props: /sys?port speed:0", "Props: /sys?port spe", ["29 refused"]),
    ("an unknown destination", "Dest: port-mode", "Dest: port", ["20 jump-loop", "22 unreached"]),
]

# Messages as they are sent, and the error that answers; none: there is no answer.
MALFORMED = [
    ("no JSON", b"{", -32700),
    ("bytes that are no UTF-8", b'{"a":"\xff"}', -32700),
    ("nothing", b"", -32700),
    ("an array", b"[]", -32600),
    ("no method", b'{"jsonrpc":"2.0","id":9}', -32600),
    ("a method that is no text", b'{"jsonrpc":"2.0","id":9,"method":5}', -32600),
    ("an id that is none", b'{"jsonrpc":"2.0","id":[1],"method":"shutdown"}', -32600),
    ("an answer to nothing", b'{"jsonrpc":"2.0","id":9,"result":null}', None),
    ("an unknown method", b'{"jsonrpc":"2.0","id":9,"method":"a"}', -32601),
    ("an unknown notification", b'{"jsonrpc":"2.0","method":"$/a"}', None),
    ("no parameters", b'{"jsonrpc":"2.0","id":9,"method":"textDocument/hover"}', -32602),
    ("parameters that are a number", b'{"jsonrpc":"2.0","id":9,"method":"textDocument/hover","params":7}', -32602),
    ("a document that is not open", b'{"id":9,"method":"textDocument/hover","params":{"textDocument":{"uri":"file:///x"},'
     b'"position":{"line":0,"character":0}}}', -32602),
    ("a document that is no file", b'{"id":9,"method":"textDocument/formatting","params":{"textDocument":{"uri":"a:b"}}}', -32602),
    ("a position that is none", b'{"id":9,"method":"textDocument/hover","params":{"textDocument":{"uri":"SITE"},'
     b'"position":{"line":-1,"character":1e99}}}', -32602),
    ("a second initialize", b'{"id":9,"method":"initialize","params":{}}', -32600),
    ("a header of two lines", b'', -32700),
]


def test_links(space):
    for file, marked, definition, references in LINKS:
        check(f"definition at {marked}", [space.shown(one) for one in space.ask("definition", file, marked)], definition)
        if references is not None:
            got = space.ask("references", file, marked, context={"includeDeclaration": True})
            check(f"references at {marked}", [space.shown(one) for one in got], references)
    check("references alone", [space.shown(one) for one in space.ask("references", "ports", "Cmd: por^t")], ["ports 18 port"])
    renamed = space.ask("rename", "ports", "Cmd: port-mo^de", newName="below")
    check("rename", {len(edits) for edits in renamed["changes"].values()}, {4})
    check("rename to what is there", str(space.ask("rename", "ports", "Cmd: port-mo^de", newName="port")), "-32803 port is there")
    check("rename of a format", space.ask("prepareRename", "ports", "Fmt: sp^eed %s"), None)


def test_completion(space):
    for version, (file, line, instead, wanted, others) in enumerate(COMPLETIONS, 2):
        word, instead = instead.find("<"), instead.replace("<", "")
        path, before = space.files[file], space.client.texts[space.files[file]]
        text = before.replace(f"{line}\n", instead.replace("^", "") + "\n", 1)
        space.client.change(path, text, version)
        items = space.ask("completion", file, instead)["items"]
        labels = [item["label"] for item in items]
        check(f"completion at {instead}", labels[:len(wanted)], wanted)
        check(f"no completion at {instead}", [label for label in labels if label in others or not wanted], [])
        for item in items[:1]:  # it replaces what has been written of the word
            start, end = item["textEdit"]["range"]["start"], item["textEdit"]["range"]["end"]
            row, column = place(text, instead)
            check(f"beginning at {instead}", word in (-1, start["character"]), True)
            check(f"range at {instead}", (end["line"], end["character"]), (row, column))
        space.client.change(path, before, version)
    operations = [item["label"] for item in space.ask("completion", "ports", "Cond: (ne^ $tvr1 5)")["items"]]
    for version, operation in enumerate(operations, 30):
        arguments = {"eval": '"$tvr1"', "set": "$tvr1", "not": "$tvr1"}.get(operation, "$tvr1 1")
        space.client.change(space.files["ports"], PORTS.replace("(ne $tvr1 5)", f"({operation} {arguments})" * (
            2 if operation == "eval" else 1)), version)
        check(f"operation {operation}", space.client.findings(space.files["ports"], version), [])
    space.client.change(space.files["ports"], PORTS)


def test_hover(space):
    for file, marked, wanted, others in HOVERS:
        got = space.ask("hover", file, marked)
        value = got and got["contents"]["value"]
        if wanted is None:
            check(f"hover at {marked}", got, None)
            continue
        check(f"hover at {marked}", [words for words in wanted if words not in value], [])
        check(f"hover at {marked}: {value}", [words for words in others if words in value], [])
    # A line that is not saved, and one that goes wrong.
    path = space.files["ports"]
    space.client.change(path, PORTS.replace("Fmt: speed", "Fmt: rate"), 60)
    check("hover of unsaved text", " rate 100\n" in space.ask("hover", "ports", "Fmt: ra^te %s")["contents"]["value"], True)
    space.client.change(path, PORTS.replace("Op: no_op", "Op: wrong"), 61)
    value = space.ask("hover", "ports", "Fmt: sp^eed %s")["contents"]["value"]
    check("hover of what does not load", "not rendered: ports.tvr:23: Invalid Op in node: wrong" in value, True)
    # A line that names the folder of the templates, and has a password.
    folder = str(space.root / "t") + "/"
    (space.root / "data.json").write_text(json.dumps(DATA).replace("100}", '{"PasswordString": "s3cret"}}'))
    space.client.change(path, PORTS.replace("Fmt: speed", f"Fmt: {folder}x"), 62)
    value = space.ask("hover", "ports", f"Fmt: {folder}x^ %s")["contents"]["value"]
    check("hover of a folder and a password", f" {folder}x <removed>\n" in value and "s3cret" not in value, True)
    (space.root / "data.json").write_text(json.dumps(DATA))
    space.client.change(path, PORTS, 63)


def test_slow_hover(space):
    """Nothing waits for a render that does not end, and it is ended when its answer is wanted no more."""
    path, client = space.files["ports"], space.client
    slow = "Cmd: mode0\nParent Cmd: config\n"
    for i in range(40):
        slow += "".join(f"Cmd: {jump}{i}\nParent Cmd: mode{i}\nOp: push_mode\nDest: mode{i + 1}\n" for jump in "ab")
        slow += f"Cmd: mode{i + 1}\nOp: no_op\n"
    slow += "Cmd: last\nParent Cmd: mode40\nOp: print_if\nFmt: last\nNewline:\n"
    children = Path(f"/proc/{client.process.pid}/task/{client.process.pid}/children")
    for version, (what, ends, code) in enumerate((
            ("changed", lambda: client.change(path, slow, 99), -32801),
            ("canceled", lambda: client.notify("$/cancelRequest", id="slow"), -32800),
            ("shut down", lambda: client.send(id="end", method="shutdown", params=None), -32800)), 20):
        client.change(path, slow, version)
        client.send(id="slow", method="textDocument/hover", params=client.at(path, *place(slow, "Fmt: la^st")))
        check(f"{what}: another answer", [space.shown(one) for one in space.ask("definition", "ports", "Parent Cmd: con^fig")],
              ["site 3 config"])
        check(f"{what}: a render", len(children.read_text().split()), 1)
        ends()
        check(what, client.wait(lambda message: message.get("id") == "slow")["error"]["code"], code)
        check(f"{what}: no render", children.read_text().split(), [])


def test_outline_and_format(space):
    def names(symbols):
        return [one["name"] if "children" not in one else {one["name"]: names(one["children"])} for one in symbols]
    got = space.client.request("textDocument/documentSymbol", textDocument={"uri": space.files["ports"].as_uri()})
    check("outline", names(got), [{"ports": [{"port": ["into-port"]}]}, {"port-mode": ["speed", "addresses"]}])
    found = space.client.request("workspace/symbol", query="port-")
    check("nodes by name", [one["name"] for one in found], ["port-mode"])

    path = space.files["site"]
    wanted = {"textDocument": {"uri": path.as_uri()}, "options": {"tabSize": 8, "insertSpaces": True}}
    check("formatted already", space.client.request("textDocument/formatting", **wanted), [])
    messy = SITE.replace("Op: get_one\nUri: /sys\n\n", "Uri:  /sys\nOp:get_one\n\n\n")
    space.client.change(path, messy, 70)
    edits = space.client.request("textDocument/formatting", **wanted)
    lines = messy.split("\n")
    check("one edit", len(edits), 1)
    start, end = edits[0]["range"]["start"], edits[0]["range"]["end"]
    check("of whole lines", (start["character"], end["character"]), (0, 0))
    check("formatted", "\n".join(lines[:start["line"]] + [edits[0]["newText"] + "\n".join(lines[end["line"]:])]), SITE)
    space.client.change(path, SITE.replace("Op: get_one", "Op: wrong"), 71)
    check("not formatted", str(space.client.request("textDocument/formatting", **wanted)),
          "-32803 site.tvr:8: Invalid Op in node: wrong")
    space.client.change(path, SITE, 72)


def test_findings(space):
    client, path = space.client, space.files["ports"]
    for version, (what, line, instead, wanted) in enumerate(MISTAKES, 80):
        client.change(path, PORTS.replace(f"{line}\n", f"{instead}\n", 1), version)
        check(what, client.findings(path, version), wanted)
    # By ranges, in units of UTF-16, in a file with CR LF: the second change counts from what the first one made.
    text = SITE.replace("\n", "\r\n")
    client.change(space.files["site"], text, 90)
    row, column = place(SITE, "Fmt: hostname %s 🖧 é^ %s")

    def change(start, end, with_text):
        return {"range": {"start": {"line": row, "character": start}, "end": {"line": row, "character": end}}, "text": with_text}
    client.notify("textDocument/didChange", textDocument={"uri": space.files["site"].as_uri(), "version": 91},
                  contentChanges=[change(column, column + 99, " %s %s"), change(column - 5, column - 2, "")])
    check("a slot too many", client.findings(space.files["site"], 91), ["14 empty-slot"])
    client.change(space.files["site"], SITE, 92)
    # What is told of other files when one is closed without its changes being saved.
    client.notify("textDocument/didClose", textDocument={"uri": path.as_uri()})
    check("closed", client.findings(path), [])
    client.open(path)
    fresh = path.parent / "unsaved.tvr"  # that nobody has saved
    client.open(fresh, "Cmd: speed\n")
    check("a file that is not there", client.findings(fresh), ["1 refused"])
    client.notify("textDocument/didClose", textDocument={"uri": fresh.as_uri()})
    check("findings are taken back", client.findings(fresh), [])
    client.change(path, PORTS, 94)
    check("all is well again", client.findings(path, 94), [])
    client.inbox.clear()
    (space.root / "data.json").write_text('{"records": {}}')
    client.notify("workspace/didChangeWatchedFiles", changes=[])
    check("other data", sorted({one.split()[1] for one in client.findings(path)}), ["unknown-path"])
    (space.root / "data.json").write_text('{"records": ')
    client.notify("workspace/didChangeWatchedFiles", changes=[])
    told = client.wait(lambda message: message.get("method") == "window/showMessage")["params"]["message"]
    check("data that does not load", told.startswith(f"tovra: {space.root}/data.json:1:"), True)


def test_malformed(space):
    client = space.client
    for what, body, wanted in MALFORMED:
        body = body.replace(b"SITE", space.files["site"].as_uri().encode())
        kind = b"Content-Type: application/vscode-jsonrpc; charset=utf-8\r\n" if "header" in what else b""
        client.raw(b"%scontent-length:  %d\r\n\r\n%s" % (kind, len(body), body))
        if wanted is None:  # the next answer is that of the next request
            check(what, client.request("workspace/symbol", query="none of them"), [])
            continue
        answer = client.wait(lambda message: "error" in message)
        check(what, answer["error"]["code"], wanted)
    client.raw(b"Content-Length: %d\r\n\r\n" % (65 << 20))
    for _ in range(65):
        client.raw(b" " * (1 << 20))
    check("too long", client.wait(lambda message: "error" in message)["error"]["message"], "the message is longer than 64 MiB")
    body = json.dumps({"id": "a", "method": "workspace/symbol", "params": {"query": "x"}}).encode()
    cancel = json.dumps({"method": "$/cancelRequest", "params": {"id": "a"}}).encode()
    client.raw(b"".join(b"Content-Length: %d\r\n\r\n%s" % (len(part), part) for part in (body, cancel, body)))
    got = [client.wait(lambda message: message.get("id") == "a") for _ in range(2)]
    check("canceled, and asked again", ["error" in answer and answer["error"]["code"] for answer in got], [-32800, False])


def test_life(program, folder):
    client = Client(program)
    check("before initialize", str(client.request("workspace/symbol", query="")), "-32002 the first request is initialize")
    client.initialize(folder, templates=7, speed=1)
    told = [client.wait(lambda message: message.get("method") == "window/showMessage")["params"]["message"] for _ in range(2)]
    check("settings that are none", told, ["tovra: the setting 'templates' is no text or array of texts",
                                           "tovra: no setting is 'speed': there are templates, data, classes"])
    client.request("shutdown")
    check("after shutdown", str(client.request("workspace/symbol", query="")), "-32600 the server is shut down")
    client.notify("exit")
    check("status after shutdown", client.process.wait(20), 0)
    for what, data, status in (("exit without shutdown", b'Content-Length: 17\r\n\r\n{"method":"exit"}', 1),
                               ("end of input", b"", 1),
                               ("end within a message", b"Content-Length: 10\r\n\r\n{", 1),
                               ("no length", b"Content-Type: a\r\n\r\n{}", 1),
                               ("a length that is none", b"Content-Length: 99999999999999999999\r\n\r\n", 1),
                               ("no header", b"x" * 5000, 1)):
        client = Client(program)
        client.raw(data)
        client.process.stdin.close()
        check(what, client.process.wait(20), status)


def test_folders(program, folder):
    """Without settings a file is checked with those of its folder, and one elsewhere by itself."""
    space = Workspace(program, folder, templates=[])
    check("a folder", space.client.findings(space.files["site"]), [])
    other = space.root / "other" / "a b.tvr"
    other.parent.mkdir()
    os.symlink(other.parent, space.root / "link")
    other.write_text("Cmd: hostname\nParent Cmd: config\n")
    space.client.open(space.root / "link/a b.tvr")
    check("another folder, by a link", space.client.findings(space.root / "link/a b.tvr"), ["1 no-config", "2 orphan"])
    space.client.notify("workspace/didChangeConfiguration",
                        settings={"tovra": {"templates": [str(space.root / "t"), "other"], "data": "data.json"}})
    check("two directories", space.client.findings(space.root / "link/a b.tvr"), ["1 refused"])
    (space.root / "classes.json").write_text('{"classes": {"/nothing": {"of": {}}}}')
    space.client.notify("workspace/didChangeConfiguration",
                        settings={"tovra": {"templates": [str(space.root / "t")], "classes": "classes.json"}})
    check("classes without data", space.client.findings(space.files["site"]), ["9 unknown-path"])
    check("status", space.client.end(), (0, ""))


def main():
    program = os.path.abspath(sys.argv[1])
    for test in (test_links, test_completion, test_hover, test_slow_hover, test_outline_and_format, test_findings, test_malformed):
        with tempfile.TemporaryDirectory() as folder:
            space = Workspace(program, Path(folder).resolve())
            test(space)
            check(f"{test.__name__}: status", space.client.end(), (0, ""))
    for test in (test_life, test_folders):
        with tempfile.TemporaryDirectory() as folder:
            test(program, Path(folder).resolve())
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
