#!/usr/bin/env python3
"""The command that a finished `t1station line` tells of each run that ends; no board answers, so each ends in error.

    hook_test.py BUILD [-v] [Test.name ...]"""
import json
import pathlib
import signal
import sqlite3
import sys
import unittest

sys.dont_write_bytecode = True  # nothing is left beside the sources
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from at_work import LineTest  # noqa: E402

UNITS = ["AB00000001", "AB00000002", "AB00000003"]


class HookTest(LineTest):
    def start_with(self, command, timeout=60):
        return self.start_line(self.line_file(more=f"[hook]\ncommand = {json.dumps(command)}\ntimeout = {timeout}\n"))

    def run_units(self, line, units=UNITS):
        for unit in units:
            self.post(line, "api/scan", {"text": unit})
            self.await_slot(line, lambda slot: slot["state"] == "done")
            self.post(line, "api/slots/1/acknowledge", {})

    def await_true(self, line, like, path="api/line"):
        """Asks the line until something is so, which keeps the loop from spinning faster than the line answers."""
        for _ in range(100000):
            if like():
                return
            self.get(line, path)
        self.fail("waited in vain")

    def events(self, kind="hook_failed"):
        with sqlite3.connect(f"file:{self.folder}/records.db?mode=ro", uri=True) as file:
            return [(run, json.loads(detail)) for run, detail in
                    file.execute("SELECT run_id, detail FROM event WHERE kind = ? ORDER BY sequence", (kind,))]

    def test_each_run_is_told_whole_and_in_order(self):
        told = self.folder / "told"
        line = self.start_with(["/bin/sh", "-c", f"cat >>{told}"])
        self.run_units(line)
        self.await_true(line, lambda: told.exists() and len(told.read_text().splitlines()) == 3)
        runs = [json.loads(text) for text in told.read_text().splitlines()]
        self.assertEqual([run["serial"] for run in runs], UNITS)
        stored = self.records("export", self.folder / "records.db", "--format", "jsonl").splitlines()
        self.assertEqual(runs, [json.loads(text) for text in stored])
        self.assertEqual(line.end(), 0)
        self.assertEqual(self.events(), [])

    def test_what_fails_is_an_event_of_its_run_and_the_next_run_is_told_all_the_same(self):
        script = self.write("script", """#!/bin/sh
read -r run
case $run in
  *AB00000001*) echo 'no order for it' >&2; exit 3 ;;
  *AB00000002*) exec sleep 1000 ;;
esac
""")
        script.chmod(0o755)
        line = self.start_with(["./script"], timeout=3)  # seconds: enough for a shell on a busy PC
        self.run_units(line)
        self.await_true(line, lambda: len(self.events()) == 2)
        self.assertEqual([detail for _, detail in self.events()],
                         [{"serial": "AB00000001", "reason": "it ended with status 3: no order for it"},
                          {"serial": "AB00000002", "reason": "it has not ended in time"}])
        self.assertEqual(self.events()[1][0], json.loads(
            self.records("export", self.folder / "records.db", "--format", "jsonl", "--serial", UNITS[1]))["id"])
        self.assertEqual(line.end(), 0)
        self.assertEqual(len(self.events()), 2, "the third run was told without trouble")

    def test_a_command_that_hangs_holds_up_neither_units_nor_the_end(self):
        started = self.folder / "started"
        line = self.start_with(["/bin/sh", "-c", f"echo >{started}; exec sleep 1000"], timeout=3600)
        self.run_units(line)
        self.await_true(line, started.exists)
        self.assertEqual(line.end(signal.SIGTERM), 0)
        self.assertEqual([detail["reason"] for _, detail in self.events()], ["the station was shut down"])

    def test_a_command_that_is_not_there_and_bad_words_are_said(self):
        line = self.start_with(["/nothing/there"])
        self.run_units(line, UNITS[:1])
        self.await_true(line, lambda: self.events() != [])
        self.assertEqual(self.events()[0][1]["reason"], "it cannot be started: No such file or directory")
        line.end()
        bad = self.line_file(more="[hook]\ncommand = []\ntimeout = 0\nshell = true\n")
        status, words = self.refused("check", bad)
        self.assertEqual(status, 4)
        for part in ('"command" is an empty list', '"timeout" is more than 0 and at most an hour (3600)', '"shell"'):
            self.assertIn(part, words)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
