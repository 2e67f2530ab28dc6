#!/usr/bin/env python3
"""A session of the program built for boards, recorded under an emulator behind the simulated board:
emulated_session_test.py BUILD EMULATOR..."""
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

BUILD, *EMULATOR = sys.argv[1:]
BUILD = pathlib.Path(BUILD).resolve()
BOARD, RECORDER = BUILD / "boardsim/libboardsim_preload.so", BUILD / "boardrec/libboardrecord.so"
REPLAY, TOOL = BUILD / "boardrec/libboardreplay.so", BUILD / "boardrec/boardrec"
PROGRAM, HARMLESS_PROGRAM = BUILD / "t1_sdk/boardtest", BUILD / "tests/recorded_program"
# Where no board were in front, the program must not be able to do anything to this PC all the same.
POWERLESS = ["setpriv", "--no-new-privs", *(["--bounding-set=-all", "--inh-caps=-all", "--ambient-caps=-all"]
                                            if os.geteuid() == 0 else [])]
ADDRESS = f"127.66.{os.getpid() // 128 % 128}.{1 + os.getpid() % 128}"
# The restart does not come at the moment of a heartbeat, whose calls the end of the program would cut in two.
CLOCK, TEMPERATURE, SD_CARD, PORTS, GET_TG, LIGHT, RESTART = 1536, 7426, 4352, 1024, 10752, 14592, -15
TESTS = {2: CLOCK, 15: TEMPERATURE, 20: SD_CARD, 60: PORTS, 80: GET_TG, 90: LIGHT, 108: RESTART}


def asks(second, code):
    document = f"<TestItem><TestCode>{code}</TestCode></TestItem>".encode()
    return f"{second} send {(len(document).to_bytes(4, 'little') + document).hex()}\n"


def emulated(program, *arguments, preload=(), **variables):
    """An emulator hands its own variables on; what stands in front is for the emulated program only."""
    words = ["-E", f"LD_PRELOAD={':'.join(map(str, preload))}"] if preload else []
    return subprocess.run([*POWERLESS, *EMULATOR, *words, program, *arguments], env={**os.environ, **variables},
                          capture_output=True, timeout=600, check=False, close_fds=False)


class EmulatedSessionTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        place = tempfile.TemporaryDirectory(prefix="boardtest.")
        cls.addClassCleanup(place.cleanup)
        cls.folder = pathlib.Path(place.name)
        cls.recording, cls.trace = cls.folder / "session.rec", cls.folder / "trace"
        (cls.folder / "station").write_text("1 connect\n" + "".join(asks(*moment) for moment in TESTS.items()) + "130 end\n")
        cls.behind_the_board(HARMLESS_PROGRAM, "leave", preload=[BOARD])  # before a program that could do harm without a board
        cls.ran = cls.behind_the_board(PROGRAM, preload=[RECORDER, BOARD], BOARDRECORD=str(cls.recording))

    @classmethod
    def behind_the_board(cls, program, *arguments, **variables):
        """Ends everything unless the board says that it is in place, as it does to the launcher of a PC."""
        reads, says = os.pipe()
        os.set_inheritable(says, True)
        config = {"board": "k", "type": 0, "pace": "virtual", "speed": 1.0, "own_address": ADDRESS,
                  "interfaces": {"eth0": ADDRESS}, "faults": [], "trace": str(cls.trace), "control": "", "state": "",
                  "devinfo": "", "uart1": "", "station": str(cls.folder / "station"), "exit_at_reboot": True,
                  "exit_at_violation": True, "every_address": False, "report_fd": says}
        ran = emulated(program, *arguments, BOARDSIM_CONFIG=json.dumps(config), **variables)
        os.close(says)
        with os.fdopen(reads) as report:
            said = report.read()
        if said != "in place\n":
            raise RuntimeError(f"no board in front of {program}: {said} {ran.stderr.decode(errors='replace')}")
        return ran

    def records(self):
        return emulated(TOOL, "show", "--all", self.recording).stdout.splitlines()

    def test_the_recording_has_what_the_board_was_asked_until_it_restarted(self):
        shown = emulated(TOOL, "show", self.recording)
        self.assertEqual((shown.returncode, shown.stderr), (0, b""))
        shown, traced = shown.stdout.splitlines(), self.trace.read_bytes().splitlines()
        self.assertEqual(shown[-1], traced[-1].replace(b"= 0", b"= ?"), "the restart, from which nobody came back")
        traced.remove([line for line in traced if line.endswith(b" sleep 5")][-1])  # the heartbeat's, which never ended
        self.assertEqual(sorted(shown[:-1]), sorted(traced[:-1]))  # two threads may be told of in either order
        self.assertGreater(len(shown), 300)

    def test_recorded_or_not_the_program_says_the_same(self):
        plain = self.behind_the_board(PROGRAM, preload=[BOARD])
        self.assertEqual((self.ran.returncode, self.ran.stdout), (plain.returncode, plain.stdout))

    def test_a_replay_under_the_emulator_is_exact(self):
        count = len(self.records())
        again = self.behind_the_board(PROGRAM, preload=[REPLAY, BOARD], BOARDREPLAY=str(self.recording))
        self.assertEqual(again.returncode, 0)
        self.assertIn(f"replayed {count} of {count} records".encode(), again.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
