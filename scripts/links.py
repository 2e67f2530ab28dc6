#!/usr/bin/env python3
"""Makes words of the links in Markdown documents that lead to what is not there, as in an archive that has a few of them:
links.py FOLDER."""
import pathlib
import re
import sys

folder = pathlib.Path(sys.argv[1]).resolve()
LINK = re.compile(r"(!?)\[((?:[^][]|\[[^]]*\])*)\]\(([^)#\s]+)(#[^)\s]*)?\)")


def kept(document, link):
    """The link as it is, or its words."""
    target = (document.parent / link[3]).resolve()
    inside = target == folder or folder in target.parents
    return link[0] if "://" in link[3] or (inside and target.exists()) else link[2]


for document in sorted(folder.rglob("*.md")):
    text = document.read_text(encoding="utf-8")
    document.write_text(LINK.sub(lambda link: kept(document, link), text), encoding="utf-8")
