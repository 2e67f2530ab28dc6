#!/usr/bin/env python3
"""The finished `t1station line` as a factory starts, ends and kills it, on simulated boards.

    process_test.py BUILD [-v] [Test.name ...]"""
import pathlib
import signal
import sys
import unittest

sys.dont_write_bytecode = True  # nothing is left beside the sources
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from at_work import PLAN, LineTest  # noqa: E402

UNIT = "AB00000001"
# No board knows this code: it never answers.
SILENT = PLAN.replace('"temp"', "4711\ntimeout = 600")


class ProcessTest(LineTest):
    def test_a_line_tests_a_unit_and_ends_in_order(self):
        line = self.start_line(self.line_file(self.board("normal", "--speed", "60")))
        taken = self.post(line, "api/scan", {"text": UNIT, "operator": "Li"})
        slot = self.await_slot(line, lambda slot: slot["state"] == "done")
        self.assertEqual((slot["run"]["id"], slot["run"]["verdict"]), (taken["run"], "passed"))
        self.assertEqual(line.end(), 0)
        self.assertIn("1 runs", self.records("check", self.folder / "records.db"))
        self.assertEqual(self.run_stored()["operator"], "Li")

    def test_a_killed_line_shows_the_interrupted_run_and_wants_it_acknowledged(self):
        self.write("plan.toml", SILENT)
        board = self.board("normal", "--speed", "60")
        line = self.start_line(self.line_file(board))
        self.post(line, "api/scan", {"text": UNIT})
        self.await_slot(line, lambda slot: slot["run"] and slot["run"]["attempt"] == 1)
        self.assertEqual(line.end(signal.SIGKILL), -signal.SIGKILL)

        line = self.start_line(self.line_file(board))
        slot = self.get(line, "api/line")["slots"][0]
        self.assertEqual((slot["state"], slot["run"]["verdict"]), ("done", "interrupted"))
        self.post(line, "api/slots/1/acknowledge", {})
        self.assertEqual(self.get(line, "api/line")["slots"][0]["state"], "idle")

    def test_sigterm_stops_a_test_that_hangs(self):
        self.write("plan.toml", SILENT)
        line = self.start_line(self.line_file(self.board("normal", "--speed", "60")))
        self.post(line, "api/scan", {"text": UNIT})
        self.await_slot(line, lambda slot: slot["run"] and slot["run"]["attempt"] == 1)
        self.assertEqual(line.end(), 0)
        run = self.run_stored()
        self.assertEqual((run["verdict"], run["reason"]), ("stopped", "the station was shut down"))

    def test_what_is_in_the_way_is_said_before_anything_is_served(self):
        line = self.start_line(self.line_file())
        port = line.url.split(":")[2].strip("/")
        other = self.line_file(station=f'listen = "127.0.0.1:{port}"')
        self.assertEqual(self.refused(other)[0], 4, "the records are the other line's")
        other.write_text(other.read_text().replace("records.db", "other.db"))
        self.assertEqual(self.refused(other)[0], 6, "the port is taken")
        outside = self.line_file(station='listen = "0.0.0.0:0"')
        status, words = self.refused(outside)
        self.assertEqual(status, 4)
        self.assertIn("users", words)
        status, words = self.refused(self.line_file(slot='interface = "none9"'))
        self.assertEqual(status, 4)
        self.assertRegex(words, "slot 1: (this PC has no network interface none9|connections cannot be bound)")

    def test_a_check_unit_that_no_scan_can_name_is_refused(self):
        for unit, why in ((" GOLD-1", "which a scan loses"), ("slot:1", "is a command when it is scanned"),
                          ("answer:yes", "is a command"), ("acknowledge", "is a command"), ("GOLD-1", "stands there twice")):
            file = self.line_file(more=f'[check]\ngood = ["GOLD-1", "{unit}"]\nbad = "BAD-1"\n')
            status, words = self.refused("check", file)
            self.assertEqual((status, len(words.splitlines())), (4, 1), words)
            self.assertIn(why, words)

    def test_line_check_says_all_mistakes_with_their_places(self):
        self.write("plan.toml", "format = 1\n")
        bad = self.write("bad.toml", '[station]\nname = "ICT-3"\nport = 1\n[[slot]]\nname = "a b"\nboard = "x:0"\nplan = []\n')
        status, words = self.refused("check", bad)
        self.assertEqual(status, 4)
        places = [text.split(": ")[0] for text in words.splitlines()]
        self.assertEqual(places, [f"{bad}:{place}" for place in ("1:1", "3:1", "5:8", "6:9", "7:8")])
        bad.write_text(self.line_file(station="port = 1").read_text())
        self.assertIn(f"{self.folder}/plan.toml:1:1:", self.refused("check", bad)[1], "its plans are looked at all the same")
        status, words = self.refused("check", self.line_file())
        self.assertEqual(status, 4)
        self.assertIn(f"{self.folder}/plan.toml:1:1: \"name\" is missing", words)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
