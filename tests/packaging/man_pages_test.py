#!/usr/bin/env python3
"""Manual pages as their reader gets them: man_pages_test.py FOLDER PROGRAM ..., of pages that were built of the programs."""
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True  # nothing is left beside the sources
FOLDER, PROGRAMS = pathlib.Path(sys.argv[1]), sys.argv[2:]
PAGES = {page.stem: page.read_text() for page in FOLDER.glob("*.1")}


def helps(program, *words):
    """What a command and all below it say with --help, by the names of their pages."""
    said = subprocess.run([program, *words, "--help"], check=True, capture_output=True, text=True).stdout
    found = {"-".join([pathlib.Path(program).name, *words]): said}
    for command in re.findall(r"^  ([\w-]+)", below("Subcommands", said), re.M):
        found |= helps(program, *words, command)
    return found


def below(heading, said):
    found = re.search(rf"^{heading}:\n((?:  .*\n)+)", said, re.M)
    return found[1] if found else ""


HELPS = {page: said for program in PROGRAMS for page, said in helps(program).items()}


class Pages(unittest.TestCase):
    def test_every_command_has_one_and_nothing_else_has(self):
        self.assertEqual(sorted(PAGES), sorted(HELPS))

    def test_each_has_every_option_and_exit_code_of_the_help(self):
        for page, said in HELPS.items():
            plain = re.sub(r"\\f[BIR]", "", PAGES[page]).replace("\\-", "-")
            for option in re.findall(r"^  (?:-\w,)?(--[\w-]+)", said, re.M):
                self.assertRegex(plain, rf"(?m)^(-\w, )?{option}\b", page)
            for code in re.findall(r"^  (\d+) ", below("Exit codes", said), re.M):
                self.assertRegex(plain.partition(".SH EXIT STATUS")[2], rf"(?m)^{code}$", page)

    def test_each_that_does_something_says_how_it_ends_and_shows_an_example(self):
        for page, text in PAGES.items():
            sections = re.findall(r"^\.SH (.*)", text, re.M)
            wanted = ["NAME", "SYNOPSIS", "OPTIONS", "SEE ALSO"]
            wanted += [] if "COMMANDS" in sections else ["EXIT STATUS", "EXAMPLES"]
            self.assertEqual([title for title in wanted if title not in sections], [], page)

    def test_each_that_is_named_is_there(self):
        for page, text in PAGES.items():
            named = re.findall(r"^\.BR (\S+) \(1\)", text, re.M) + re.findall(r"^\\fB(\S+)\\fR\(1\)", text, re.M)
            self.assertEqual([name for name in named if name.replace("\\-", "-") not in PAGES], [], page)

    @unittest.skipUnless(shutil.which("groff"), "groff is not installed")
    def test_are_formatted_without_a_warning(self):
        for page in PAGES:
            said = subprocess.run(["groff", "-man", "-ww", "-z", "-Tutf8", FOLDER / f"{page}.1"], capture_output=True, text=True)
            self.assertEqual((said.returncode, said.stderr), (0, ""), page)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
