#!/usr/bin/env python3
"""Hands a header or document to Doxygen as the house reads it; docs/Doxyfile calls this. Line numbers stay as they are.

The first lines of a header say what the file is for. A doc comment speaks for all declarations below it, up to a blank
line or the next comment. What is protected is there for tests, and is left out as what is private is. Links between
documents lead nowhere in the reference.
"""
import itertools
import re
import sys


def indentation(line):
    return len(line) - len(line.lstrip())


text = open(sys.argv[1], encoding="utf-8").read()
if sys.argv[1].endswith(".md"):
    print(re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", text))
    sys.exit()
lines = text.splitlines()
head = len(list(itertools.takewhile(lambda line: line.startswith("//"), lines)))
lines[:head] = [r"/// \file"] + ["/" + line for line in lines[:head]]  # one line more ...
lines.remove("#pragma once")  # ... and one less
comment, column = [], None  # what was said, and the column of the declarations that it is said of
for number, line in enumerate(lines[head:], head):
    text = line.strip()
    if re.match(r"///(?!<)", text):
        comment = comment + [text[3:]] if column is None else [text[3:]]
        column = None
    elif text == "" or text.startswith("//"):
        comment, column = [], None
    elif comment and column is None:
        column = indentation(line)
        if re.match(r"(struct|class|enum|template|namespace)\b", text):
            comment = []
    elif comment and column == indentation(line) and text[0] not in "{})" and "///<" not in line:
        lines[number] = "/**" + "".join(comment) + " */ " + text
    lines[number] = re.sub(r"^ protected:", " private:", lines[number])
print("\n".join(lines))
