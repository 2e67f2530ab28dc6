#!/usr/bin/env python3
"""What a soak calls growth, and that a line which takes more and more is found by it."""
import contextlib
import io
import itertools
import pathlib
import random
import re
import sys
import tempfile
import unittest
import unittest.mock

sys.dont_write_bytecode = True  # nothing is left beside the sources
ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv.pop()) if pathlib.Path(sys.argv[-1]).is_dir() else ROOT / "build/release"
sys.path.insert(0, str(pathlib.Path(__file__).parent))
import growth
import soak
import units
import watch

MEMORY = growth.Figure("memory", "Memory, MB", room=4, share=0.1)
PROCESSOR = growth.Figure("processor", "Processor time, ms", room=10, share=0.5, is_per_run=True)
SAMPLES = 100


def samples_of(memory=lambda _: 20, processor=lambda _: 50):
    """A soak of 800 units; `memory` and what a unit takes of the `processor` are given by the units before."""
    its = [{"units": 0, "runs": 16, "memory": memory(0), "processor": 0}]
    for place in range(1, SAMPLES + 1):
        units = 8 * place
        its.append({"units": units, "runs": 16 + units, "memory": memory(units), "processor": its[-1]["processor"] + 8 * processor(units)})
    return its


class GrowthTest(unittest.TestCase):
    def grown(self, **figures):
        """The keys of what grew in a soak, of two."""
        rows = growth.judge([MEMORY, PROCESSOR], samples_of(**figures))
        self.assertEqual(len(rows), 2)
        return [row.figure.key for row in rows if row.grew]

    def test_a_leak_is_found_under_noise_that_is_larger_than_it(self):
        for seed in range(20):
            chance = random.Random(seed)
            self.assertEqual(self.grown(memory=lambda units: 20 + units * 0.01 + chance.uniform(-3, 3)), ["memory"])
            self.assertEqual(self.grown(processor=lambda units: 50 * (1 + units / 400) + chance.uniform(-30, 30)), ["processor"])

    def test_what_is_flat_but_noisy_is_no_leak(self):
        for seed in range(20):
            chance = random.Random(seed)
            self.assertEqual(self.grown(memory=lambda _: 20 + chance.uniform(-3, 3), processor=lambda _: chance.uniform(20, 80)), [])

    def test_what_lies_far_off_now_and_then_is_no_leak(self):
        self.assertEqual(self.grown(memory=lambda units: 20 + units // 8 * (units % 80 == 0)), [])

    def test_what_grows_while_it_warms_up_is_no_leak(self):
        self.assertEqual(self.grown(memory=lambda units: min(units, 200)), [])

    def test_what_becomes_less_is_no_leak(self):
        self.assertEqual(self.grown(memory=lambda units: 2000 - units, processor=lambda units: 2000 - units), [])

    def test_growth_may_be_a_share_of_what_is_large(self):
        self.assertEqual(self.grown(memory=lambda units: 2000 + units * 0.1), [])
        self.assertEqual(self.grown(memory=lambda units: 2000 + units * 0.5), ["memory"])

    def test_few_samples_are_shown_and_decide_nothing(self):
        row, = growth.judge([MEMORY], samples_of(memory=lambda units: units)[:growth.FEWEST])
        self.assertFalse(row.grew)
        self.assertIn("| Memory, MB |", growth.table([row]))
        self.assertIn("| - |", growth.table([row]))

    def test_a_figure_without_samples_has_no_row(self):
        self.assertEqual(growth.judge([growth.Figure("heap", "Heap, MB", room=1)], samples_of()), [])
        self.assertEqual(growth.judge([MEMORY], []), [])


class SoakTest(unittest.TestCase):
    def play(self, folder):
        """A soak of a few units in short plans, whose samples are many. Its exit status, and what it says."""
        for family in units.FAMILIES:
            head, *steps = (ROOT / f"plans/{family}.toml").read_text(encoding="utf-8").split("[[step]]")
            short = "[[step]]".join([head, *(step for step in steps if re.search('name = "(alarm-|sd)', step))])
            pathlib.Path(folder, f"{family}.toml").write_text(short, encoding="utf-8")
        words = ["soak.py", "60", "--units", "12", "--seed", "1", "--slots", "2", "--build", str(BUILD), "--plans", folder,
                 "--folder", f"{folder}/soak"]
        said = io.StringIO()
        with unittest.mock.patch("sys.argv", words), contextlib.redirect_stdout(said), self.assertRaises(SystemExit) as ended, \
                unittest.mock.patch("soak.SAMPLE", 1), unittest.mock.patch("soak.OUTAGE", 4), unittest.mock.patch("soak.AWAY", 2), \
                unittest.mock.patch("growth.FEWEST", 2), unittest.mock.patch("watch.FIGURES", watch.FIGURES[:1]):
            soak.main()
        return ended.exception.code, said.getvalue()

    def test_a_station_that_takes_more_and_more_is_found_and_all_else_is_as_it_was(self):
        taken, leak = watch.of_process, itertools.count(1)
        leaking = unittest.mock.patch("watch.of_process", lambda pid: {**taken(pid), "memory": next(leak) * 100})
        with tempfile.TemporaryDirectory(prefix="boardtest-soak.") as folder, leaking:
            status, said = self.play(folder)
        self.assertEqual(status, 1, said)
        self.assertIn("12 units in ", said)
        self.assertIn("the database was away 3 times; findings: 1\n", said)
        self.assertRegex(said, r"Not as it should be: Memory of the station \(RssAnon\), MB grew by \d+; the limit is [\d.]+\n")
        self.assertRegex(said, r"\| Memory of the station .* \| grew \|\n")


if __name__ == "__main__":
    unittest.main()
