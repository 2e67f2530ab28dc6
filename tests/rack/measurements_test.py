#!/usr/bin/env python3
"""What docs/plans.md says can be measured is found: on simulated boards, by a plan that takes all of it."""
import base64
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import unittest

sys.dont_write_bytecode = True  # nothing is left beside the sources
ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv.pop()) if pathlib.Path(sys.argv[-1]).is_dir() else ROOT / "build/release"
sys.path.insert(0, str(ROOT / "boardsim/rack"))
from rack import SERVICE_PORT, listens  # noqa: E402

PATIENCE = 120  # seconds, against hanging only
NUMBER = re.compile(r"[0-9]+(?:\.[0-9]+)?")
HEAD = """format = 1
name = "all-numbers"
version = "1"
serial = '.*'
"""


def what_can_be_measured(sticks):
    """(test, from, text, pattern, limits) of each row of the table that is of a board with so many sticks."""
    section = (ROOT / "docs/plans.md").read_text(encoding="utf-8").split("### What can be measured")[1].split("\n## ")[0]
    tests = ""
    for line in section.splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if len(cells) != 5 or set(cells[1]) <= {"-"} or cells[0] == "Test":
            continue
        tests = cells[0] or tests
        if ("two sticks" in tests) != (sticks == 2):
            continue
        for test in re.findall(r"`([^`]+)`", tests) or ["temp"]:  # any
            pattern, *others = re.findall(r"`([^`]+)`", cells[3]) or [""]
            for its in (pattern, *(pattern.replace("USB2", other) for other in others)):
                yield test, cells[1], cells[2].strip("`"), its, re.match(r"`?((?:low|high) = [0-9]+)?", cells[4])[1]


def plan_of(rows):
    """A plan that takes all these, and the number of them that a step takes."""
    steps = {}
    for test, source, _, pattern, limits in rows:
        steps.setdefault(test, []).append(
            f'[[step.measure]]\nname = "{len(steps.get(test, []))}"\nfrom = "{source}"\n' + (f"match = '{pattern}'\n" if pattern else "")
            + (f"{limits}\n" if limits else ""))
    return HEAD + "".join(f'[[step]]\nname = "{test}"\ntest = "{test}"\n{"".join(its)}' for test, its in steps.items()), \
        {test: len(its) for test, its in steps.items()}


class MeasurementsTest(unittest.TestCase):
    def board(self, family):
        """Starts a simulated board with a console; its address."""
        process = subprocess.Popen([BUILD / "boardsim/boardsim", "--board", family, "--speed", "20", "--console-tty", self.folder / "console",
                                    "--", BUILD / "t1_sdk/boardtest"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)
        found = None
        while not found:
            line = process.stdout.readline()
            self.assertTrue(line, "the board has ended")
            found = re.match(rf"boardsim: board .* at ([0-9.]+):{SERVICE_PORT}$", line)
        deadline = time.monotonic() + PATIENCE
        while not listens(found[1]):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)
        return found[1]

    def measured(self, family, plan):
        """The attempts of a run of such a board through this plan, and what the station says of it."""
        folder = tempfile.TemporaryDirectory(prefix="boardtest.")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        path, records = self.folder / "plan.toml", self.folder / "records.db"
        path.write_text(plan, encoding="utf-8")
        done = subprocess.run([BUILD / "station/t1station", "run", self.board(family), "--plan", path, "--serial", "AB1", "--records", records,
                               "--console", self.folder / "console"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        exported = subprocess.run([BUILD / "station/t1station", "records", "export", records, "--format", "jsonl"], stdout=subprocess.PIPE,
                                  text=True)
        self.assertEqual(exported.returncode, 0, done.stdout)
        return json.loads(exported.stdout)["attempts"], done.stdout

    def test_every_number_that_the_documents_promise_is_found_where_they_say(self):
        for family, sticks in (("normal", 1), ("k", 2)):
            rows = list(what_can_be_measured(sticks))
            plan, counts = plan_of(rows)
            attempts, said = self.measured(family, plan)
            self.assertEqual({attempt["step"]: len(attempt["measurements"]) for attempt in attempts}, counts, said)
            for attempt in attempts:
                self.assertEqual([its["outcome"] for its in attempt["measurements"]], ["passed"] * counts[attempt["step"]], attempt)
            console = "".join(base64.b64decode(attempt["console_base64"] or "").decode("gbk") for attempt in attempts)
            printed = NUMBER.sub("0", console + "".join(attempt["description"] or "" for attempt in attempts))
            for text in filter(None, {row[2] for row in rows}):
                self.assertIn(NUMBER.sub("0", text), printed)


if __name__ == "__main__":
    unittest.main()
