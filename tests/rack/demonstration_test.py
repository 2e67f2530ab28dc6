#!/usr/bin/env python3
"""The demonstration of a line: each unit that it draws ends as its defect deserves, and nothing is left behind."""
import itertools
import os
import pathlib
import re
import select
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # nothing is left beside the sources
ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv.pop()) if pathlib.Path(sys.argv[-1]).is_dir() else ROOT / "build/release"
sys.path.insert(0, str(ROOT / "boardsim/rack"))
import units

PATIENCE = 100  # seconds, against hanging only
SEED = "40"  # among its first eight units is each kind
# Steps that any defect of these units shows in, and that a busy PC does not disturb however fast the boards' time runs.
STEPS = ("alarm-5in3out", "sd", "temp", "iris", "abf", "get-tg", "restart")


def short_plan(text):
    """A plan with these steps only."""
    head, *steps = text.split("[[step]]")
    return head + "".join("[[step]]" + step for step in steps if re.search(r'name = "([^"]+)"', step)[1] in STEPS)


class DemonstrationTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="boardtest-line.")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for family in units.FAMILIES:
            plan = (ROOT / f"plans/{family}.toml").read_text(encoding="utf-8")
            (self.folder / f"{family}.toml").write_text(short_plan(plan), encoding="utf-8")

    def start(self, *options):
        """Starts it, in a group of its own: as a terminal does, Ctrl-C reaches all of it."""
        process = subprocess.Popen([ROOT / "boardsim/rack/demonstration.py", "--build", BUILD, "--folder", self.folder / "line",
                                    "--plans", self.folder, "--seed", SEED, "--speed", "20", *options], bufsize=0,
                                   process_group=0, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def said(self, process, pattern):
        """Waits until it says this; the match."""
        said = b""
        while not (found := re.search(pattern, said.decode(errors="replace"))):
            self.assertTrue(select.select([process.stdout], [], [], PATIENCE)[0], said)
            more = process.stdout.read(4096)
            self.assertTrue(more, said)
            said += more
        return found

    def test_each_unit_ends_as_its_defect_deserves(self):
        drawn = list(itertools.islice(units.draw(SEED), 8))
        kinds = [unit.defect for unit in drawn]
        for kind in (units.GOOD, units.SHAKY, units.SILENT):
            self.assertIn(kind, kinds)
        self.assertTrue(set(kinds) & set(units.BROKEN) and set(kinds) & set(units.PULLED))
        process = self.start("--units", str(len(drawn)), "--pause", "0", "--port", "0")
        out, _ = process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 0, out.decode())
        records = sqlite3.connect(self.folder / "line/records.db")
        self.addCleanup(records.close)
        self.assertEqual(sorted(records.execute("SELECT serial, slot, verdict, retried FROM run")),
                         sorted((unit.serial, str(units.FAMILIES.index(unit.family) + 1), unit.defect.verdict,
                                 int(unit.defect.is_retried)) for unit in drawn), out.decode())
        check = subprocess.run([BUILD / "station/t1station", "records", "check", self.folder / "line/records.db"])
        self.assertEqual(check.returncode, 0)


if __name__ == "__main__":
    unittest.main()
