#!/usr/bin/env python3
"""mistakes.py TOVRA: makes one mistake at a time in good templates, and holds what `tovra check --data` says to a table.

A row: what the author did, the line that is there, the lines instead, and the finding as `LINE ID words`, whose words
have to stand in its message. It has to be the only error, but for the ids that a row goes on with: errors that follow.
"""
import json
import pathlib
import subprocess
import sys
import tempfile

GOOD = """\
TvrLangVersion: 1
Cmd: config
Op: no_op

Cmd: ports
Parent Cmd: config
Op: get_collection
Uri: /port?port
Orderby: name

Cmd: port
Parent Cmd: ports
Op: print_if
Fmt: port %s speed %s
Props: /port/port;name=$ name:0 speed:1
Cond: (ne $tvr1 0)

Cmd: inside
Parent Cmd: ports
Op: push_mode
Dest: port-mode

Cmd: port-mode
Op: no_op

Cmd: note
Parent Cmd: port-mode
Op: print_if
Fmt: note %s%s
Props: /port/port;name=$ note:0:"text " state:1
ValueMap: 1 1 up

Cmd: system
Parent Cmd: config
Op: get_one
Uri: /system

Cmd: host
Parent Cmd: system
Op: print_if
Fmt: host %s
Props: /system host:0
"""
DATA = {"records": {"/port/port;name=a": {"name": "a", "speed": 10, "note": "x", "state": 1},
                    "/system": {"host": "h"}}}

MISTAKES = [
    ("the version is not known", "TvrLangVersion: 1", "TvrLangVersion: 2", "1 refused outside of supported range"),
    ("an op is misspelt", "Op: get_one", "Op: get_on", "35 refused did you mean get_one?"),
    ("a keyword is misspelt", "Fmt: host %s", "Fmt: host %s\nNewlin:", "42 unknown-line did you mean 'Newline:'?"),
    ("a parent is misspelt", "Parent Cmd: system", "Parent Cmd: sytem", "39 orphan did you mean system?"),
    ("a destination is misspelt", "Dest: port-mode", "Dest: port-mod", "21 jump did you mean port-mode?"),
    ("an id comes twice", "Cmd: host", "Cmd: port", "38 refused a.tvr:11 has that id"),
    ("a node is its own parent", "Parent Cmd: system", "Parent Cmd: host", "38 refused own ancestor"),
    ("a jump leads to where it stands", "Dest: port-mode", "Dest: ports", "21 jump-loop is being walked"),
    ("a 'Cmd:' is forgotten", "Cmd: inside", "", "19 repeated is a 'Cmd:' missing"),
    ("a 'Cmd:' has no id", "Cmd: host", "Cmd:", "38 nameless no 'Cmd:' with an id"),
    ("an 'Op:' is forgotten", "Op: get_one", "", "33 carried without 'Op:'", "scope"),
    ("a list has no URI", "Uri: /port?port", "", "5 refused Missing Uri"),
    ("a URI has two separators", "Uri: /system", "Uri: /system;a=$$", "36 refused two separators"),
    ("a list's URI has no '?'", "Uri: /port?port", "Uri: /port/port;name=$", "8 plain-path write /port?port", "key", "key",
     "key"),
    ("a single record's URI has a '?'", "Uri: /system", "Uri: /system?host", "36 single-read"),
    ("a property has no slot", "Props: /system host:0", "Props: /system host", "42 refused Ambiguous end of string in host"),
    ("a slot is beyond the format", "ValueMap: 1 1 up", "ValueMap: 2 1 up", "31 refused Invalid property index (2)"),
    ("a value has no replacement", "ValueMap: 1 1 up", "ValueMap: 1 1", "31 refused value map"),
    ("a slot is left empty", "Fmt: host %s", "Fmt: host %s %s", "41 empty-slot slot 1"),
    ("a tab stands between properties", "Props: /system host:0", "Props: /system host:0\tname:1", "42 tab write a space"),
    ("the format comes last", "Fmt: host %s\nProps: /system host:0", "Props: /system host:0\nFmt: host %s",
     "42 props-before-fmt move 'Fmt:' before line 41"),
    ("a condition is open", "Cond: (ne $tvr1 0)", "Cond: (ne $tvr1 0", "16 cond"),
    ("a condition names nothing", "Cond: (ne $tvr1 0)", "Cond: (ne $tvr7 0)", "16 cond-name tvr7"),
    ("a line is of a record that is not read", "Props: /system host:0", "Props: /stem host:0", "42 scope"),
    ("a key has another name", "Props: /port/port;name=$ name:0 speed:1", "Props: /port/port;id=$ name:0 speed:1", "15 unknown-property no property 'id'"),
    ("a path is misspelt", "Uri: /port?port", "Uri: /port?prt", "8 unknown-path did you mean /port/port?", "key", "key"),
    ("a property is misspelt", "Props: /system host:0", "Props: /system hots:0", "42 unknown-property did you mean host?"),
    ("an order names nothing", "Orderby: name", "Orderby: nam", "9 unknown-property did you mean name?"),
    ("a filter has no name", "Orderby: name", "Query: =$a", "9 refused Failed to parse query"),
    ("an op does not read a line", "Op: no_op\n\nCmd: note", "Op: no_op\nUri: /a\n\nCmd: note", "25 discarded"),
]


def check(tovra, folder, text):
    (folder / "t" / "a.tvr").write_text(text)
    run = subprocess.run([tovra, "check", "--templates", folder / "t", "--data", folder / "data.json", "--format", "json"],
                         capture_output=True, text=True, timeout=60)
    return json.loads(run.stdout) if run.stdout else [{"line": 0, "id": run.stderr, "message": "", "severity": "error"}]


def wrong(found, wanted, *follows):
    line, rule, *words = wanted.split(" ", 2)
    hits = [f for f in found if (f["line"], f["id"]) == (int(line), rule) and (not words or words[0] in f["message"])]
    errors = [f["id"] for f in found if f not in hits and f["severity"] == "error"]
    return not hits or errors != list(follows)


def main():
    faults = 0
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "t").mkdir()
        (folder / "data.json").write_text(json.dumps(DATA))
        rows = [("nothing", "", "", None), *MISTAKES]
        for what, old, new, wanted, *follows in rows:
            assert GOOD.count(old + "\n") == 1 or wanted is None, f"{what}: {old!r} stands {GOOD.count(old)} times"
            found = check(sys.argv[1], folder, GOOD.replace(old + "\n", new + "\n", 1) if wanted else GOOD)
            if found if wanted is None else wrong(found, wanted, *follows):
                faults += 1
                print(f"{what}: wanted {wanted}, found:")
                for f in found:
                    print(f"  {f['line']} {f['severity']} {f['id']} {f['message']}")
    print(f"{len(MISTAKES)} mistakes, {faults} not told as the table says")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
