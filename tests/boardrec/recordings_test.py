#!/usr/bin/env python3
"""The program of today does what it did when each recording of tests/recordings was made: recordings_test.py BUILD."""
import pathlib
import subprocess
import sys
import unittest

BUILD = pathlib.Path(sys.argv.pop())
RECORDINGS = pathlib.Path(__file__).resolve().parents[1] / "recordings"


class RecordingsTest(unittest.TestCase):
    def test_every_call_is_as_it_was_recorded(self):
        files = sorted(RECORDINGS.glob("*.rec"))
        self.assertTrue(files)
        for file in files:
            with self.subTest(file.name):
                done = subprocess.run([BUILD / "boardsim/boardsim", "--replay", file, "--", BUILD / "t1_sdk/boardtest"],
                                      stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, timeout=60, check=False)
                self.assertIn(b"every call as it was recorded", done.stderr)


if __name__ == "__main__":
    unittest.main()
