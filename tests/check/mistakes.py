#!/usr/bin/env python3
"""mistakes.py TOVRA: makes one mistake at a time in good templates, and holds what `tovra check --data` says to a table.

A row: what the author did, the lines that are there, in the templates or the data, the lines instead, and the finding as
`LINE ID words`, whose words have to stand in its message. It has to be the only error: what follows is folded under it.
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
Newline:

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
Props: /port/port;name=$ note:0 state:1
ValueMap: 1 1 up
Newline:

Cmd: system
Parent Cmd: config
Op: get_one
Uri: /system

Cmd: host
Parent Cmd: system
Op: print_if
Fmt: host %s
Props: /system host:0
Newline:

Cmd: more
Parent Cmd: system
Op: print_if
Fmt: , more
"""
DATA = """\
{"classes": {"/port/port": {"state": {"enum": [1, 2]}}}, "records": {
"/port/port;name=a": {"name": "a", "speed": 10, "note": "9", "state": 1},
"/port/port;name=b": {"name": "b", "speed": 100, "note": "10", "state": 2},
"/system": {"host": "h"}
}}
"""

MISTAKES = [
    ("the version is not known", "TvrLangVersion: 1", "TvrLangVersion: 2", "1 refused outside of supported range"),
    ("an op is misspelt", "Op: get_one", "Op: get_on", "37 refused did you mean get_one?"),
    ("a keyword is misspelt", "Fmt: host %s", "Fmt: host %s\nNewlin:", "44 unknown-line did you mean 'Newline:'?"),
    ("a parent is misspelt", "Parent Cmd: system", "Parent Cmd: sytem", "41 orphan did you mean system?"),
    ("a destination is misspelt", "Dest: port-mode", "Dest: port-mod", "22 jump did you mean port-mode?"),
    ("an id comes twice", "Cmd: host", "Cmd: port", "40 refused a.tvr:11 has that id"),
    ("a node is its own parent", "Parent Cmd: system", "Parent Cmd: host", "40 refused own ancestor"),
    ("a jump leads to where it stands", "Dest: port-mode", "Dest: ports", "22 jump-loop is being walked"),
    ("a 'Cmd:' is forgotten", "Cmd: inside", "", "20 repeated is a 'Cmd:' missing"),
    ("a 'Cmd:' has no id", "Cmd: host", "Cmd:", "40 nameless these lines pass to 'more'"),
    ("an 'Op:' is forgotten", "Op: get_one", "", "35 carried without 'Op:'"),
    ("a list has no URI", "Uri: /port?port", "", "5 refused Missing Uri"),
    ("a URI has two separators", "Uri: /system", "Uri: /system;a=$$", "38 refused two separators"),
    ("a list's URI has no '?'", "Uri: /port?port", "Uri: /port/port;name=$", "8 plain-path write /port?port"),
    ("a single record's URI has a '?'", "Uri: /system", "Uri: /system?host", "38 single-read"),
    ("a property has no slot", "Props: /system host:0", "Props: /system host", "44 refused Ambiguous end of string in host"),
    ("a slot is beyond the format", "ValueMap: 1 1 up", "ValueMap: 2 1 up", "32 refused Invalid property index (2)"),
    ("a value has no replacement", "ValueMap: 1 1 up", "ValueMap: 1 1", "32 refused value map"),
    ("a slot is left empty", "Fmt: host %s", "Fmt: host %s %s", "43 empty-slot slot 1"),
    ("a tab stands between properties", "Fmt: host %s\nProps: /system host:0",
     "Fmt: host %s %s\nProps: /system host:0\tname:1", "44 tab write a space"),
    ("the format comes last", "Fmt: host %s\nProps: /system host:0", "Props: /system host:0\nFmt: host %s",
     "44 props-before-fmt move 'Fmt:' before line 43"),
    ("a condition is open", "Cond: (ne $tvr1 0)", "Cond: (ne $tvr1 0", "16 cond"),
    ("a condition names nothing", "Cond: (ne $tvr1 0)", "Cond: (ne $tvr7 0)", "16 cond-name tvr7"),
    ("a line is of a record that is not read", "Props: /system host:0", "Props: /stem host:0", "44 scope"),
    ("a key has another name", "Props: /port/port;name=$ name:0 speed:1", "Props: /port/port;id=$ name:0 speed:1", "15 unknown-property no property 'id'"),
    ("a path is misspelt", "Uri: /port?port", "Uri: /port?prt", "8 unknown-path did you mean /port/port?"),
    ("a property is misspelt", "Props: /system host:0", "Props: /system hots:0", "44 unknown-property did you mean host?"),
    ("an order names nothing", "Orderby: name", "Orderby: nam", "9 unknown-property did you mean name?"),
    ("a filter has no name", "Orderby: name", "Query: =$a", "9 refused Failed to parse query"),
    ("a blank before the end of a line", "Fmt: host %s", "Fmt: host %s ", "43 dropped-blank 'more' goes on"),
    ("a blank where a line goes on", "Fmt: , more", "Fmt:  more", "50 dropped-blank at the start"),
    ("a line goes on in a submode", "ValueMap: 1 1 up\nNewline:", "ValueMap: 1 1 up", "27 mid-line 1 blank"),
    ("a number is compared with a text", "Cond: (ne $tvr1 0)", 'Cond: (ne $tvr1 "0")', "16 literal always holds"),
    ("a value is none of its class", "ValueMap: 1 1 up", "ValueMap: 1 1 up\nCond: (eq $tvr1 3)", "33 literal does not allow"),
    ("a comparison is of texts", "Props: /port/port;name=$ name:0 speed:1\nCond: (ne $tvr1 0)", "Props: /port/port;name=$ name:0 note:1\nCond: (gt $tvr1 5)", "16 text-number"),
    ("an order is of texts", "Orderby: name", "Orderby: note", "9 text-number 10 before 9"),
    ("a value is laid out as an array", "Props: /port/port;name=$ note:0 state:1", "Props: /port/port;name=$ note:0::multiline state:1", "31 no-array write note:0"),
    ("a number is given as a text", '"speed": 100', '"speed": "100"', "3 kind write a number"),
    ("an array is given for a value", '"note": "10"', '"note": ["10"]', "3 kind by its elements"),
    ("a record's key has another name", '"/port/port;name=b": {"name": "b",', '"/port/port;id=b": {"name": "b",',
     "3 key-names which has ';name'"),
    ("a record has no parent", '"host": "h"}', '"host": "h"},\n"/port/port;name=c/unit;id=1": {}', "5 no-parent /port/port;name=c"),
    ("an op does not read a line", "Op: no_op\n\nCmd: note", "Op: no_op\nUri: /a\n\nCmd: note", "26 discarded"),
]


def check(tovra, folder, text, data):
    (folder / "t" / "a.tvr").write_text(text)
    (folder / "data.json").write_text(data)
    run = subprocess.run([tovra, "check", "--templates", folder / "t", "--data", folder / "data.json", "--format", "json"],
                         capture_output=True, text=True, timeout=60)
    return json.loads(run.stdout) if run.stdout else [{"line": 0, "id": run.stderr, "message": "", "severity": "error"}]


def wrong(found, wanted):
    line, rule, *words = wanted.split(" ", 2)
    hits = [f for f in found if (f["line"], f["id"]) == (int(line), rule) and (not words or words[0] in f["message"])]
    return not hits or any(f["severity"] == "error" for f in found if f not in hits)


def main():
    faults = 0
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "t").mkdir()
        version = "TvrLangVersion: 1"
        for what, old, new, wanted in [("nothing", version, version, None), *MISTAKES]:
            text = ("\n" + GOOD).replace(f"\n{old}\n", f"\n{new}\n", 1)[1:]
            data = DATA.replace(old, new)
            assert wanted is None or (text == GOOD) != (data == DATA), f"{what}: where is {old!r}?"
            found = check(sys.argv[1], folder, text, data)
            if found if wanted is None else wrong(found, wanted):
                faults += 1
                print(f"{what}: wanted {wanted}, found:")
                for f in found:
                    print(f"  {f['line']} {f['severity']} {f['id']} {f['message']}")
    print(f"{len(MISTAKES)} mistakes, {faults} not told as the table says")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
