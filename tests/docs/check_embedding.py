#!/usr/bin/env python3
"""check_embedding.py GUIDE FOLDER...: every C and C++ block of the guide stands in a source file of the folders."""
import pathlib
import re
import sys

guide, *folders = map(pathlib.Path, sys.argv[1:])
sources = [path.read_text() for folder in folders for path in sorted(folder.iterdir())
           if path.suffix in (".c", ".h", ".cpp")]
text = guide.read_text()
blocks = list(re.finditer(r"^```c(?:pp)?\n(.*?)^```$", text, re.MULTILINE | re.DOTALL))
if not blocks or not sources:
    sys.exit(f"{guide}: no C blocks, or no sources")
wrong = 0
for block in blocks:
    if not any(f"\n{block[1]}" in f"\n{source}" for source in sources):
        wrong += 1
        line = text.count("\n", 0, block.start()) + 1
        print(f"{guide}:{line}: this block stands in no file of the examples:\n{block[1]}")
sys.exit(1 if wrong else 0)
