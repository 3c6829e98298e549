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
    for line in text.splitlines():
        match = re.match(r"\s*(Cmd|[A-Z][A-Za-z]*(?: Cmd)?):(.*)", line)
        if not match or match[1] not in KEYWORDS:
            continue
        keyword, value = match[1], match[2].strip()
        yield f"keyword {keyword}"
        if keyword == "Op":
            yield f"op {value}"
        if keyword in ("Uri", "Props", "Location"):
            uri = value.split(" ")[0]
            yield from (name for mark, name in SEPARATORS.items() if mark in uri)


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


def path_of(uri):
    return re.sub(r";[^/]*", "", uri)


def in_data(data):
    classes = data.get("classes", {})
    for uri, record in data["records"].items():
        for name, about in classes.get(path_of(uri), {}).items():
            if name in record and "type" in about:
                yield f"typed {about['type']}"
            if name not in record and "default" not in about:
                yield "no value"
        for value in record.values():
            yield from kinds(value)


def main():
    root = Path(__file__).resolve().parents[2]
    found = set()
    cases = [args.parent for folder in ("tests/golden", "examples") for args in (root / folder).rglob("args")]
    for case in cases:
        if case.parent in (root / "tests/golden/errors", root / "tests/golden/check"):
            continue
        for path in case.rglob("*.tvr"):
            found.update(in_templates(path.read_text()))
        for path in case.rglob("*.json"):
            found.update(in_data(json.loads(path.read_text())))
    wanted = {f"keyword {name}" for name in KEYWORDS} | {f"op {name}" for name in OPS} | {*SEPARATORS.values(), *KINDS}
    for name in sorted(wanted - found):
        print(f"in no golden case: {name}")
    sys.exit(1 if wanted - found else 0)


if __name__ == "__main__":
    main()
