#!/usr/bin/env python3
"""The program of today does what it did when each recording of tests/recordings was made: recordings_test.py BUILD."""
import pathlib
import subprocess
import sys
import unittest

BUILD = pathlib.Path(sys.argv.pop())
RECORDINGS = pathlib.Path(__file__).resolve().parents[1] / "recordings"


class RecordingsTest(unittest.TestCase):
    def test_a_simulated_board_here_agrees_with_one_in_front_of_an_emulated_arm(self):
        file = RECORDINGS / "emulated-arm-normal.rec"
        done = subprocess.run([BUILD / "boardsim/boardsim", "--compare", file, "--board", "normal", "--",
                               BUILD / "t1_sdk/boardtest"], capture_output=True, text=True, timeout=600, check=False)
        self.assertEqual(done.returncode, 0, done.stdout)

    def test_every_recording_is_whole(self):
        for file in sorted(RECORDINGS.glob("*.rec")):
            with self.subTest(file.name):
                done = subprocess.run([BUILD / "boardrec/boardrec", "stats", file], stdout=subprocess.DEVNULL,
                                      stderr=subprocess.PIPE, timeout=60, check=False)
                self.assertEqual((done.returncode, done.stderr), (0, b""))

    def test_every_call_is_as_it_was_recorded(self):
        files = sorted(RECORDINGS.glob("*.rec"))
        self.assertTrue(files)
        for file in files:
            with self.subTest(file.name):
                done = subprocess.run([BUILD / "boardsim/boardsim", "--replay", file, "--", BUILD / "t1_sdk/boardtest"],
                                      stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, timeout=600, check=False)
                self.assertIn(b"every call as it was recorded", done.stderr)
                self.assertEqual(done.returncode, 0)


if __name__ == "__main__":
    unittest.main()
