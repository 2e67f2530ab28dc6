#!/usr/bin/env python3
"""A day whose truth is known: the line says of it what was, and what it says otherwise is found."""
import contextlib
import dataclasses
import io
import pathlib
import sqlite3
import sys
import tempfile
import unittest
import unittest.mock

sys.dont_write_bytecode = True  # nothing is left beside the sources
ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv.pop()) if pathlib.Path(sys.argv[-1]).is_dir() else ROOT / "build/release"
DAYS = int(sys.argv.pop()) if sys.argv[-1].isdigit() else 1
sys.path.insert(0, str(ROOT / "boardsim/rack"))
import day
import shift
import units

STEPS = ("alarm-5in3out", "sd", "temp", "iris", "get-tg", "restart")  # in which most defects show


def short_plan(text, names):
    head, *steps = text.split("[[step]]")
    return "[[step]]".join([head, *(step for step in steps if any(f'name = "{name}"' in step for name in names))])


class ShiftTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="boardtest-shift.")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.write_plans(STEPS)

    def write_plans(self, steps):
        for family in units.FAMILIES:
            plan = (ROOT / f"plans/{family}.toml").read_text(encoding="utf-8")
            (self.folder / f"{family}.toml").write_text(short_plan(plan, steps), encoding="utf-8")

    def play(self, count, seed, slots=4):
        """Plays a day. Its exit status, and what it says."""
        words = ["shift.py", str(count), "--seed", str(seed), "--slots", str(slots), "--build", str(BUILD), "--plans",
                 str(self.folder), "--folder", str(self.folder / "shift")]
        said = io.StringIO()
        with unittest.mock.patch("sys.argv", words), contextlib.redirect_stdout(said), self.assertRaises(SystemExit) as ended:
            shift.main()
        return ended.exception.code, said.getvalue()

    def verdicts(self):
        """The last verdict of each serial number."""
        with contextlib.closing(sqlite3.connect(self.folder / "shift/records.db")) as records:
            return dict(records.execute("SELECT serial, verdict FROM run ORDER BY id"))

    def test_a_day_is_told_as_it_was_and_the_same_seed_gives_the_same_verdicts(self):
        for seed in range(1, DAYS + 1):
            status, said = self.play(12, seed)
            self.assertEqual(status, 0, said)
            self.assertIn("The station was killed 1 times", said)
            self.assertTrue((self.folder / "shift/report.html").read_text(encoding="utf-8").startswith("<!"))
            verdicts = self.verdicts()
            self.assertEqual(len(verdicts), 12)
        self.assertEqual(self.play(12, seed)[0], 0)
        self.assertEqual(self.verdicts(), verdicts)

    def test_a_worn_fixture_is_marked_and_who_went_through_it_is_named(self):
        self.write_plans(["alarm-5in3out"])
        with unittest.mock.patch("day.draw_defect", return_value=units.GOOD):
            status, said = self.play(44, "worn", slots=2)
        self.assertEqual(status, 0, said)
        self.assertRegex(said, r"The fixture of slot (\d) was bad from its unit \d+ on; marked: .*slot \1 \(p = .*e-")
        self.assertRegex(said, r"To be tested again, since they went through it: [A-Z]{2}\d{8} ")

    def test_a_defect_that_passes_is_an_escape_and_a_figure_that_is_wrong_is_named(self):
        unfelt = units.Defect("nobody lays this one", failing="temp")
        with unittest.mock.patch("day.draw_defect", return_value=unfelt):
            status, said = self.play(2, "escape", slots=2)
        self.assertEqual(status, 1, said)
        self.assertRegex(said, r"Not as it was: an escape: [A-Z]{2}\d{8} in slot \d was passed")
        self.assertRegex(said, r"Not as it was: final_yield: told 0\.5, and was 0\.0")

    def test_fishers_test_is_that_of_the_books(self):
        self.assertAlmostEqual(day.fisher(3, 4, 4, 8), 34 / 70)  # the lady who tastes tea: 3 of 4 right
        self.assertAlmostEqual(day.fisher(1, 10, 12, 24), 0.002759456185220083)

    def test_units_at_a_worn_fixture_deserve_what_both_do(self):
        steps = ("alarm-5in3out", "sd", "temp")
        unit = units.Unit("AB00000001", "normal", units.SHAKY)
        self.assertEqual(day.deserved(unit, False, steps), ("passed", True, frozenset()))
        self.assertEqual(day.deserved(unit, True, steps), ("failed", True, frozenset({"alarm-5in3out"})))
        hangs = dataclasses.replace(unit, defect=units.SLOW)
        self.assertEqual(day.deserved(hangs, True, steps), ("error", False, frozenset({"alarm-5in3out", "sd"})))


if __name__ == "__main__":
    unittest.main()
