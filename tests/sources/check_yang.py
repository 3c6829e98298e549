#!/usr/bin/env python3
"""check_yang.py TOVRA [--failing LIBRARY]: YANG data as records: what becomes what, what is refused and where, hostile
documents, and every call of libyang failing once (LIBRARY is loaded before it)."""
import argparse
import json
import os
import random
import subprocess
import sys
import tempfile
from pathlib import Path

# What the body of module m, a document and options become: some classes and all records.
MAPPING = (
    ("containers, leaves and types",
     """container c { leaf s { type string; } leaf i { type int64; } leaf u { type uint64; } leaf b { type boolean; }
        leaf e { type empty; } leaf d { type decimal64 { fraction-digits 2; } } leaf p { type decimal64
        { fraction-digits 9; } } leaf x { type binary; } leaf bits { type bits { bit one; bit two; } }
        leaf way { type enumeration { enum up; enum down; } } leaf id { type instance-identifier; } }""",
     {"m:c": {"s": "a\tb\"\\\u00e9", "i": "-9223372036854775808", "u": "18446744073709551615", "b": False, "e": [None],
              "d": "10.00", "p": "0.0001", "x": "aGk=", "bits": "two one", "way": "up", "id": "/m:c/s"}}, (),
     {"/c": {"s": {"kind": "text"}, "i": {"kind": "number"}, "u": {"kind": "number"}, "b": {"kind": "boolean"},
             "e": {"kind": "boolean"}, "d": {"kind": "number"}, "p": {"kind": "text"}, "x": {"kind": "text"},
             "bits": {"kind": "text"}, "way": {"kind": "text", "enum": ["down", "up"]}, "id": {"kind": "text"}}},
     {"/c": {"s": "a\tb\"\\\u00e9", "i": -2**63, "u": 2**64 - 1, "b": False, "e": True, "d": 10, "p": "0.0001",
             "x": "aGk=", "bits": "one two", "way": "up", "id": "/m:c/s"}}),
    ("lists in the order of their keys, and of the data",
     """list n { key "i t"; leaf i { type uint16; } leaf t { type string; } }
        list o { key k; ordered-by user; leaf k { type string; } list below { key k; leaf k { type int8; } } }
        container c { leaf-list sorted { type uint8; } leaf-list user { type uint8; ordered-by user; } }""",
     {"m:n": [{"i": 10, "t": "a"}, {"i": 9, "t": "b/;=%"}, {"i": 9, "t": ""}],
      "m:o": [{"k": "z", "below": [{"k": 2}, {"k": -1}]}, {"k": "a"}],
      "m:c": {"sorted": [10, 9], "user": [10, 9]}}, (), {"/o": {"k": {"kind": "text"}}},
     {"/n;i=9;t=": {}, "/n;i=9;t=b%2F%3B%3D%25": {}, "/n;i=10;t=a": {},
      "/o;k=z": {}, "/o;k=z/below;k=-1": {}, "/o;k=z/below;k=2": {}, "/o;k=a": {},
      "/c": {"sorted": [9, 10], "user": [10, 9]}}),
    ("keys that refer to numbers, numbers that are texts or large, empty keys",
     """list n { key i; leaf i { type uint64; } } list r { key i; leaf i { type leafref { path "/m:n/m:i"; } } }
        list d { key "e i"; leaf e { type empty; } leaf i { type decimal64 { fraction-digits 4; } } }""",
     {"m:n": [{"i": "9007199254740993"}, {"i": "9007199254740992"}, {"i": "9"}], "m:r": [{"i": "9007199254740992"}, {"i": "9"}],
      "m:d": [{"e": [None], "i": "10"}, {"e": [None], "i": "9.5"}]}, (), {"/r": {"i": {"kind": "number"}}},
     {"/n;i=9": {}, "/n;i=9007199254740992": {}, "/n;i=9007199254740993": {}, "/r;i=9": {}, "/r;i=9007199254740992": {},
      "/d;e=true;i=9.5": {}, "/d;e=true;i=10.0": {}}),
    ("choices vanish; defaults where they are in force",
     """container c { choice way { default a; case a { leaf x { type int8; default 5; } } case b { container y {
        leaf z { type string; default "zz"; } } } } leaf w { when "../y"; type int8; default 1; }
        leaf-list l { type string; default b; default a; } }
        typedef set { type int8; default 1; } container all { leaf a { type set; mandatory true; }
        leaf-list b { type set; min-elements 1; } } container there { presence "p"; leaf z { type int8; default 1; } } container none { presence "p"; }""",
     {"m:c": {"y": {"z": "q"}}, "m:all": {"a": 1, "b": [1]}, "m:there": {}}, (),
     {"/c": {"x": {"kind": "number", "default": 5}, "w": {"kind": "number", "default": 1},
             "l": {"kind": "array", "default": ["a", "b"]}}, "/none": {},
      "/all": {"a": {"type": "set", "kind": "number"}, "b": {"type": "set", "kind": "array"}}},
     {"/c": {"x": None}, "/c/y": {"z": "q"}, "/all": {"a": 1, "b": [1]}, "/there": {}}),
    ("state is left out, whole or not",
     """container c { leaf a { type string; } leaf s { type string; config false; mandatory true; }
        list l { config false; leaf x { type string; } } container all { config false; leaf m { type string; mandatory
        true; } } } container only { config false; leaf x { type string; } }""",
     {"m:c": {"l": [{"x": "1"}, {"x": "1"}], "all": {}, "a": "b"}, "m:only": {"x": "y"}}, (),
     {"/c": {"a": {"kind": "text"}}}, {"/c": {"a": "b"}}),
    ("typedefs, unions, references, identities",
     """typedef pct { type uint8; default 7; } typedef either { type union { type uint8; type string; } }
        identity base; identity one { base base; } identity two { base one; }
        container c { leaf p { type pct; } leaf u { type either; } leaf v { type either; } leaf same { type union {
        type uint8; type int64; } } leaf r { type leafref { path "../p"; } } leaf i { type identityref { base base; } }
        } list l { key k; leaf k { type either; } }""",
     {"m:c": {"u": 5, "v": "x", "same": "-300", "r": 7, "i": "two"}, "m:l": [{"k": "x"}, {"k": 10}, {"k": 9}]}, (),
     {"/c": {"p": {"type": "pct", "kind": "number", "default": 7}, "u": {"type": "either"}, "v": {"type": "either"},
             "same": {"kind": "number"}, "r": {"kind": "number"}, "i": {"kind": "text", "enum": ["one", "two"]}}},
     {"/c": {"u": 5, "v": "x", "same": -300, "r": 7, "i": "two"},
      "/l;k=9": {"k": 9}, "/l;k=10": {"k": 10}, "/l;k=x": {}}),
    ("identities of several bases, by way of a module that is only imported, and of a feature that is off",
     """feature off; identity b; identity far { base o:same; } identity both { base o:thing; base b; } identity no {
        if-feature off; base o:thing; } container c { leaf i { type identityref { base o:thing; } } leaf two { type
        identityref { base o:thing; base b; } } }""",
     {"m:c": {"i": "far", "two": "both"}}, (),
     {"/c": {"i": {"kind": "text", "enum": ["both", "far"]}, "two": {"kind": "text", "enum": ["both"]}}},
     {"/c": {"i": "far", "two": "both"}}),
    ("secrets by the module, by type and by path",
     """typedef word { type string; } typedef longer { type word; } container c { leaf a { nacm:default-deny-all; type
        string; } leaf b { type longer; } leaf open { type string; } leaf same { type union { type leafref { path
        "../again"; } type int8; } } leaf again { type leafref { path "../b"; } } container all { leaf x { type int8; }
        leaf-list y { type string; ordered-by user; } list l { key k; leaf k { type string; } leaf z { type union {
        type word; type int8; } } } } }""",
     {"m:c": {"a": "1", "b": "2", "open": "3", "same": "2", "again": "2", "all": {"x": 4, "y": ["6", "5"], "l": [{"k": "7", "z": "8"}]}}},
     ("--yang-secret", "word", "--yang-secret", "/m:c/all"),
     {"/c": {"a": {"type": "PasswordString", "kind": "text"}, "b": {"type": "PasswordString", "kind": "text"},
             "open": {"kind": "text"}, "again": {"type": "PasswordString", "kind": "text"}, "same": {"type": "PasswordString"}},
      "/c/all": {"x": {"type": "PasswordString", "kind": "number"}, "y": {"type": "PasswordString", "kind": "text"}},
      "/c/all/l": {"k": {"kind": "text"}, "z": {"type": "PasswordString"}}},
     {"/c": {"a": "1", "b": "2", "open": "3", "same": "2", "again": "2"}, "/c/all": {"x": 4, "y": "6 5"}, "/c/all/l;k=7": {"z": "8"}}),
    ("names that are not alone, features, leaves above all",
     """container c { leaf a { type string; } leaf _uri { type string; } container d; leaf f { if-feature on; type
        string; } leaf g { if-feature off; type string; } leaf i { type identityref { base o:thing; } } }
        identity same { base o:thing; } identity other { base o:thing; } feature on; feature off;
        leaf top { type o:word; } leaf-list tops { type int8; }""",
     {"m:c": {"a": "1", "p:a": "2", "_uri": "3", "p:d": {}, "f": "4", "i": "o:same"}, "m:top": "t", "m:tops": [2, 1]},
     ("--yang-module", "m:on", "--yang-module", "o", "--yang-module", "p@2026-01-01", "--yang-secret", "o:word"),
     {"/c": {"m.a": {"kind": "text"}, "m._uri": {"kind": "text"}, "f": {"kind": "text"},
             "i": {"kind": "text", "enum": ["m:same", "o:same", "other"]}, "p.a": {"kind": "text"}},
      "/c/m:d": {}, "/c/p:d": {}},
     {"/": {"top": {"PasswordString": "t"}, "tops": [1, 2]},
      "/c": {"m.a": "1", "m._uri": "3", "f": "4", "i": "o:same", "p.a": "2"}, "/c/m:d": {}, "/c/p:d": {}}),
)

OTHERS = {
    "o": """module o { namespace "urn:o"; prefix o; typedef word { type string; } identity thing;
      identity same { base thing; } }""",
    "p": """module p { yang-version 1.1; namespace "urn:p"; prefix p; import m { prefix m; } revision 2026-01-01;
      augment "/m:c" { leaf a { type string; } container d; } }""",
    "bad": "module bad {\n prefix }", "part": "submodule part {\n prefix }",
    "parted": 'module parted { namespace "urn:w"; prefix w; include part; }',
    "worse": 'module worse { namespace "urn:w"; prefix w;\nleaf x { type no; } }',
    "used": """module used { namespace "urn:" + 'u;{'; prefix u; // container c {
      grouping g { leaf x { type no; } } /* container c { */ container b { leaf c { type string; } }
      container "c" { description "\\"}";
        leaf y { type string; } uses g; } }""",
    "shorter": """module shorter { namespace "urn:s"; prefix s;
      choice w {
        leaf x { type int8; default 300; } } }""",
    "changed": """module changed { namespace "urn:c"; prefix c; import o { prefix o; }
      deviation /o:none { deviate not-supported; } }"""}

BODY = """container c { leaf n { type uint8; } leaf s { type string { pattern "[a-z]*"; } } leaf w { when "../n > 5"; type
  string; } leaf r { type leafref { path "../n"; } } leaf d { type decimal64 { fraction-digits 1; } } anydata any;
  leaf hr { type leafref { path "../h"; } } leaf h { nacm:default-deny-all; type decimal64 { fraction-digits 1; } } leaf-list sl { nacm:default-deny-all; type string; }
  list l { key k; leaf k { type string; } leaf p { nacm:default-deny-all; type string { length 5; } } leaf m { type string; mandatory true; } leaf-list ll { type int8; }
  container in { presence ""; leaf-list few { type int8; min-elements 2; max-elements 3; } choice w { mandatory true;
  leaf x { type int8; } } } } }"""
REFUSED = (  # a document, and what is said of it
    ('{"m:c": {\n"n": 256}}', 'f:2: /m:c/n: Value "256" is out of type uint8 min/max bounds'),
    ('<c xmlns="urn:m">\n<n>256</n></c>', 'f:2: /m:c/n: Value "256" is out of type uint8 min/max bounds'),
    ('{"m:c": {\n"s": "A"}}', 'f:2: /m:c/s: Unsatisfied pattern - "A" does not conform to "[a-z]*"'),
    (' \n\n{"m:c": {"x": 1}}', 'f:3: /m:c: Node "x" not found as a child of "c" node'),
    ('{"x:c": {}}', 'f:1: No module named "x" in the context'),
    ('<c xmlns="urn:x"/>', 'f:1: No module with namespace "urn:x" in the context'),
    ('{"m:c": {"n": 1,\n"w": "x"}}', 'f:2: /m:c/w: When condition "../n > 5" not satisfied'),
    ('{"ietf-restconf:data":\n{"m:c": {"n": 1,\n"r": 2}}}', 'f:3: /m:c/r: Invalid leafref value "2" - no target instance "../n"'),
    ('{"m:c": {"l": [{"k": "z", "m": ""},\n{"k": "a"}]}}', 'f:2: /m:c/l[k=\'a\']/m: Mandatory node "m" instance does'),
    ('{"m:c": {"l": [{"k": "z", "m": "", "in": {"x": 1, "few": [1, 2]}},\n{"k": "a", "m": "", "in": {"few": [1]}}]}}', "f:2: /m:c/l[k='a']/in/few: Too few"),
    ('{"m:c": {"l": [{"k": "z", "m": "", "in": {"x": 1, "few": [1, 2]}},\n{"k": "a", "m": "", "in": {"x": 1, "few": [1, 2, 3, 4]}}]}}',
     "f:2: /m:c/l[k='a']/in/few[.='4']: Too many"),
    ('{"m:c": {"l": [{"k": "z", "m": "", "in": {"x": 1, "few": [1, 2]}},\n{"k": "a", "m": "", "in": {"few": [1, 2]}}]}}', "f:2: /m:c/l[k='a']/in/w: Mandatory choice"),
    ('<!--<c>--><c xmlns="urn:m"><?l <l>?>\n<l><k>z</k><m><![CDATA[<l>]]></m></l>\n<l><k>y</k><m/></l>\n<l><k>a</k></l></c>',
     "f:4: /m:c/l[k='a']/m: Mandatory"),
    ('<data xmlns="urn:ietf:params:xml:ns:netconf:base:1.0">\n<c xmlns="urn:m">\n<l>\n<k>z</k><m/>\n<ll>1</ll><ll>2</ll>\n<ll>1</ll></l></c></data>',
     "f:6: /m:c/l[k='z']/ll[.='1']: Duplicate"),
    ('{"m:c": {"l": [{"m": "a"}]}}', 'f:1: /m:c/l: List instance is missing its key "k"'),
    ('{"m:c": {"l": [{"k": "a", "m": ""}, {"k": "0", "m": ""},\n{"k": "a", "m": ""}]}}', "f:2: /m:c/l[k='a']: Duplicate instance of \"l\""),
    ('{"m:c": {"l": [{"k": "a", "m": "", "ll": [1,\n2, 1\n]}]}}', "f:2: /m:c/l[k='a']/ll[.='1']: Duplicate instance of \"ll\""),
    ('{"m:c": {"l": [{"k": "]\'", "p": "hidden"}]}}', "f:1: /m:c/l[k=\"]'\"]/p: the value of a secret is not valid"),
    ('{"m:c": {"l": [{"k": "location \\\"/", "p": "hidden"}]}}', "f:1: /m:c/l[k='location \"/']/p: the value of a secret is not valid"),
    ('{"m:c": {"l": [{"k": "\\\", line number 9.", "p": "hidden"}]}}', "f:1: /m:c/l[k='\", line number 9.']/p: the value of a secret is not valid"),
    ('{"m:c": {"l": [{"k": "\'\\\"]/x", "p": "hidden"}]}}', "f:1: /m:c/l[k=\"'\"]/x\"]/p: the value of a secret is not valid"),
    ('{"m:c": {"hr": "77.7"}}', "f:1: /m:c/hr: the value of a secret is not valid"),
    ('{"m:c": {"sl": ["hidden",\n"hidden"]}}', "f:2: /m:c/sl: the value of a secret is not valid"),
    ('{"m:c": {"sl": [hidden]}}', 'f:1: /m:c: Invalid character sequence "...", expected a JSON value'),
    ('<c xmlns="urn:m"><l>hidden</l></c>', 'Text value "..." found'),
    ('<c xmlns="urn:m"><l><k>a</k><<p>hidden</p></l></c>', 'f:1: /m:c/l/k: Identifier "..." starts with an invalid character'),
    ('{"m:c":\n{"d": "123456789012345.6"}}', "f:2: /m:c/d: 123456789012345.6 has more digits than a number keeps"),
    ('{"m:c": {"h": "123456789012345.6"}}', "f:1: /m:c/h: a secret has more digits than a number keeps"),
    ('<c xmlns="urn:m">\n<any/></c>', "f:2: /m:c/any: no record holds the data of anydata"),
    ('{"m:c": {"n": 1}\n', "f:2: "), ('{"m:c": {"n": 1}} \n x', "f:2: text after the end of the document"),
    ('<c xmlns="urn:m"><n>1</n>', "f:1: "), ('<c xmlns="urn:m"/>\nx', "f:2: "), ("", "f:1: the document is empty"),
    (" \n", "f:1: the document is empty"), ('{"m:c":\n"\0"}', "f:2: a NUL byte"), ('{"m:c": {"s": "\xff"}}', "f:1: "),
    ("[]", "f:1: Expected top-level JSON object"),
)
MODULES = (  # options, and what is said of them
    (("--yang-module", "none"), 'YANG module none: Data model "none" not found in local searchdirs'),
    (("--yang-module", "m:no"), 'Feature "no" not found in module "m"'),
    (("--yang-module", "m", "--yang-dir", "none"), 'Unable to use search directory "none"'),
    (("--yang-module", "bad"), "bad.yang:2: Invalid character sequence"),
    (("--yang-module", "parted"), "part.yang:2: Invalid keyword"),
    (("--yang-module", "worse"), 'worse.yang:2: /worse:x: Referenced type "no" not found'),
    (("--yang-module", "used"), "used.yang:4: /used:c/{uses='g'}/x: Referenced type"),
    (("--yang-module", "shorter"), "shorter.yang:3: /shorter:"),
    (("--yang-module", "changed"), "changed.yang:2: /o:{deviation='/o:none'}: Deviation"),
    (("--yang-module", "m", "--yang-secret", "wrod"), 'of the type or path "wrod", which is to be secret'),
    (("--yang-module", "m", "--yang-secret", "/c/l/k"), "/c/l/k: a key cannot be secret: it stands in URIs"),
    ((), "YANG data need the names of their modules"),
)
TEMPLATES = """Cmd: config
Cmd: c
Parent Cmd: config
Op: get_one
Uri: /c
Cmd: n
Parent Cmd: c
Op: print_if
Fmt: n %s %s
Props: /c n:0 {}:1
Newline:
Cmd: l
Parent Cmd: config
Op: get_collection
Uri: /c?{}
"""


class Checks:
    def __init__(self, program, folder):
        self.program, self.folder, self.faults = program, Path(folder), 0
        for name, text in OTHERS.items():
            self.write(f"mods/{name}.yang", text)

    def write(self, name, text):
        (self.folder / name).parent.mkdir(exist_ok=True)
        (self.folder / name).write_bytes(text.encode("latin-1" if "\xff" in text else "utf-8"))

    def module(self, body):
        needs = {"nacm": "ietf-netconf-acm", "o": "o"}
        imports = "".join(f"import {name} {{ prefix {prefix}; }}" for prefix, name in needs.items() if prefix + ":" in body)
        self.write("mods/m.yang", 'module m { yang-version 1.1; namespace "urn:m"; prefix m; ' + imports +
                   "revision 2026-01-01; " + body + "}")

    def run(self, *args, **env):
        return subprocess.run([self.program, *args], cwd=self.folder, capture_output=True, text=True, timeout=100,
                              env={**os.environ, **env})

    def export(self, *options, **env):
        modules = () if "--yang-module" in options else ("--yang-module", "m")
        return self.run("export", "yang:f", "--yang-dir", "mods", "--yang-dir", "/usr/share/yuma/modules/ietf", *modules,
                        *options, **env)

    def expect(self, what, holds, got=None):
        if not holds:
            self.faults += 1
            print(f"{what}: not so", *([got.returncode, got.stdout[-3000:], got.stderr[-1000:]] if got else []), sep="\n  ")

    def mapping(self):
        for what, body, document, options, classes, records in MAPPING:
            self.module(body)
            self.write("f", json.dumps(document))
            got = self.export(*options)
            made = json.loads(got.stdout) if got.returncode == 0 else {"classes": {}, "records": {}}
            self.expect(what, {path: made["classes"].get(path) for path in classes} == classes and
                        list(made["records"].items()) == list(records.items()), got)
            # What was made is a data file.
            self.write("made.json", got.stdout)
            self.expect(what + ", read again", self.run("get", "--data", "made.json").returncode == 0)

    def envelopes(self):
        """The same data in the ways in which servers answer them."""
        self.module("container c { leaf n { type uint8; } }")
        base = 'xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"'
        inner = '<c xmlns="urn:m"><n>1</n></c>'
        for text in ('{"m:c": {"n": 1}}', '{"ietf-restconf:data": {"m:c": {"n": 1}}}', inner,
                     f'<?xml version="1.0"?><!-- a --><data {base}>{inner}</data>\n',
                     f'<rpc-reply message-id="1" {base}>\n<data>{inner}</data>\n</rpc-reply>',
                     f'<nc:config xmlns:nc="urn:ietf:params:xml:ns:netconf:base:1.0">{inner}</nc:config>'):
            self.write("f", text)
            got = self.export()
            self.expect(text, '"/c":{"n":1}' in got.stdout, got)
        self.write("f", f"<data {base.replace(chr(34), chr(39))}/>")
        self.expect("no data at all", '"/c":{}' in self.export().stdout)
        for text, line in ((f'<data {base}>\n\n<c xmlns="urn:m"><n>x</n></c></data>', 3),
                           ('{"ietf-restconf:data":\n {"m:c": {"n": "x"}}}', 2), (f"<data {base}>\n{inner}", None),
                           (f"<data {base}>{inner}</data>\n{inner}", 1), (f"<data {base}>{inner}</data>x", 1),
                           (f'<rpc-reply {base}>\n<data xmlns="urn:x">{inner}</data></rpc-reply>', 2),
                           ('{"ietf-restconf:data": {"m:c": {}},\n"m:c": {"n": 1}}', 1)):
            self.write("f", text)
            got = self.export()
            self.expect(text, got.returncode == 1 and got.stderr.startswith(f"f:{line or ''}"), got)

    def refusals(self):
        self.module(BODY)
        for text, words in REFUSED:
            self.write("f", text)
            got = self.export()
            self.expect(f"{text!r} tells no secret", "hidden" not in got.stderr)
            self.expect(f"{text!r} is refused", got.returncode == 1 and words in got.stderr and got.stdout == "", got)
        self.module("leaf top { type string; mandatory true; }")
        self.write("f", "\n{}")
        got = self.export()
        self.expect("nothing of the document", got.stderr.startswith('f:2: /m:top: Mandatory node "top"'), got)
        self.module(BODY)
        self.write("f", "{}")
        for options, words in MODULES:
            folders = ("--yang-dir", "mods", "--yang-dir", "/usr/share/yuma/modules/ietf")
            got = self.run("export", "yang:f", *folders, *options)
            self.expect(f"{options} are refused", got.returncode == 1 and words in got.stderr, got)

    def templates(self):
        """Templates against the modules: with data, and alone."""
        self.module("container c { leaf n { type uint8; } leaf s { type string; } list l { key k; leaf k { type int8; } } "
                    "container o { leaf x { type string; } } } leaf top { type string; }")
        self.write("f", '{"m:c": {"n": 1}, "m:top": "x"}')
        for prop, path, words in (("s", "l", ("unread-property]: no template uses 'k' of /c/l", "no template reads /c/o")),
                                  ("t", "l", ("error [unknown-property]: records of /c have no property 't'", "/c/o")),
                                  ("s", "z", ("error [unknown-path]: the data has no record and no class /c/z", "/c/o"))):
            self.write("t/a.tvr", TEMPLATES.format(prop, path))
            for data in (("--data", "yang:f"), ()):
                got = self.run("check", "--templates", "t", "--yang-dir", "mods", "--yang-module", "m", *data)
                self.expect(f"check tells of {prop} {path} {data}", all(each in got.stdout for each in words) and
                            ("reads / (1 record): top" in got.stdout) == (data != ()) and
                            (got.returncode == 1) == ("error" in words[0]), got)
        self.write("case/args", "all: render --templates ../t --data yang:../f --yang-dir ../mods --yang-module m\n")
        self.run("test", "case", "--update")
        got = self.run("test", "case", "--coverage=json:covered")
        files = [each["file"] for each in json.loads((self.folder / "covered").read_text())["data"]]
        self.expect(f"coverage names the data {files}", files == ["yang:f"], got)

    def hostile(self):
        self.module(BODY)
        whole = json.dumps({"m:c": {"n": 7, "w": "x", "l": [{"k": str(n), "m": "x" * n, "ll": [n]} for n in range(9)]}})
        xml = '<c xmlns="urn:m"><n>7</n><l><k>a</k><m>x</m></l><!-- c --><w>x</w></c>'
        rand = random.Random(7)
        texts = [text[:rand.randrange(len(text))] for text in (whole, xml) for _ in range(20)]
        for text in (whole, xml):
            for _ in range(20):
                at = rand.randrange(len(text))
                texts.append(text[:at] + chr(rand.randrange(1, 127)) + text[at + 1:])
        deep = 300000
        texts += ['{"m:c":{"any":' + '{"a":' * deep, "[" * deep, "<a>" * deep, '{"m:c":{"n":' + "[" * deep,
                  '<c xmlns="urn:m"><any>' + "<a>" * deep, "<" * deep, "<!--" * deep, "<?" * deep]
        for text in texts:
            self.write("f", text)
            got = self.export()
            self.expect(f"{text[:60]!r} ends well", (got.returncode, got.stderr == "") in ((0, True), (1, False)), got)
        count = 100000
        self.write("f", json.dumps({"m:c": {"l": [{"k": f"{n}", "m": ""} for n in range(count)] +
                                            [{"k": "ll", "m": "", "ll": [n for n in range(-128, 128)]}]}}))
        got = self.export()
        self.expect("many entries", got.returncode == 0 and got.stdout.count("/c/l;") == count + 1)

    def failures(self, library):
        """Each call of libyang fails once: a whole text, or an error and none; what is refused stays refused."""
        self.module(BODY)
        calls = self.folder / "calls"
        env = {"LD_PRELOAD": library, "COUNT_LIBYANG": str(calls)}
        for text, options, status, least in (
                ('{"m:c": {"n": 7, "l": [{"k": "b", "m": "x"}, {"k": "a", "m": "y"}]}}', (), 0, 25),
                ('{"m:c": {"l": [{"k": "a"}]}}', (), 1, 10), ("{}", ("--yang-module", "parted"), 1, 5)):
            self.write("f", text)
            whole = self.export(*options, **env)
            count = int(calls.read_text())
            for n in range(1, count + 1):
                got = self.export(*options, FAIL_LIBYANG=str(n), **env)
                good = got.stderr == "" and got.stdout == whole.stdout if got.returncode == 0 else \
                    got.returncode == 1 and got.stderr != "" and got.stdout == ""
                self.expect(f"call {n} fails", good and got.returncode >= status, got)
            self.expect(f"enough of {count} calls failed", whole.returncode == status and count >= least, whole)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--failing")
    args = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        checks = Checks(args.program, folder)
        checks.mapping()
        checks.envelopes()
        checks.refusals()
        checks.templates()
        checks.hostile()
        if args.failing:
            checks.failures(args.failing)
    sys.exit(1 if checks.faults else 0)


main()
