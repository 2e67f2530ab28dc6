#!/usr/bin/env python3
"""Writes the manual pages of a program and of each of its commands, from what they say with --help:
man_pages.py PROGRAM FOLDER"""
import datetime
import os
import pathlib
import re
import subprocess
import sys
import textwrap

# Headings of a help, in the order in which a page has them; other headings are groups of options.
SECTIONS = {"positionals": "ARGUMENTS", "options": "OPTIONS", "subcommands": "COMMANDS", "exit codes": "EXIT STATUS",
            "files": "FILES", "environment": "ENVIRONMENT", "examples": "EXAMPLES"}
PROGRAMS = ["boardrec", "boardsim", "t1station"]
# Characters that roff would take for a request, or print as others than those that can be copied and typed.
ESCAPES = {"\\": "\\e", "-": "\\-", "'": "\\(aq", "`": "\\(ga", "^": "\\(ha", "~": "\\(ti", "\"": "\\(dq"}


def escaped(text):
    """Text as roff shows it, character by character."""
    return "".join(ESCAPES.get(letter, letter) for letter in text)


def prose(text):
    """Text as lines of a page, none of which is a request."""
    lines = textwrap.wrap(escaped(text), 79, break_long_words=False, break_on_hyphens=False)
    return ["\\&" + line if line.startswith(".") else line for line in lines]


def bold(text):
    return f"\\fB{escaped(text)}\\fR"


def italic(text):
    return f"\\fI{escaped(text)}\\fR"


def marked(words):
    """A synopsis: what is typed as it stands is bold, what stands for something is italic."""
    def mark(word):
        if not re.search("[A-Z]", word):
            return bold(word)
        return "".join(italic(part) if part.isupper() else escaped(part) for part in re.split("([A-Z]+)", word))

    return " ".join(mark(word) for word in words.split())


class Help:
    """What a command says of itself: its description, its usage, paragraphs, and entries below headings."""

    def __init__(self, text):
        self.summary, self.usage, self.paragraphs, self.sections = "", "", [], {}
        section, paragraph = None, []
        for line in [*text.splitlines(), ""]:
            heading = re.fullmatch(r"(\S.*):", line)
            if line.lower().startswith("usage:"):
                self.usage = line.partition(":")[2].strip()
            elif heading:
                section = self.sections.setdefault(heading[1], [])
            elif line.startswith("  ") and section is not None:
                self.add_entry(section, line)
            elif line:
                section = None
                paragraph.append(line)
            elif paragraph:
                self.paragraphs.append(" ".join(paragraph))
                paragraph = []
        self.summary = self.paragraphs.pop(0)

    def section(self, heading):
        """The entries below a heading, however it is spelled."""
        return next((entries for key, entries in self.sections.items() if key.lower() == heading), [])

    @staticmethod
    def add_entry(section, line):
        """Two spaces begin an entry, whose text stands behind two spaces more or on the lines below, further in."""
        if re.match(r" {2}\S", line):
            head, _, text = line.strip().partition("  ")
            section.append([head, text.strip()])
        else:
            section[-1][1] = f"{section[-1][1]} {line.strip()}".strip()


class Page:
    """One manual page."""

    def __init__(self, command, told, others, version, date):
        self.command, self.told = command, told
        self.name = "-".join(command)
        program, number = version.split()
        self.lines = [".\\\" Made of what the program says with --help.",
                      f'.TH {self.name.upper()} 1 "{date}" "{program} {number}" "Factory tests of boards"']
        self.lines += [".nh", ".ad l"]  # a command's name is not divided
        self.write_head()
        for heading, title in SECTIONS.items():
            if told.section(heading):
                self.lines.append(f".SH {title}")
                self.write_entries(title, told.section(heading))
            if title == "OPTIONS":
                for group in [key for key in told.sections if key.lower() not in SECTIONS]:
                    self.lines.append(f'.SS "{escaped(group)}"')
                    self.write_entries(title, told.sections[group])
        self.lines.append(".SH SEE ALSO")
        self.lines.append(",\n".join(f".BR {escaped(other)} (1)" for other in others))

    def write_head(self):
        summary = self.told.summary.rstrip(".")
        self.lines += [".SH NAME", f"{escaped(self.name)} \\- {escaped(summary[0].lower() + summary[1:])}",
                       ".SH SYNOPSIS", marked(self.told.usage)]
        if self.told.paragraphs:
            self.lines.append(".SH DESCRIPTION")
            for number, paragraph in enumerate(self.told.paragraphs):
                self.lines += ([".PP"] if number else []) + prose(paragraph)

    def write_entries(self, title, entries):
        for head, text in entries:
            self.lines.append(".TP")
            if title in ("ARGUMENTS", "OPTIONS"):
                head, text = self.option(head, text)
            elif title == "COMMANDS":
                head = bold("-".join([*self.command, head])) + "(1)"
            else:
                head = bold(head)
            self.lines += [head, *prose(text)]

    @staticmethod
    def option(head, text):
        """'-o,--out FILE=old REQUIRED Needs: --x' as what is typed and what stands for something; the rest in words."""
        remarks = [text]
        head, *conditions = re.split(r" (?=Needs:|Excludes:)", head)
        required = head.endswith(" REQUIRED")
        names, _, value = head.removesuffix(" REQUIRED").partition(" ")
        value, _, default = value.partition("=")
        several = value.endswith("...")
        value = value.removesuffix("...").strip()
        shown = ", ".join(bold(name) for name in names.split(",")) if names.startswith("-") else italic(names)
        if names.startswith("-") and value:
            shown += " " + (bold(value) if "|" in value else italic(value))
        shown += " ..." if several else ""
        if default:
            remarks.append(f"Default: {default}.")
        if required and names.startswith("-"):
            remarks.append("Required.")
        for condition in conditions:
            word, *options = condition.split()
            remarks.append(f"{'Only with' if word == 'Needs:' else 'Not with'} {' and '.join(options)}.")
        remarks = [remark if remark.endswith((".", ":")) else remark + "." for remark in remarks]
        return shown, " ".join(remarks) if len(remarks) > 1 else text

    def text(self):
        return "\n".join(self.lines) + "\n"


def said(program, *words):
    return subprocess.run([program, *words], check=True, capture_output=True, text=True).stdout


def family(program, command):
    """A command and all below it: (words, help)."""
    told = Help(said(program, *command[1:], "--help"))
    yield command, told
    for name, _ in told.section("subcommands"):
        yield from family(program, [*command, name])


def are_near(one, other):
    """Whether a page's last section names the other: what is above it or beside it; the page itself has what is below."""
    return one != other and (one[:len(other)] == other or other[:-1] == one[:-1])


def main(program, folder):
    name = pathlib.Path(program).name
    version = said(program, "--version")
    built = int(os.environ.get("SOURCE_DATE_EPOCH", pathlib.Path(program).stat().st_mtime))
    date = datetime.datetime.fromtimestamp(built, datetime.timezone.utc).strftime("%Y-%m-%d")
    commands = list(family(program, [name]))
    pages = {}
    for command, told in commands:
        others = ["-".join(other) for other, _ in commands if are_near(command, other)]
        if len(command) == 1:
            others += [other for other in PROGRAMS if other != name]
        pages["-".join(command)] = Page(command, told, others, version, date).text()
    folder.mkdir(exist_ok=True)
    for old in [folder / f"{name}.1", *folder.glob(f"{name}-*.1")]:
        old.unlink(missing_ok=True)
    for page, text in pages.items():
        (folder / f"{page}.1").write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main(sys.argv[1], pathlib.Path(sys.argv[2]))
