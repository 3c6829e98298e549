#!/usr/bin/env python3
"""syntax.py SOURCES: the syntax files know the keywords and the ops of the library's table, and no others."""
import json
import re
import sys
from pathlib import Path

sources = Path(sys.argv[1])
table = (sources / "include/zu_tovra/internal/keywords.hpp").read_text()
keywords = re.findall(r'^    \{"([A-Z][A-Za-z ]*:)"', table, re.MULTILINE)
ops = re.findall(r'"(\w+)"', table.split("ops[] =")[1].split(";")[0])
operations = re.findall(r'^    \{"(\w+)", kind::', (sources / "platform/cli_exec/cond_parse.cpp").read_text(), re.MULTILINE)
assert len(keywords) > 10 and len(ops) > 3 and len(operations) > 5, "the tables are found"
faults = []


def check(what, got, wanted):
    if sorted(got) != sorted(wanted):
        faults.append(f"{what}: {sorted(set(got) ^ set(wanted))}")


grammar = json.loads((sources / "editors/textmate/syntaxes/tvr.tmLanguage.json").read_text())
heads = [pattern["match"] for pattern in grammar["patterns"] if "captures" in pattern]
check("keywords of the TextMate grammar",
      [word for head in heads for word in re.match(r"\^\\s\*\(([^)]*)\)", head)[1].split("|")], keywords)
check("ops of the TextMate grammar", re.search(r"\(no_op[^)]*\)", json.dumps(grammar))[0][1:-1].split("|"), ops)
check("operations of the TextMate grammar", re.search(r"\(\?:and\|([^)]*)\)", json.dumps(grammar))[1].split("|"),
      [word for word in operations if word != "and"] + ["eval"])
for word in keywords:  # each by the first pattern that matches its line
    first = next(pattern for pattern in grammar["patterns"] if re.match(pattern["match"], f"  {word} x"))
    if "captures" not in first or re.match(first["match"], f"  {word} x")[1] != word:
        faults.append(f"TextMate grammar: {word} is taken for something else")

vim = (sources / "editors/vim/syntax/tvr.vim").read_text()
found = []
for head in re.findall(r"^syntax match tvr(?:Keyword|Definition) /\^\\s\*(.*?):/", vim, re.MULTILINE):
    found += [word + ":" for word in head.replace("\\%(", "").replace("\\)", "").split("\\|")]
check("keywords of the Vim syntax", found, keywords)
check("ops of the Vim syntax", re.search(r"tvrOp /\\%\((.*?)\\\)", vim)[1].split("\\|"), ops)
check("operations of the Vim syntax", re.search(r"tvrOperator /\(\\@<=\\%\((.*?)\\\)", vim)[1].split("\\|"), operations + ["eval"])

print("\n".join(faults) or f"{len(keywords)} keywords, {len(ops)} ops, {len(operations)} operations")
sys.exit(1 if faults else 0)
