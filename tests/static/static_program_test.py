#!/usr/bin/env python3
"""One file without what nothing reaches in the C library does what a program with all of it does: static_program_test.py
STATIC_PROGRAM USUAL_PROGRAM [EMULATOR...]."""
import os
import pathlib
import resource
import signal
import subprocess
import sys
import tempfile
import unittest

STATIC, USUAL, *EMULATOR = sys.argv[1:]
# A station's engineer may start the program from a shell that is set to any of these.
CHINESE = {"LANG": "zh_CN.UTF-8", "LC_ALL": "zh_CN.GBK", "LANGUAGE": "zh_CN:zh", "TZ": "Asia/Shanghai"}


def outcome(program, deed, environment):
    # Both are started by the same name: messages of the library begin with it.
    with tempfile.TemporaryDirectory() as folder:
        place = pathlib.Path(folder, "program")
        place.symlink_to(program)
        ended = subprocess.run([*EMULATOR, place, deed], capture_output=True, check=False,
                               env=os.environ | environment, cwd=folder)
    return ended.returncode, ended.stdout, ended.stderr.replace(folder.encode(), b"")


class StaticProgram(unittest.TestCase):
    def expect_same(self, deed, code):
        for environment in ({}, CHINESE):
            with self.subTest(deed=deed, environment=environment):
                usual = outcome(USUAL, deed, environment)
                self.assertEqual(outcome(STATIC, deed, environment), usual)
                self.assertEqual(usual[0], code)

    def test_texts_numbers_files_and_failures_are_the_same(self):
        for deed in ("print", "errors", "files", "numbers", "caught"):
            self.expect_same(deed, 0)

    def test_threads_end_by_themselves_and_by_others(self):
        self.expect_same("threads", 0)

    def test_the_shell_is_called_and_its_status_comes_back(self):
        self.expect_same("shell", 0)

    def test_what_the_hardening_finds_is_said_and_ends_the_program(self):
        for deed in ("stack", "buffer", "pointer"):
            self.expect_same(deed, -signal.SIGABRT)

    def test_an_exception_that_nobody_catches_ends_the_program(self):
        self.expect_same("uncaught", -signal.SIGABRT)


if __name__ == "__main__":
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    unittest.main(argv=sys.argv[:1])
