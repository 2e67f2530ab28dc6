#!/usr/bin/env python3
"""The demonstration of a line: each unit that it draws ends as its defect deserves, and nothing is left behind."""
import contextlib
import fcntl
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
import demonstration
import rack
import units

PATIENCE = 100  # seconds, against hanging only
SEED = "40"  # among its first eight units is each kind
# Steps in which the defects of these units show, long ones behind the middle, in which a board is pulled; and none that a
# busy PC disturbs while the boards' time runs fast.
STEPS = ("alarm-5in3out", "sd", "temp", "iris", "light", "in-light", "get-tg", "restart")
HANGS = "sd"  # in one of them
SPEED = "20"


def name_of(step):
    return re.search(r'name = "([^"]+)"', step)[1]


def short_plan(text):
    """A plan with these steps only, that refuses a unit after its first bad run. A test may take long on a busy PC; the one that
    hangs must not."""
    head, *steps = text.replace("max_runs = 3", "max_runs = 1").split("[[step]]")
    kept = [step for step in steps if name_of(step) in STEPS]
    patient = [step.replace("\ntest = ", f"\ntimeout = {120 if name_of(step) == HANGS else 600}\ntest = ") for step in kept]
    return "[[step]]".join([head, *patient])


class DemonstrationTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="boardtest-line.")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for family in units.FAMILIES:
            plan = (ROOT / f"plans/{family}.toml").read_text(encoding="utf-8")
            (self.folder / f"{family}.toml").write_text(short_plan(plan), encoding="utf-8")

    def start(self, *options, port=None):
        """Starts it, in a group of its own: as a terminal does, Ctrl-C reaches all of it."""
        port = rack.free_port() if port is None else port
        command = [ROOT / "boardsim/rack/demonstration.py", "--build", BUILD, "--folder", self.folder / "line", "--plans",
                   self.folder, "--seed", SEED, "--speed", SPEED, "--pause", "0", "--port", str(port), *options]
        process = subprocess.Popen(command, bufsize=0, process_group=0, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
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
        for kind in (units.GOOD, units.SHAKY, units.SLOW):
            self.assertIn(kind, kinds)
        self.assertTrue(set(kinds) & set(units.BROKEN) and set(kinds) & set(units.PULLED))
        process = self.start("--units", str(len(drawn)))
        out, _ = process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 0, out.decode())
        records = sqlite3.connect(self.folder / "line/records.db")
        self.addCleanup(records.close)
        self.assertEqual(sorted(records.execute("SELECT serial, slot, verdict, retried FROM run")),
                         sorted((unit.serial, str(units.FAMILIES.index(unit.family) + 1), unit.defect.verdict,
                                 int(unit.defect.is_retried)) for unit in drawn), out.decode())
        check = subprocess.run([BUILD / "station/t1station", "records", "check", self.folder / "line/records.db"])
        self.assertEqual(check.returncode, 0)
        # The same units once more: the records are still there, and so is what they say of the unit that did not pass.
        out, _ = self.start("--units", "4").communicate(timeout=PATIENCE)
        refused = next(unit for unit in drawn if unit.defect == units.SLOW)
        self.assertIn(f"{refused.serial} is refused: ", out.decode())
        self.assertEqual(list(records.execute("SELECT count(*) FROM run")), [(len(drawn) + 3,)], out.decode())

    def below(self, process):
        """The processes that it consists of: of each, its name and a descriptor by which its end can be awaited."""
        found, pids = [], [process.pid]
        while pids:
            pid = pids.pop()
            with contextlib.suppress(FileNotFoundError, ProcessLookupError):  # it ended meanwhile
                descriptor = os.pidfd_open(pid)
                self.addCleanup(os.close, descriptor)
                found.append((pathlib.Path(f"/proc/{pid}/comm").read_text().strip(), descriptor))
                pids += map(int, pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split())
        return found

    def has_ended(self, descriptor):
        self.assertTrue(select.select([descriptor], [], [], PATIENCE)[0], "a process is left behind")

    def test_a_station_that_is_killed_is_started_again_and_ctrl_c_ends_it_all(self):
        process = self.start()
        self.said(process, "is put in")
        for name, descriptor in self.below(process):
            if name == "t1station":
                signal.pidfd_send_signal(descriptor, signal.SIGKILL)
        self.said(process, r"The station ended \(status -9.*\n(.*\n)*Slot \d, \w+: \w+ (interrupted|passed)")
        everything = self.below(process)
        self.assertIn("t1station", dict(everything))
        os.killpg(process.pid, signal.SIGINT)
        self.assertIn("Ending ... Units:", process.communicate(timeout=PATIENCE)[0].decode())
        self.assertEqual(process.returncode, 0)
        for _, descriptor in everything:
            self.has_ended(descriptor)

    def test_a_usual_port_that_is_taken_is_left_to_who_has_it_and_a_demonstration_that_is_killed_leaves_nothing(self):
        usual = socket.socket()
        self.addCleanup(usual.close)
        with contextlib.suppress(OSError):  # then somebody else has it
            usual.bind(("127.0.0.1", demonstration.PORT))
            usual.listen()
        process = self.start(port=0)
        self.assertNotEqual(self.said(process, r"The page: http://127\.0\.0\.1:(\d+)/(.*\n)*.*is put in")[1], str(demonstration.PORT))
        everything = self.below(process)
        process.kill()
        for _, descriptor in everything:
            self.has_ended(descriptor)

    def test_what_cannot_start_is_said(self):
        folder = self.folder / "line"
        folder.mkdir()
        (folder / "records.db").write_text("no database, however long it is")
        process = self.start()
        self.assertRegex(process.communicate(timeout=PATIENCE)[0].decode(), r"^./run: the line does not start: .*records\.db")
        self.assertEqual(process.returncode, 4)
        with open(folder / "lock", "ab") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            process = self.start()
            self.assertIn("another demonstration runs in", process.communicate(timeout=PATIENCE)[0].decode())
            self.assertEqual(process.returncode, 4)
        process = self.start("--build", "/nowhere")
        self.assertIn("cannot be started", process.communicate(timeout=PATIENCE)[0].decode())
        self.assertEqual(process.returncode, 3)


if __name__ == "__main__":
    unittest.main()
