#!/usr/bin/env python3
"""Fails when something of the template language, or a kind of value, occurs in no golden case and no example.

Cases of the groups `errors` and `check` do not count: much of what they hold is refused, or never rendered.
"""
import json
import re
import sys
from pathlib import Path

KEYWORDS = ("Cmd", "Parent Cmd", "Op", "Uri", "Query", "Fmt", "Dest", "Props", "Location", "Newline", "Cond", "ValueMap",
            "Orderby", "Group", "LocationScheme", "TvrLangVersion")
OPS = ("no_op", "push_mode", "get_collection", "get_one", "print_if", "iter")
SEPARATORS = {"=$": "separator $", "=!": "separator !", "=#": "separator #"}
KINDS = ("null", "bool", "int", "unsigned beyond int", "double", "string", "array", "typed Text", "typed PasswordString",
         "no value")


def in_templates(text):
    for keyword, value in re.findall(r"^\s*([A-Z][A-Za-z]*(?: Cmd)?):(.*)", text, re.MULTILINE):
        if keyword in KEYWORDS:
            yield f"keyword {keyword}"
        if keyword == "Op":
            yield f"op {value.strip()}"
        if keyword in ("Uri", "Props", "Location"):
            yield from (name for mark, name in SEPARATORS.items() if mark in value.split()[0])


def kinds(value):
    if isinstance(value, dict):
        (type_name, inner), = value.items()
        yield f"typed {type_name}"
        yield from kinds(inner)
    elif isinstance(value, list):
        yield "array"
        for element in value:
            yield from kinds(element)
    elif isinstance(value, bool):  # before int, which it is too
        yield "bool"
    elif isinstance(value, int):
        yield "int" if value < 2**63 else "unsigned beyond int"
    else:
        yield {type(None): "null", float: "double", str: "string"}[type(value)]


def in_data(data):
    if not isinstance(data.get("records"), dict):  # a file that is refused, or has classes only
        return
    for uri, record in data["records"].items():
        for name, about in data.get("classes", {}).get(re.sub(r";[^/]*", "", uri), {}).items():
            if name in record and "type" in about:
                yield f"typed {about['type']}"
            if name not in record and "default" not in about:
                yield "no value"
        for value in record.values():
            yield from kinds(value)


def main():
    root, found = Path(__file__).resolve().parents[2], set()
    for case in (args.parent for folder in ("tests/golden", "examples") for args in (root / folder).rglob("args")):
        if case.parent in (root / "tests/golden/errors", root / "tests/golden/check"):
            continue
        for path in case.rglob("*.tvr"):
            found.update(in_templates(path.read_text(errors="replace")))
        for path in case.rglob("*.json"):
            found.update(in_data(json.loads(path.read_text(errors="replace"))))
    wanted = {*(f"keyword {name}" for name in KEYWORDS), *(f"op {name}" for name in OPS), *SEPARATORS.values(), *KINDS}
    for name in sorted(wanted - found):
        print(f"in no golden case: {name}")
    sys.exit(1 if wanted - found else 0)


if __name__ == "__main__":
    main()
