#!/usr/bin/env python3
"""Sessions on simulated boards, healthy and faulty, recorded and replayed: each replay is exact.

    replay_sweep.py BUILD             every family once, and a few faults of each
    replay_sweep.py BUILD --all       every family with each call that its session makes failing once, and more faults
"""
import argparse
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True  # nothing is left beside the sources

FEW = 40  # of the faults of a family, every so many is tried without --all
BEYOND = 30  # seconds that a test is given beyond its usual length
VOLTAGES = {9728: 650, 9984: 650, 10240: 650}  # tests that need one
QUIT = 62208
FAULTS = ["rtc stopped", "flash cut 100", "motor rejects move 1", "sensors none", "app silent", "app short",
          "medium /dev/mmc01 short 512", "medium /dev/mmc01 wrong 4096", "uart 1 dead", "thread #1 EAGAIN",
          "recv #2 short 1", "send #3 EPIPE", "accept #1 EINTR", "select #4 EINTR"]


def output_of(*words):
    return subprocess.run([str(word) for word in words], capture_output=True, text=True, check=True).stdout


class Boards:
    """Simulated boards of one build."""

    def __init__(self, build, folder):
        self.launcher, self.program = build / "boardsim/boardsim", build / "t1_sdk/boardtest"
        self.station, self.tool, self.folder = build / "station/t1station", build / "boardrec/boardrec", folder

    def families(self):
        return [line.split()[0] for line in output_of(self.launcher, "--board", "list").splitlines()[1:]]

    def script(self, family):
        """A station that asks for all tests of the family, one after the other; the restart ends it, or the quit."""
        lines, second = ["1 connect"], 2
        for row in output_of(self.station, "list", "--family", family).splitlines()[1:]:
            found = re.match(r"\s*(-?\d+)\s+(?:0x\w+\s+)?[a-z]\S*\s+(\d+)", row)
            code, usual = int(found[1]), int(found[2])
            parameter = f"<Parameters>{VOLTAGES[code]}</Parameters>" if code in VOLTAGES else ""
            lines.append(self.asks(second, code, parameter))
            second += usual + BEYOND
        lines += [self.asks(second, QUIT, ""), f"{second + 5} end"]
        file = self.folder / f"{family}.station"
        file.write_text("\n".join(lines) + "\n")
        return file

    @staticmethod
    def asks(second, code, parameter):
        document = f"<TestItem><TestCode>{code}</TestCode>{parameter}</TestItem>".encode()
        return f"{second} send {(len(document).to_bytes(4, 'little') + document).hex()}"

    def record(self, family, script, faults, file):
        laid = [word for fault in faults for word in ("--fault", fault)]
        subprocess.run([self.launcher, "--board", family, "--pace", "virtual", "--station", script, "--record", file, *laid,
                        "--", self.program], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)

    def replay(self, file):
        """Nothing when every call was as it was recorded, else what was said."""
        done = subprocess.run([self.launcher, "--replay", file, "--", self.program], stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, check=False)
        said = done.stderr.decode(errors="replace")
        return "" if "every call as it was recorded" in said else said[-2000:]

    def calls(self, file):
        """The kinds of call on each node of a recorded session, as faults name them."""
        found = {}
        for line in output_of(self.tool, "show", file).splitlines():
            if match := re.match(r"\S+ (open|ioctl|read|write|lseek|close) (/dev/\S+|/proc/\S+)", line):
                found.setdefault(" ".join(match.groups()))
        return list(found)


def faults_of(boards, family, everything):
    healthy = boards.folder / f"{family}.rec"
    calls = [f"{call} #1 EIO" for call in boards.calls(healthy)]
    calls += [f"{call} #2 short 1" for call in boards.calls(healthy) if call.startswith("read")]
    faults = calls + FAULTS
    # A fault that this board has no place for is none.
    return faults if everything else faults[sum(map(ord, family)) % FEW::FEW]


def try_family(boards, family, everything):
    """(sessions, what was wrong with which)"""
    script, wrong = boards.script(family), []
    healthy = boards.folder / f"{family}.rec"
    boards.record(family, script, [], healthy)
    sessions = [("", healthy)]
    if said := boards.replay(healthy):
        wrong.append(f"{family}: {said}")
    faulty = boards.folder / f"{family}-faulty.rec"
    for fault in faults_of(boards, family, everything):
        faulty.unlink(missing_ok=True)
        boards.record(family, script, [fault], faulty)
        if not faulty.exists() or faulty.stat().st_size == 0:
            continue
        sessions.append((fault, faulty))
        if said := boards.replay(faulty):
            wrong.append(f"{family} with the fault \"{fault}\": {said}")
    return len(sessions), wrong


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--all", action="store_true")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="boardrec-") as folder:
        boards = Boards(options.build.resolve(), pathlib.Path(folder))
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            done = list(pool.map(lambda family: try_family(boards, family, options.all), boards.families()))
    for _, wrong in done:
        for text in wrong:
            print(text)
    print(f"{sum(count for count, _ in done)} sessions of {len(done)} families were recorded and replayed, "
          f"{sum(len(wrong) for _, wrong in done)} not exactly")
    return 1 if any(wrong for _, wrong in done) else 0


if __name__ == "__main__":
    sys.exit(main())
