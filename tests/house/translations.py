#!/usr/bin/env python3
"""Translated documents are as new as their originals: docs/zh/NAME.md of docs/NAME.md, README.zh-CN.md of README.md.

A translated page begins with a comment that has a hash and the heading of each section of the original, as it was when
somebody translated it. After a look at what changed, `translations.py --refresh PAGE ...` writes the comment anew.
"""
import hashlib
import itertools
import posixpath
import re
import sys

sys.dont_write_bytecode = True  # nothing is left beside the sources

import tree

FOLDER = "docs/zh/"
MARKER = re.compile(r"\A<!-- translation of (\S+)\n(.*?)-->\n", re.S)
TOP = 12  # lines behind the comment in which the way to the other language stands
CHINESE = re.compile(r"[\u4e00-\u9fff]")
COMMENT = re.compile(r"(?<=\S) {2,}|(?:^|(?<=\s))# |^ {8,}")


def original_of(page):
    """The document that a page in Chinese is a translation of, if it is one."""
    return "README.md" if page == "README.zh-CN.md" else "docs/" + page.removeprefix(FOLDER)


def in_chinese():
    """All documents in Chinese."""
    return [*tree.files("README.zh-CN.md"), *tree.files(".md", below=FOLDER)]


def pages():
    """(page, original) of all pages in Chinese that have an original, or say so."""
    for page in in_chinese():
        if (tree.ROOT / original_of(page)).exists() or MARKER.match(tree.text(page)):
            yield page, original_of(page)


class Section:
    """A heading, with what stands below it up to the next one. What stands before the first heading has none."""

    def __init__(self, line, heading=""):
        self.line, self.heading, self.text, self.blocks, self.rows = line, heading, "", [], 0
        self.level = len(heading) - len(heading.lstrip("#"))

    def digest(self):
        """Its hash, short enough to be read."""
        return hashlib.sha256(self.text.strip().encode()).hexdigest()[:12]


def sections(path):
    """The sections of a document, with their code blocks as (line, lines), without its marker."""
    text, whole = tree.text(path), [Section(1)]
    skipped = MARKER.match(text)[0].count("\n") if MARKER.match(text) else 0
    code = None
    for number, line in list(tree.lines(path))[skipped:]:
        if code is None and re.match(r"#+ ", line):
            whole.append(Section(number, line))
        section = whole[-1]
        section.text += line + "\n"
        section.rows += code is None and line.startswith("|")
        if line.strip().startswith("```"):
            if code is None:
                section.blocks.append((number, []))
            code = section.blocks[-1][1] if code is None else None
        if code is not None:
            code.append(line)
    return whole if whole[0].text.strip() else whole[1:]


def marker(original):
    """The comment of a translation that is as new as its original."""
    return "".join([f"<!-- translation of {original}\n",
                    *(f"{section.digest()} {section.heading}\n" for section in sections(original)), "-->\n"])


def compare_ages(complain, page, original):
    """Names the sections of the original that are not those which were translated."""
    found = MARKER.match(tree.text(page))
    if not found or found[1] != original:
        complain(page, 1, f"it does not begin with a comment about {original}: "
                          f"tests/house/translations.py --refresh {page}")
        return
    then = [tuple(line.partition(" ")[::2]) for line in found[2].splitlines()]
    now = [(section.digest(), section.heading) for section in sections(original)]
    changes = []
    for digest, heading in now:
        if (digest, heading) not in then:
            known = any(heading == other for _, other in then)
            changes.append(f'"{heading}" {"has changed" if known else "is new"}')
    changes += [f'"{heading}" is gone' for _, heading in then if not any(heading == other for _, other in now)]
    if not changes and then != now:
        changes.append("its sections have another order")
    for change in changes:
        complain(page, 1, f"older than {original}: {change}; translate it, then tests/house/translations.py --refresh {page}")


def compare_code(complain, page, translated, original):
    """Complains about a code block that is not the original's; comments may be in Chinese, words of drawings too."""
    line, here = translated
    there = original[1]
    if len(here) != len(there):
        complain(page, line, f"a code block of {len(here) - 1} lines; the original has {len(there) - 1}")
        return
    if any("─" in drawn for drawn in there):
        return
    for number, (mine, other) in enumerate(zip(here, there), line):
        code, of_original = (COMMENT.split(text, maxsplit=1)[0].rstrip() for text in (mine, other))
        if mine != other and not (code == of_original and CHINESE.search(mine)):
            complain(page, number, f"the original's code has here: {other.strip()}")


def compare_shapes(complain, page, original):
    """Complains where a translation has other headings, tables or code than its original."""
    headings = itertools.zip_longest(sections(page), sections(original))
    for mine, other in headings:
        if mine is None or other is None or mine.level != other.level:
            complain(page, mine.line if mine else 1, f'"{mine.heading if mine else "its end"}" where the original has '
                                                     f'"{other.heading if other else "its end"}"')
            return  # what follows would be compared with something else
        if mine.rows != other.rows:
            complain(page, mine.line, f"tables of {mine.rows} lines below this heading; the original has {other.rows}")
        if len(mine.blocks) != len(other.blocks):
            complain(page, mine.line, f"{len(mine.blocks)} code blocks; the original has {len(other.blocks)}")
        else:
            for translated, source in zip(mine.blocks, other.blocks):
                compare_code(complain, page, translated, source)


def lead_to(complain, path, other):
    """Complains when a page does not lead to the other language at its top."""
    link = posixpath.relpath(other, posixpath.dirname(path) or ".")
    body = MARKER.sub("", tree.text(path)).splitlines()[:TOP]
    if not any(f"]({link})" in line for line in body):
        complain(path, 1, f"no link to {link} at its top")


def stay_in_chinese(complain, page, translated):
    """Complains about links to an original that there is in Chinese, but for the one at the top."""
    for number, line in tree.lines(page):
        for link in re.findall(r"\]\(([^)\s#]+)", line):
            target = posixpath.normpath(posixpath.join(posixpath.dirname(page), link))
            if target in translated and not line.startswith("[English]"):
                complain(page, number, f"a link to {target}, which is there in Chinese: {translated[target]}")


def translations(complain):
    """A page in Chinese is as new as its original, has its headings, tables and code, and each leads to the other."""
    translated = {original: page for page, original in pages()}
    for original, page in translated.items():
        if not (tree.ROOT / original).exists():
            complain(page, 1, f"its original, {original}, is gone")
            continue
        compare_ages(complain, page, original)
        compare_shapes(complain, page, original)
        lead_to(complain, page, original)
        lead_to(complain, original, page)
    for page in in_chinese():
        stay_in_chinese(complain, page, translated)


def refresh(names):
    """Writes the comments of these pages anew."""
    for page in names:
        original = original_of(page)
        if page not in dict(pages()) or not (tree.ROOT / original).exists():
            sys.exit(f"{page} is no page in Chinese that has an original; pages are named from the project's folder")
        (tree.ROOT / page).write_text(marker(original) + MARKER.sub("", tree.text(page)), encoding="utf-8")


if __name__ == "__main__":
    if len(sys.argv) < 3 or sys.argv[1] != "--refresh":
        sys.exit(__doc__)
    refresh(sys.argv[2:])
