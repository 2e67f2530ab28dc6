#!/usr/bin/env python3
"""A day whose truth is known: the line says of it what was, and what it says otherwise is found."""
import asyncio
import contextlib
import dataclasses
import io
import math
import pathlib
import random
import re
import sqlite3
import sys
import tempfile
import tomllib
import types
import unittest
import unittest.mock

sys.dont_write_bytecode = True  # nothing is left beside the sources
ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv.pop()) if pathlib.Path(sys.argv[-1]).is_dir() else ROOT / "build/release"
DAYS = int(sys.argv.pop()) if sys.argv[-1].isdigit() else 2
sys.path[:0] = [str(ROOT / "boardsim/rack"), str(ROOT / "tests/soak")]
import day
import line_client
import shift
import units
import verdict
import watch

SHORT = ((3130, 5, 2), (13103, 5, 2))  # seed, units, slots of two days on which everything happens that can
FALSE = (r"an escape: BAD\d{6} in slot \d was passed", r"an escape: [A-Z]{2}\d{8} in slot \d was passed",
         "units: told 15, and was 5", r"suspect in slot \d are none, and should be [A-Z]{2}\d{8}",
         r"the plant's database has \d+ runs, of which 0 are others than the line's \d+",
         "the figures of the plant's database are ")  # what is found of a line that answers falsely
ONLOOKER = pathlib.Path(__file__).with_name("onlooker.py")
HANGING = 250  # seconds, against hanging only
STEPS = ("alarm-5in3out", "sd", "temp", "iris", "get-tg", "restart")  # in which most defects show


def days(count):
    """Seed, units and slots of so many days but the first: the second short one, then others of all sizes."""
    yield from SHORT[1:]
    for seed in range(1, count - len(SHORT) + 1):
        chance = random.Random(seed)
        slots = chance.choice((1, 2, 4, 8))
        yield seed, chance.randrange(1, 6 * slots), slots


def families(slots):
    return {str(number + 1): units.FAMILIES[number % len(units.FAMILIES)] for number in range(slots)}


def replies_to_wiring_faults():
    """Of each family and code in docs/fault-matrix.md: to each fault that the board's jig can have, what a board says that fails,
    None when it passes."""
    replies = {}
    for section in (ROOT / "docs/fault-matrix.md").read_text(encoding="utf-8").split("\n## ")[1:]:
        head, *lines = section.splitlines()
        rows = [line[2:-2].split(" | ") for line in lines if line.startswith("| ")]
        for code, of_code in re.findall(r"[Cc]ode (\d+): ([^;]+)", head):
            for family in of_code.split(", "):
                replies[family, int(code)] = {row[0]: row[-1].strip() if row[1] == "Fail" else None for row in rows}
    return replies


def short_plan(text, names):
    head, *steps = text.split("[[step]]")
    return "[[step]]".join([head, *(step for step in steps if any(f'name = "{name}"' in step for name in names))])


class Played(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="boardtest-shift.")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.write_plans(STEPS)
        at_once = unittest.mock.patch("demonstration.START_AGAIN", 0)
        at_once.start()
        self.addCleanup(at_once.stop)

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
            return dict(records.execute("SELECT serial, verdict FROM run WHERE kind = 'production' ORDER BY id"))

    def play_as_it_was(self, seed, count, slots):
        """Plays a day of which everything must be told as it was. The last verdict of each serial number."""
        status, said = self.play(count, seed, slots)
        self.assertEqual(status, 0, f"--seed {seed}, {count} units, {slots} slots: {said}")
        drawn = day.draw(seed, count, families(slots))  # of a slot without units nothing is
        self.assertIn(f"The station was killed {'once' if drawn.deaths else '0 times'}", said)
        self.assertRegex(said, f"The plant's database was killed {'(once|2 times)' if drawn.outages else '0 times'}")
        self.assertRegex(said, r"GOLD\d{6} ended as failed")
        self.assertTrue((self.folder / "shift/report.html").read_text(encoding="utf-8").startswith("<!"))
        verdicts = self.verdicts()
        self.assertEqual(len(verdicts), count)
        return verdicts


class SameSeedTest(Played):
    def test_a_day_is_told_as_it_was_and_the_same_seed_gives_the_same_verdicts(self):
        self.play_before_a_line_that_answers_falsely(self.play_as_it_was(*SHORT[0]))

    def play_before_a_line_that_answers_falsely(self, verdicts):
        """The first day once more, with the page open."""
        seed, count, slots = SHORT[0]
        with unittest.mock.patch("verdict.Verdict.ask", self.false_answers(verdict.Verdict.ask)), \
                unittest.mock.patch("shift.Hands.play", self.looked_at(shift.Hands.play)):
            status, said = self.play(count, seed, slots)
        self.assertEqual(self.verdicts(), verdicts)
        self.assertEqual(status, 1, said)
        for finding in FALSE:
            self.assertRegex(said, f"Not as it was: {finding}")

    @staticmethod
    def looked_at(played):
        """A day with the page open, which shows at its end what the line's slots do: also behind the deaths of the station."""

        async def play(hands, tasks):
            async with watch.open_page(f"http://{hands.line.host}/", ONLOOKER) as page, asyncio.timeout(HANGING):
                await played(hands, tasks)
                runs = {slot["name"]: slot["run"] or {} for slot in hands.line.line["slots"]}
                shown = {name: [run.get("serial"), run.get("verdict")] for name, run in runs.items()}
                while page and await page.figures() != shown:
                    await asyncio.sleep(0.1)

        return play

    @staticmethod
    def false_answers(asked):
        """Of a line that loses defects and suspects, miscounts, and has sent nothing since its database was away."""

        def ask(judge, *words):
            if words[1] in ("forward", "suspect"):
                return ""
            return asked(judge, *words).replace('"verdict":"failed"', '"verdict":"passed"').replace('"units":', '"units":1')

        return ask


class ShiftTest(Played):
    def test_everything_that_can_happen_does_so_on_the_short_days(self):
        drawn = [day.draw(seed, count, families(slots)) for seed, count, slots in SHORT]
        everyone = [unit for its in drawn for queue in its.queues.values() for unit in queue]
        for kinds in ([units.GOOD], [units.SHAKY], *([defect] for defect in units.HANGS), units.PULLED, day.UNSEEN.values()):
            self.assertTrue(any(unit.defect in kinds for unit in everyone), kinds)
        self.assertTrue(any(day.deserved(unit, False, STEPS, 6)[0] == "failed" for unit in everyone))
        first = drawn[0]
        self.assertEqual({math.isinf(outage) for outage in first.outages.values()}, {False, True})
        self.assertTrue(first.deaths)
        self.assertTrue(any(first.is_worn(first.worn, place) for place, _ in first.of_shift(first.worn, 1)))
        self.assertTrue(first.of_shift(first.worn, 2))
        self.assertIn((first.worn, 2), first.bad_first)
        self.assertTrue(first.mislabelled and first.mislabelled != first.worn)

    def test_other_days_are_told_as_they_were(self):
        for seed, count, slots in days(DAYS):
            self.play_as_it_was(seed, count, slots)

    @unittest.mock.patch("database.folder_of_tools", return_value=None)
    def test_a_worn_fixture_is_marked_by_its_figures_and_found_by_its_check(self, _):
        self.write_plans(["alarm-5in3out"])
        with unittest.mock.patch("day.draw_defect", return_value=units.GOOD), \
                unittest.mock.patch("day.draw_moments", return_value=[]):
            status, said = self.play(24, 15, slots=2)
        self.assertEqual(status, 0, said)
        self.assertRegex(said, r"The fixture of slot (\d) was bad from its unit 3 on, .* behind its unit 12; marked: .*slot \1 \(p = 0\.00")
        self.assertRegex(said, r"The check found slot \d: .*not passed, and tested again: [A-Z]{2}\d{8} [A-Z]{2}\d{8} ")
        self.assertIn("No PostgreSQL server is installed", said)

    def test_a_database_that_cannot_be_made_is_said(self):
        with unittest.mock.patch("database.folder_of_tools", return_value=pathlib.Path("/nowhere")), \
                contextlib.redirect_stderr(io.StringIO()) as said:
            self.assertEqual(self.play(1, "1", slots=1)[0], 3)
        self.assertRegex(said.getvalue(), r"^\./run: the database cannot be made: .*/nowhere/initdb")

    def test_a_line_that_takes_a_unit_before_its_check_is_found(self):
        line = types.SimpleNamespace(scan=unittest.mock.AsyncMock(side_effect=["17", line_client.Refused("slot 1 is on fire")]))
        hall = types.SimpleNamespace(rack=None, database=None, steps={})
        hands = shift.Hands(types.SimpleNamespace(speed=20), day.draw("1", 1, families(1)), hall, line)
        for _ in range(2):
            asyncio.run(hands.expect_refusal("1", "its check is due"))
        self.assertEqual(hands.findings, ["slot 1 takes a unit, though its check is due: run 17",
                                          "slot 1 takes no unit, though not since its check is due: slot 1 is on fire"])

    def test_a_wiring_fault_is_found_by_those_steps_of_which_the_fault_matrix_says_so_in_its_words(self):
        replies = replies_to_wiring_faults()
        catalogue = tomllib.loads((ROOT / "catalogue/catalogue.toml").read_text(encoding="utf-8"))
        codes = {test["name"]: test["code"] for test in catalogue["test"]}
        for family in units.FAMILIES:
            plan = tomllib.loads((ROOT / f"plans/{family}.toml").read_text(encoding="utf-8"))
            alarms = {step["name"]: codes[step["test"]] for step in plan["step"] if (family, codes[step["test"]]) in replies}
            known = set().union(*(replies[family, code] for code in alarms.values()))
            unseen = [day.UNSEEN[family]] if family in day.UNSEEN else []
            drawn = [defect for defect in [*units.BROKEN, units.CHECKED_WITH, day.WORN, *unseen] if known.issuperset(defect.faults)]
            self.assertLessEqual({units.CHECKED_WITH, day.WORN, *unseen}, set(drawn), family)
            for defect in drawn:
                found = {step: replies[family, code].get(defect.faults[0]) for step, code in alarms.items()}
                self.assertEqual(found, {step: defect.said_of(step) for step in alarms}, (family, defect.words))

    def test_fishers_test_is_that_of_the_books(self):
        self.assertAlmostEqual(day.fisher(3, 4, 4, 8), 34 / 70)  # the lady who tastes tea: 3 of 4 right
        self.assertAlmostEqual(day.fisher(1, 10, 12, 24), 0.002759456185220083)

    def test_units_at_a_worn_fixture_deserve_what_both_do(self):
        names = ("alarm-5in3out", "sd", "temp")
        unit = units.Unit("AB00000001", "normal", units.SHAKY)
        shaky, temp = day.Step("sd", ("failed", "passed")), day.Step("temp", ("passed",))
        self.assertEqual(day.deserved(unit, False, names, 6), ("passed", (day.Step("alarm-5in3out", ("passed",)), shaky, temp)))
        alarm = day.Step("alarm-5in3out", ("failed",), "测试失败:T1不通或(F1+F1-)短路!!!")
        self.assertEqual(day.deserved(unit, True, names, 6), ("failed", (alarm, shaky, temp)))
        hangs = day.Step("sd", ("timed_out",), "no reply within 6 s: the board does not know this code, or the test hangs")
        unit = dataclasses.replace(unit, defect=units.SLOW)
        self.assertEqual(day.deserved(unit, True, names, 6), ("error", (alarm, hangs)), "behind it there is no board")

    def test_words_are_of_one_kind_whatever_their_numbers_are(self):
        self.assertEqual(day.word_kind("T2 reads -3.5 V, not 0x1F (port-7), +4"), ("T# reads # V, not # (port-#), #", [2, -3.5, 31, 7, 4]))


if __name__ == "__main__":
    unittest.main()
