#!/usr/bin/env python3
"""One version for all: version_test.py PROGRAM ...; and what a release, a commit and a copy without a history say."""
import pathlib
import re
import shutil
import subprocess
import sys
import tarfile
import tempfile
import unittest

sys.dont_write_bytecode = True  # nothing is left beside the sources
ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAMS = sys.argv[1:]
COMMANDS = ["run", "test", "bench", "build-arm"]
NUMBER = re.search(r"^project\(boardtest VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text(), re.M)[1]
WHO = ["-c", "user.name=Li", "-c", "user.email=li@line.example", "-c", "commit.gpgsign=false"]


def said(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


class OneVersion(unittest.TestCase):
    def test_is_what_every_program_and_command_says(self):
        programs = {said(program, "--version") for program in PROGRAMS}
        names = [pathlib.Path(program).name for program in PROGRAMS]
        builds = {text.split()[1] for text in programs}
        self.assertEqual(sorted(text.split()[0] for text in programs), sorted(names))
        self.assertEqual(len(builds), 1, f"programs of several builds: {programs}")
        self.assertEqual(builds.pop().split("+")[0], NUMBER)
        for command in COMMANDS:
            self.assertRegex(said(ROOT / command, "--version"), rf"^boardtest {re.escape(NUMBER)}(\+\S+)?\n$")

    def test_is_the_newest_in_the_list_of_changes(self):
        changes = (ROOT / "CHANGELOG.md").read_text()
        self.assertEqual(re.findall(r"^## (\d\S*)", changes, re.M)[0], NUMBER)


@unittest.skipUnless(shutil.which("git"), "git is not installed")
class Sources(unittest.TestCase):
    """A folder with a number, 2.3.4, and the script."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="boardtest-version."))
        self.addCleanup(shutil.rmtree, self.folder)
        (self.folder / "CMakeLists.txt").write_text("project(boardtest VERSION 2.3.4 LANGUAGES CXX)\n")
        (self.folder / "scripts").mkdir()
        shutil.copy(ROOT / "scripts/version.sh", self.folder / "scripts")
        shutil.copy(ROOT / ".gitattributes", self.folder)

    def git(self, *words):
        return said("git", "-C", self.folder, *WHO, *words).strip()

    def commit(self):
        """All files, and the hash of the commit."""
        self.git("init", "-q")
        self.git("add", ".")
        self.git("commit", "-q", "--allow-empty", "-m", "A change")
        return self.git("rev-parse", "--short=7", "HEAD")

    def version(self, folder=None):
        return said((folder or self.folder) / "scripts/version.sh").strip()

    def unpacked(self):
        """A folder with what `git archive` makes of the last commit."""
        folder = self.folder / "unpacked"
        shutil.rmtree(folder, ignore_errors=True)
        self.git("archive", "-o", "sources.tar", "HEAD")
        with tarfile.open(self.folder / "sources.tar") as archive:
            archive.extractall(folder)
        return folder

    def test_of_a_tagged_commit_say_the_number_alone(self):
        self.commit()
        self.git("tag", "v2.3.4")
        self.git("tag", "another")
        self.assertEqual(self.version(), "2.3.4")
        self.assertEqual(self.version(self.unpacked()), "2.3.4")

    def test_ahead_of_a_release_say_their_commit(self):
        self.commit()
        self.git("tag", "v2.3.4")
        commit = self.commit()
        self.git("tag", "v2.3")  # is no release of this number
        self.assertEqual(self.version(), f"2.3.4+g{commit}")
        self.assertEqual(self.version(self.unpacked()), f"2.3.4+g{commit}")

    def test_that_were_changed_say_so(self):
        commit = self.commit()
        self.git("tag", "v2.3.4")
        (self.folder / "scripts/version.sh").open("a").close()
        self.assertEqual(self.version(), "2.3.4", "nothing was written")
        (self.folder / ".gitattributes").write_text("# of my own\n")
        self.assertEqual(self.version(), f"2.3.4+g{commit}.dirty")

    def test_without_a_history_say_that_nobody_knows_even_inside_another_repository(self):
        self.assertEqual(self.version(), "2.3.4+unknown")
        self.commit()
        shutil.copytree(self.folder / "scripts", self.folder / "copy/scripts")
        shutil.copy(self.folder / "CMakeLists.txt", self.folder / "copy")
        self.assertEqual(self.version(self.folder / "copy"), "2.3.4+unknown")

    def test_without_a_number_are_refused(self):
        (self.folder / "CMakeLists.txt").write_text("project(boardtest)\n")
        run = subprocess.run([self.folder / "scripts/version.sh"], capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertIn("CMakeLists.txt has no version", run.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
