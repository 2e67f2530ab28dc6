"""What recording costs a program, as rows of the table."""
import os
import pathlib
import subprocess
import sys
import tempfile

import table

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/boardrec"))
import sessions

ROUNDS = 31
CALLS = ("lseek", "read of a file", "ioctl with a record")
FAMILY = "normal"


def costs_of(build, folder, recorded):
    """Nanoseconds of processor time of each of the calls."""
    variables = dict(os.environ)
    if recorded:
        variables |= {"LD_PRELOAD": str(build / "boardrec/libboardrecord.so"), "BOARDRECORD": f"{folder}/session.rec"}
    output = subprocess.run([build / "tests/recorded_program", "cost", folder], env=variables, stdout=subprocess.PIPE,
                            check=True, text=True).stdout
    pathlib.Path(folder, "session.rec").unlink(missing_ok=True)  # a recorder replaces nothing
    return [int(line) for line in output.split()]


def size_of_all_tests(build):
    """Bytes and records of a session with all tests of the family."""
    with tempfile.TemporaryDirectory() as folder:
        boards, file = sessions.Boards(build, pathlib.Path(folder)), pathlib.Path(folder, "session.rec")
        boards.record(FAMILY, file).check_returncode()
        records = sessions.output_of(boards.tool, "show", "--all", file).count("\n")
        return file.stat().st_size, records


def recorder(build):
    """A call that is recorded, on a file in memory, and what the recorder takes of it."""
    with tempfile.TemporaryDirectory(dir="/dev/shm") as folder:
        rounds = [(costs_of(build, folder, False), costs_of(build, folder, True)) for _ in range(ROUNDS)]
    rows = []
    for index, name in enumerate(CALLS):
        plain, recorded = ([costs[index] for costs in side] for side in zip(*rounds))
        rows.append(table.Row(f"Recorded {name}", table.paired_ratio(recorded, plain), "not recorded", digits=1))
    output = subprocess.run(["size", build / "boardrec/libboardrecord.so"], stdout=subprocess.PIPE, check=True, text=True).stdout
    text, data, zeros = map(int, output.splitlines()[1].split()[:3])
    rows.append(table.Row("Recorder in memory, bytes", text + data + zeros, "", digits=0))
    size, records = size_of_all_tests(build)
    rows.append(table.Row(f"Recording of all tests of {FAMILY}, bytes", size, "", digits=0))
    rows.append(table.Row("Bytes of it for each call", size / records, "", digits=0))
    return rows
