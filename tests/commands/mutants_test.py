#!/usr/bin/env python3
"""Which mutants scripts/mutate.py takes, of a program of one source in a folder of its own: a sample that was written down
is the same one when lines have moved, and what is gone is said."""
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # nothing is left beside the sources
ROOT = pathlib.Path(__file__).resolve().parents[2]
SOURCE = """int twice(int number) {
  if (number == 7) return 14;
  return number + number;
}
int more(int number) {
  if (number == 7) return 14;
  return 15;
}
"""
AN_EQUAL = "t1_sdk/program.cpp | if (number == 7) return 14; | if (number != 7) return 14;"


class Mutants(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="boardtest-mutants."))
        self.addCleanup(shutil.rmtree, self.folder)
        (self.folder / "scripts").mkdir()
        for name in ("mutate.py", "mutations.py"):
            shutil.copy(ROOT / "scripts" / name, self.folder / "scripts")
        (self.folder / "t1_sdk").mkdir()
        self.write(SOURCE)

    def write(self, source):
        (self.folder / "t1_sdk/program.cpp").write_text(source)

    def listed(self, *options):
        run = subprocess.run([sys.executable, self.folder / "scripts/mutate.py", "--list", *options], text=True,
                             capture_output=True, check=True)
        return run.stdout.splitlines(), run.stderr

    def sample(self, *lines):
        path = self.folder / "sample"
        path.write_text("\n".join(lines) + "\n")
        return "--from", str(path)

    def test_each_mutant_has_a_text_of_its_own(self):
        names = [line for line in self.listed()[0] if line.startswith("t1_sdk/")]
        texts, _ = self.listed("--texts")
        self.assertEqual(len(set(texts)), len(names))
        self.assertIn(AN_EQUAL, texts)
        self.assertIn(AN_EQUAL + " | 2", texts)

    def test_a_sample_is_the_same_one_behind_lines_that_move(self):
        texts, _ = self.listed("--texts", "--count", "5")
        self.write("// One more line.\n" + SOURCE.replace("  return 15;", "\n  return 15;"))
        self.assertEqual(sorted(self.listed("--texts", *self.sample("# five of them", "", *texts))[0]), sorted(texts))

    def test_the_second_of_two_that_read_alike_is_meant_by_its_number(self):
        out, _ = self.listed(*self.sample(AN_EQUAL + " | 2"))
        self.assertTrue(out[0].startswith("t1_sdk/program.cpp:6:condition:"), out)

    def test_a_mutant_is_taken_by_its_name_too(self):
        name = self.listed("--only", AN_EQUAL)[0][0]
        self.assertEqual(self.listed("--texts", "--only", name)[0], [AN_EQUAL])

    def test_the_station_has_mutants_of_its_own_whose_raw_texts_are_texts(self):
        (self.folder / "station").mkdir()
        (self.folder / "station/schema.cpp").write_text('const char* sql() {\n  return R"(SELECT id, 01935)";\n}\n')
        texts, _ = self.listed("--of", "station", "--texts")
        line = 'station/schema.cpp | return R"(SELECT id, 01935)"; | '
        self.assertEqual(set(texts), {line + 'return R"(SELExT id, 01935)";', line + "return {};"})

    def test_one_that_is_gone_is_said_and_the_others_are_taken(self):
        self.write(SOURCE.replace("number == 7", "number == 8"))
        kept = "t1_sdk/program.cpp | return 15; | return 16;"
        out, err = self.listed("--texts", *self.sample(AN_EQUAL, kept))
        self.assertEqual(out, [kept])
        self.assertEqual(err, f"no such mutant (any more): {AN_EQUAL}\n")


if __name__ == "__main__":
    unittest.main()
