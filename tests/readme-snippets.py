#!/usr/bin/env python3
"""Fails when a ```cpp block of README.md is not, line for line (leading blanks aside), one of
the regions between "// README <name>" and "// README end" in the given source file, where the
code is compiled and its results checked. Usage: readme-snippets.py README.md SOURCE.cpp"""
import re
import sys


def normalise(text):
    return "\n".join(line.strip() for line in text.strip("\n").split("\n"))


readme = open(sys.argv[1], encoding="utf-8").read()
source = open(sys.argv[2], encoding="utf-8").read()
tested = {normalise(m.group(1))
          for m in re.finditer(r"// README \w+\n(.*?)\n\s*// README end", source, re.S)}
blocks = [normalise(m.group(1)) for m in re.finditer(r"```cpp\n(.*?)```", readme, re.S)]
if not blocks:
    sys.exit("README.md has no ```cpp blocks")
missing = [b for b in blocks if b not in tested]
for block in missing:
    print("README block not found in %s:\n%s\n" % (sys.argv[2], block))
if missing:
    sys.exit(1)
print("%d README examples match the tested code" % len(blocks))
