#!/usr/bin/env python3
"""What scripts/figures.py finds in what the tests leave behind, and that it writes nothing of a run that broke off."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # nothing is left beside the sources
ROOT = pathlib.Path(__file__).resolve().parents[2]
MUTANTS = """# t1_sdk/a.cpp:7:number:1 survived
t1_sdk/a.cpp
- return 7;
+ return 8;

| Kind | Made | Not compiling | Caught | Survived | Caught, % |
|---|---|---|---|---|---|
| all | 5 | 0 | 4 | 1 | 80.0 |
(and 3 known equivalent ones, not made)
"""


class Figures(unittest.TestCase):
    def of(self, kind, **files):
        """The text of a kind, made of these files, and the status."""
        with tempfile.TemporaryDirectory() as folder:
            paths = [pathlib.Path(folder, name.replace("_", "-") + ".log") for name in files]
            for path, text in zip(paths, files.values()):
                path.write_text(text)
            run = subprocess.run([ROOT / "scripts/figures.py", kind, *paths], capture_output=True, text=True)
        return run.stdout, run.returncode

    def test_the_faults_of_all_boards_are_summed_up(self):
        text, _ = self.of("faults", sweep_k="20 of 20 faults tried in 4 tests on boards, 2 of them undecided, 0 wrong\n",
                          sweep_ma="a line\n30 of 30 faults tried in 5 tests on boards, 1 of them undecided, 1 wrong\n")
        self.assertEqual(text.splitlines()[2:], ["| k | 20 | 4 | 2 | 0 |", "| ma | 30 | 5 | 1 | 1 |", "| all | 50 | 9 | 3 | 1 |"])

    def test_each_fuzzer_has_its_seconds_and_inputs(self):
        text, _ = self.of("fuzzing", request="#1 INITED\nDone 398000 runs in 21 second(s)\n")
        self.assertIn("| `request` | 21 | 398000 |\n", text)

    def test_survivors_stand_behind_the_counts_of_mutants(self):
        text, _ = self.of("mutants", all="   1 t1_sdk/a.cpp:7:number:1: SURVIVED\n" + MUTANTS)
        self.assertTrue(text.startswith("| Kind | Made |"))
        self.assertTrue(text.endswith("Survived: `t1_sdk/a.cpp:7:number:1`\n\n```diff\n- return 7;\n+ return 8;\n```\n"), text)

    def test_a_soak_is_its_counts_and_its_table(self):
        text, _ = self.of("soak", all="units 4\n\n8 units in 9 runs, 2 samples\n\n| Figure | Limit |\n| --- | --- |\n\nToo few\n")
        self.assertEqual(text, "8 units in 9 runs, 2 samples\n\n| Figure | Limit |\n| --- | --- |\n\n")

    def test_nothing_is_said_of_a_run_that_broke_off(self):
        for kind in ("faults", "coverage", "fuzzing", "mutants", "soak"):
            self.assertEqual(self.of(kind, broken="a line\n"), ("", 1))


if __name__ == "__main__":
    unittest.main()
