#!/usr/bin/env python3
"""check_embedding.py GUIDE FOLDER: every C block of the guide stands, line by line, in a source file of the folder."""
import pathlib
import re
import sys

guide, folder = map(pathlib.Path, sys.argv[1:3])
sources = [path.read_text() for path in sorted(folder.glob("*.[ch]"))]
text = guide.read_text()
blocks = list(re.finditer(r"^```c\n(.*?)^```$", text, re.MULTILINE | re.DOTALL))
if not blocks or not sources:
    sys.exit(f"{guide}: no C blocks, or {folder}: no sources")
wrong = 0
for block in blocks:
    if not any(f"\n{block[1]}" in f"\n{source}" for source in sources):
        wrong += 1
        line = text.count("\n", 0, block.start()) + 1
        print(f"{guide}:{line}: this block stands in no file of {folder.name}:\n{block[1]}")
sys.exit(1 if wrong else 0)
